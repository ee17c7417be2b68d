#pragma once

#include "commfunctions.h"
#include "rs485mode.h"

#include <QString>

class ComCtrl;

// How the line switches its direction and handles the adapter's echo, in words, for the
// status bar's line panel and the line monitor's export.
namespace LineModeText {

// "RS-485 (kernel)", "RTS" or "auto".
QString Direction(Rs485Mode::Direction direction, const CommFunctions::TextLookup& text);
// "Direction: RTS (kernel RS-485 mode refused: ...); Echo: Automatic, echo found".
QString Summary(const ComCtrl& line, const CommFunctions::TextLookup& text);

} // namespace LineModeText
