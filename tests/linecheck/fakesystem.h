#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <utility>

// A sysfs, /proc, /dev and /dev/serial/by-id of the test's own in a temporary folder, handed
// to the code under test through the environment for as long as it lives.
struct FakeSystem
{
    struct Usb
    {
        Usb(QString vendorId = {}, QString productId = {}, QString serialNumber = {},
            QString driverName = {}, int latency = -1)
            : vendor(std::move(vendorId))
            , product(std::move(productId))
            , serial(std::move(serialNumber))
            , driver(std::move(driverName))
            , latencyMs(latency)
        {}
        QString vendor, product, serial, driver;
        int latencyMs; // no latency_timer file when negative
        QString manufacturer = QStringLiteral("FTDI");
        QString model = QStringLiteral("FT232R USB UART");
    };

    FakeSystem()
    {
        for (const char* folder : {"sys/class/tty", "proc", "dev/serial/by-id"})
            QDir(root()).mkpath(QLatin1String(folder));
        qputenv("K7310_SYSFS_ROOT", path("sys").toUtf8());
        qputenv("K7310_PROC_ROOT", path("proc").toUtf8());
        qputenv("K7310_BYID_ROOT", path("dev/serial/by-id").toUtf8());
    }
    ~FakeSystem()
    {
        for (const char* variable : {"K7310_SYSFS_ROOT", "K7310_PROC_ROOT", "K7310_BYID_ROOT"})
            qunsetenv(variable);
    }

    QString root() const { return m_dir.path(); }
    QString path(const QString& relative) const { return m_dir.filePath(relative); }

    // A USB serial adapter plugged in as `tty`: its device node (a plain file), its sysfs
    // folders and, when byId is given, its by-id link. Returns the node's path.
    QString plugUsb(const QString& tty, const Usb& usb, const QString& byId = {})
    {
        const QString usbDevice = path("sys/devices/pci0000:00/usb1/1-%1").arg(++m_ports);
        write(usbDevice + "/idVendor", usb.vendor);
        write(usbDevice + "/idProduct", usb.product);
        write(usbDevice + "/manufacturer", usb.manufacturer);
        write(usbDevice + "/product", usb.model);
        if (!usb.serial.isEmpty())
            write(usbDevice + "/serial", usb.serial);
        const QString ttyDevice = usbDevice + "/1-1:1.0/" + tty;
        if (usb.latencyMs >= 0)
            write(ttyDevice + "/latency_timer", QString::number(usb.latencyMs));
        return plugTty(tty, ttyDevice, usb.driver, byId);
    }

    // A serial port that is not on USB (sysfs folder under the platform).
    QString plugBuiltIn(const QString& tty, const QString& driver)
    {
        return plugTty(tty, path("sys/devices/platform/serial8250/") + tty, driver, {});
    }

    void runProcess(int pid, const QString& name)
    {
        write(path("proc/%1/comm").arg(pid), name + '\n');
    }

private:
    QString plugTty(const QString& tty, const QString& ttyDevice, const QString& driver,
                    const QString& byId)
    {
        QDir().mkpath(ttyDevice);
        const QString driverFolder = path("sys/bus/usb-serial/drivers/") + driver;
        QDir().mkpath(driverFolder);
        QFile::link(driverFolder, ttyDevice + "/driver");
        QDir().mkpath(path("sys/class/tty/") + tty);
        QFile::link(ttyDevice, path("sys/class/tty/%1/device").arg(tty));
        const QString node = path("dev/") + tty;
        write(node, {});
        if (!byId.isEmpty())
            QFile::link(node, path("dev/serial/by-id/") + byId);
        return node;
    }

    static void write(const QString& file, const QString& text)
    {
        QDir().mkpath(QFileInfo(file).path());
        QFile out(file);
        if (out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            out.write(text.toUtf8() + '\n');
    }

    QTemporaryDir m_dir;
    int m_ports = 0;
};
