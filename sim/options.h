#pragma once

#include "faults.h"
#include "panelslave.h"

#include <optional>
#include <string>
#include <vector>

namespace k7310sim {

// One panel on the line: its own configuration, timing and faults.
struct PanelSetup
{
    Firmware firmware = Firmware::V28;
    std::string stateFile;
    std::optional<int> speed;
    std::optional<int> stop;
    std::optional<int> slave;
    std::optional<double> autoAckSeconds;
    double lampTestSeconds = 3.0;
    bool lineTiming = false;
    double turnaroundMs = 0.0;
    // The master's adapter hands every request back before the answer (a 2-wire adapter
    // without echo suppression); the line echoes when any of its panels says so.
    bool echo = false;
    Fault every;
    Fault next;
    // A fault for the answers to requests for one word (a read starting there, a write to it).
    std::optional<unsigned> faultWord;
    Fault faultOnWord;
};

// More panels than a line could drive is surely a mistake in a --panels file.
inline constexpr std::size_t maxPanels = 256;

// The command line of k7310sim; --help prints every option with its meaning. The panel's own
// fields describe the one panel of a run without --panel; their timing and faults are every
// panel's defaults on a line.
struct Options : PanelSetup
{
    std::string device;
    std::string link;
    bool noLink = false;
    std::optional<double> gapMs;
    unsigned seed = 1;
    std::string trace;
    double reopenWaitSeconds = 10.0;
    // The panels on the line, in their order: one from the options above without --panel
    // and --panels; otherwise one a --panel, with the timing and fault options above as their
    // defaults.
    std::vector<PanelSetup> panels;
    bool line = false; // the panels came from --panel or --panels
};

// Parses the fields of one panel ("slave=5,speed=19200,stop=2,...") over the defaults; returns
// false with error set on a bad field.
bool parsePanelSetup(const std::string& text, PanelSetup& setup, std::string& error);

// Parses the command line; prints the help and exits for --help, exits with status 1 and a
// message on a bad option.
Options parseOptions(int argc, char** argv);

} // namespace k7310sim
