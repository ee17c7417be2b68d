#include "statefile.h"

#include <cstdio>
#include <fstream>
#include <sstream>
#include <utility>

namespace k7310sim {

namespace {

std::pair<unsigned, std::uint16_t Config::*> const fields[] = {
    {SpeedCode, &Config::speedCode},       {StopBits, &Config::stopBits},
    {SlaveNumber, &Config::slave},         {BusMode, &Config::busMode},
    {Synchro, &Config::synchro},           {AckAuthorised, &Config::ackAuthorised},
    {BusControlKL, &Config::busControlKL}, {LedTestKL, &Config::ledTestKL},
};

} // namespace

bool loadState(const std::string& path, Config& cfg, std::string& warnings)
{
    std::ifstream in(path);
    if (!in)
        return false;
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (line.empty() || line[0] == '#')
            continue;
        unsigned word = 0;
        unsigned value = 0;
        char eq = 0;
        std::istringstream is(line);
        bool ok = static_cast<bool>(is >> word >> eq >> value) && eq == '=' &&
                  PanelSlave::validConfigValue(word, value);
        if (ok) {
            ok = false;
            for (const auto& [w, member] : fields)
                if (w == word) {
                    cfg.*member = static_cast<std::uint16_t>(value);
                    ok = true;
                }
        }
        if (!ok)
            warnings += path + ":" + std::to_string(number) + ": skipped \"" + line + "\"\n";
    }
    return true;
}

bool saveState(const std::string& path, const Config& cfg)
{
    const std::string tmp = path + ".tmp";
    {
        std::ofstream out(tmp, std::ios::trunc);
        if (!out)
            return false;
        out << "# k7310sim panel configuration: word=value\n";
        for (const auto& [w, member] : fields)
            out << w << '=' << cfg.*member << '\n';
        if (!out.flush())
            return false;
    }
    return std::rename(tmp.c_str(), path.c_str()) == 0;
}

} // namespace k7310sim
