#include "adapterinfo.h"

#include "comctrl.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSerialPortInfo>

namespace AdapterInfo {
namespace {

QString RootFrom(const char* variable, const QString& real)
{
    const QString value = qEnvironmentVariable(variable);
    return value.isEmpty() ? real : value;
}

QString FirstLine(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readLine()).trimmed();
}

// The by-id links and the device each one leads to.
QList<QFileInfo> ByIdLinks()
{
    const QDir folder(ByIdRoot());
    return folder.entryInfoList(QDir::System | QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
}

// Identity and driver from sysfs: the tty's device folder, then upwards to the USB device
// (the first folder with an idVendor file).
void ReadSysfs(Adapter& adapter)
{
    const QString tty = SysfsRoot() + QStringLiteral("/class/tty/") + adapter.ttyName;
    const QString device = QFileInfo(tty + QStringLiteral("/device")).canonicalFilePath();
    if (device.isEmpty())
        return;
    adapter.driver = QFileInfo(device + QStringLiteral("/driver")).canonicalFilePath();
    adapter.driver = adapter.driver.isEmpty() ? QString() : QFileInfo(adapter.driver).fileName();
    bool numeric = false;
    const int latency = FirstLine(device + QStringLiteral("/latency_timer")).toInt(&numeric);
    if (numeric)
        adapter.latencyTimerMs = latency;
    const QString root = QFileInfo(SysfsRoot()).canonicalFilePath();
    for (QDir folder(device);
         folder.absolutePath().startsWith(root) && folder.absolutePath() != root;) {
        if (folder.exists(QStringLiteral("idVendor"))) {
            const auto field = [&folder](const char* name) {
                return FirstLine(folder.filePath(QLatin1String(name)));
            };
            adapter.usb = true;
            adapter.vendorId = field("idVendor").toLower();
            adapter.productId = field("idProduct").toLower();
            adapter.manufacturer = field("manufacturer");
            adapter.product = field("product");
            adapter.serialNumber = field("serial");
            return;
        }
        if (!folder.cdUp())
            break;
    }
}

} // namespace

QString SysfsRoot()
{
    return RootFrom("K7310_SYSFS_ROOT", QStringLiteral("/sys"));
}

QString ProcRoot()
{
    return RootFrom("K7310_PROC_ROOT", QStringLiteral("/proc"));
}

QString ByIdRoot()
{
    return RootFrom("K7310_BYID_ROOT", QStringLiteral("/dev/serial/by-id"));
}

Adapter Read(const QString& portName)
{
    Adapter adapter;
    adapter.location = ComCtrl::SystemLocation(portName.trimmed());
    const QFileInfo device(adapter.location);
    adapter.exists = device.exists();
    if (!adapter.exists)
        return adapter;
    adapter.ttyName = QFileInfo(device.canonicalFilePath()).fileName();
    adapter.byIdName = StableName(adapter.location);
    if (adapter.byIdName == adapter.location && !adapter.location.startsWith(ByIdRoot()))
        adapter.byIdName.clear();
    ReadSysfs(adapter);
    // Qt's own look-up fills what sysfs left open (it reads the udev database as well).
    const QSerialPortInfo info(device.canonicalFilePath());
    if (adapter.usb && info.hasVendorIdentifier()) {
        if (adapter.manufacturer.isEmpty())
            adapter.manufacturer = info.manufacturer();
        if (adapter.product.isEmpty())
            adapter.product = info.description();
        if (adapter.serialNumber.isEmpty())
            adapter.serialNumber = info.serialNumber();
    }
    return adapter;
}

QString IdentityKey(const Adapter& adapter)
{
    if (!adapter.usb)
        return {};
    return adapter.vendorId + QLatin1Char(':') + adapter.productId + QLatin1Char(':') +
           adapter.serialNumber;
}

QString StableName(const QString& location)
{
    const QString target = QFileInfo(location).canonicalFilePath();
    if (target.isEmpty())
        return location;
    for (const QFileInfo& link : ByIdLinks())
        if (link.canonicalFilePath() == target)
            return link.absoluteFilePath();
    return location;
}

QString ReplugOffer(const QString& storedPort, const QString& storedIdentity)
{
    if (storedIdentity.isEmpty() || QFileInfo::exists(ComCtrl::SystemLocation(storedPort)))
        return {};
    QString offer;
    for (const QFileInfo& link : ByIdLinks()) {
        if (!link.exists() || IdentityKey(Read(link.absoluteFilePath())) != storedIdentity)
            continue;
        if (!offer.isEmpty())
            return {}; // two of the same kind: the user chooses
        offer = link.absoluteFilePath();
    }
    return offer;
}

} // namespace AdapterInfo
