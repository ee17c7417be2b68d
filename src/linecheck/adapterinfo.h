#pragma once

#include <QString>
#include <QStringList>

// What the system tells about the serial device behind a port name: its USB identity, its
// driver and its stable /dev/serial/by-id name. Read from sysfs (/sys/class/tty/<name>/device
// and the USB device above it) and completed from QSerialPortInfo.
//
// The folders read can be moved for tests with K7310_SYSFS_ROOT, K7310_PROC_ROOT and
// K7310_BYID_ROOT; the console itself never sets them.
namespace AdapterInfo {

QString SysfsRoot(); // "/sys"
QString ProcRoot();  // "/proc"
QString ByIdRoot();  // "/dev/serial/by-id"

struct Adapter
{
    QString location; // the device path the port name stands for
    bool exists = false;
    QString ttyName;   // the kernel's name, "ttyUSB0"
    QString byIdName;  // the by-id link that leads to it, "" when none does
    bool usb = false;  // a USB device lies above the tty in sysfs
    QString vendorId;  // four hex digits, "0403"
    QString productId; // "6001"
    QString manufacturer;
    QString product;
    QString serialNumber;
    QString driver;          // "ftdi_sio", "" for a pseudo-terminal
    int latencyTimerMs = -1; // FTDI's latency_timer, -1 when the driver has none
};

// The facts about the device behind a port name ("1", "ttyUSB0", a path).
Adapter Read(const QString& portName);

// "vendor:product:serial" of a USB adapter, "" for anything else: what tells two adapters
// apart across re-plugging.
QString IdentityKey(const Adapter& adapter);

// The by-id link for a device path, or the path itself when no link leads to it.
QString StableName(const QString& location);

// A stored port that has vanished, when exactly one by-id device of the adapter with the
// stored identity is present: that device's by-id path. "" otherwise (the port is there,
// nothing matches, or several adapters match).
QString ReplugOffer(const QString& storedPort, const QString& storedIdentity);

} // namespace AdapterInfo
