#pragma once

#include <QFont>

// The fixed-pitch font of frame texts: "Courier New", or the system's fixed-pitch font on a
// machine that does not have it.
QFont FixedPitchFont();
