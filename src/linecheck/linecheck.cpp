#include "linecheck.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "lineprobe.h"
#include "textids.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace LineCheck {
namespace {

// The groups of the user's next login, from the group database.
QList<gid_t> LoginGroups(const passwd& user)
{
    int count = 32;
    std::vector<gid_t> groups(static_cast<size_t>(count));
    while (::getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) < 0)
        groups.resize(static_cast<size_t>(count));
    groups.resize(static_cast<size_t>(count));
    return QList<gid_t>(groups.begin(), groups.end());
}

QList<gid_t> SessionGroups()
{
    const int count = ::getgroups(0, nullptr);
    std::vector<gid_t> groups(static_cast<size_t>(std::max(count, 0)));
    const int read = ::getgroups(count, groups.data());
    groups.resize(static_cast<size_t>(std::max(read, 0)));
    QList<gid_t> list(groups.begin(), groups.end());
    list.append(::getegid());
    return list;
}

} // namespace

Access AccessTo(const QString& location)
{
    const ComCtrl::OpenProbe probe = ComCtrl::ProbeDevice(location, QSerialPort::NoError, {});
    Access access;
    access.location = location;
    access.exists = probe.exists;
    access.accessible = probe.exists && probe.accessible;
    access.grantingGroup = probe.grantingGroup;
    const passwd* user = ::getpwuid(::getuid());
    if (user)
        access.user = QString::fromLocal8Bit(user->pw_name);
    const group* granting = probe.grantingGroup.isEmpty()
                                ? nullptr
                                : ::getgrnam(probe.grantingGroup.toLocal8Bit().constData());
    if (granting) {
        access.inGroupNow = SessionGroups().contains(granting->gr_gid);
        access.inGroupAtLogin = user && LoginGroups(*user).contains(granting->gr_gid);
    }
    return access;
}

bool ModemManagerRunning()
{
    const QDir proc(AdapterInfo::ProcRoot());
    const auto entries = proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool numeric = false;
        entry.toInt(&numeric);
        if (!numeric)
            continue;
        QFile comm(proc.filePath(entry + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && comm.readLine().trimmed() == "ModemManager")
            return true;
    }
    return false;
}

QList<Finding> Run(ComCtrl& line, int slave)
{
    const AdapterInfo::Adapter adapter = AdapterInfo::Read(line.portName());
    QList<Finding> findings{LineFindings::Identity(adapter)};
    if (!adapter.exists)
        return findings;
    findings.append(LineFindings::Permissions(AccessTo(adapter.location)));
    findings.append(LineFindings::Driver(adapter, LineProbe::KernelRs485Offered(line),
                                         CommFunctions::RtsHandshake()));
    findings.append(LineFindings::LatencyTimer(adapter));
    findings.append(LineFindings::ModemManager(adapter, ModemManagerRunning()));
    const ProbeExchange exchange = LineProbe::Exchange(line, slave);
    findings.append(LineFindings::Echo(exchange));
    findings.append(LineFindings::RoundTrip(exchange));
    return findings;
}

QString Heading(const ComCtrl& line)
{
    return DataFunctions7310::GetText(TextId::LineCheckHeading)
        .arg(ComCtrl::SystemLocation(line.portName()), line.settings(),
             QDateTime::currentDateTime().toString(Qt::ISODate));
}

} // namespace LineCheck
