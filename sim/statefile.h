// The configuration kept across restarts: a small text file of "word=value" lines for the
// words 65, 67, 69, 70 and 128 to 131. Unknown lines and refused values are skipped.
#pragma once

#include "panelslave.h"

#include <string>

namespace k7310sim {

// Reads the file into cfg. Returns false when the file cannot be read (cfg unchanged);
// warnings lists skipped lines.
bool loadState(const std::string& path, Config& cfg, std::string& warnings);
// Writes the file through a temporary file and a rename, so that it is never half written.
bool saveState(const std::string& path, const Config& cfg);

} // namespace k7310sim
