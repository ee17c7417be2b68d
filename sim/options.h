#pragma once

#include "faults.h"
#include "panelslave.h"

#include <optional>
#include <string>

namespace k7310sim {

// The command line of k7310sim; --help prints every option with its meaning.
struct Options
{
    std::string device;
    std::string link;
    bool noLink = false;
    std::optional<double> gapMs;
    Firmware firmware = Firmware::V28;
    std::string stateFile;
    std::optional<int> speed;
    std::optional<int> stop;
    std::optional<int> slave;
    std::optional<double> autoAckSeconds;
    double lampTestSeconds = 3.0;
    bool lineTiming = false;
    double turnaroundMs = 0.0;
    Fault every;
    Fault next;
    // A fault for the answers to requests for one word (a read starting there, a write to it).
    std::optional<unsigned> faultWord;
    Fault faultOnWord;
    unsigned seed = 1;
    std::string trace;
    double reopenWaitSeconds = 10.0;
};

// Parses the command line; prints the help and exits for --help, exits with status 1 and a
// message on a bad option.
Options parseOptions(int argc, char** argv);

} // namespace k7310sim
