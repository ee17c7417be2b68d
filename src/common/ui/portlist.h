#pragma once

#include <QString>
#include <QStringList>

class QComboBox;

// The serial port list shared by the PC settings dialog and the slave dialog.
//
// Entries: "1" to "16" (the numbered ports, /dev/ttyS0 to /dev/ttyS15), then the other
// serial ports found on this PC, under their stable /dev/serial/by-id names where those
// exist. A pseudo-terminal or an adapter plugged in later is never listed, so the list is
// editable and any typed name is taken as it is.

// The entries above, in that order, without duplicates.
QStringList PortChoices();

// The one device among the choices besides the numbered ports, or "" when there are none or
// several.
QString SoleDevice(const QStringList& choices);

// Fills an editable list with PortChoices() and shows `current` in it: the matching entry is
// selected; a name that is not among the entries (a typed device path) is added at the end
// and selected. An empty `current` selects "1".
void FillPortList(QComboBox* list, const QString& current);

// The port name the list holds: the selected entry or the typed text, blanks trimmed.
QString PortListText(const QComboBox* list);
