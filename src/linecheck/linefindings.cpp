#include "linefindings.h"

#include "datafunctions7310.h"
#include "textids.h"

#include <algorithm>

namespace LineFindings {
namespace {

QString Text(int id)
{
    return DataFunctions7310::GetText(id);
}

QString OrUnknown(const QString& fact)
{
    return fact.isEmpty() ? Text(TextId::LineCheckUnknown) : fact;
}

QString Ms(double milliseconds)
{
    return QString::number(milliseconds, 'f', 1);
}

Finding Make(int topic, Finding::Mark mark, const QString& text, const QString& rule = {})
{
    return Finding{topic, mark, text, rule};
}

} // namespace

Finding Identity(const AdapterInfo::Adapter& adapter)
{
    constexpr int topic = TextId::LineCheckTopicAdapter;
    if (!adapter.exists)
        return Make(topic, Finding::Fail,
                    Text(TextId::LineCheckAdapterMissing).arg(adapter.location));
    if (!adapter.usb)
        return Make(topic, Finding::Pass,
                    Text(TextId::LineCheckAdapterOther).arg(adapter.location));
    return Make(topic, Finding::Pass,
                Text(TextId::LineCheckAdapterUsb)
                    .arg(OrUnknown(adapter.manufacturer), OrUnknown(adapter.product),
                         adapter.vendorId, adapter.productId, OrUnknown(adapter.serialNumber),
                         OrUnknown(adapter.byIdName)));
}

Finding Permissions(const Access& access)
{
    constexpr int topic = TextId::LineCheckTopicPermissions;
    if (access.accessible)
        return Make(topic, Finding::Pass,
                    Text(TextId::LineCheckAccessGranted).arg(access.location));
    if (access.grantingGroup.isEmpty())
        return Make(topic, Finding::Fail,
                    Text(TextId::LineCheckAccessNoGroup).arg(access.location));
    // In the group database but not in this session's groups: the membership comes with the
    // next login, which is what "usermod -aG" leaves the user with.
    if (access.inGroupAtLogin && !access.inGroupNow)
        return Make(
            topic, Finding::Warning,
            Text(TextId::LineCheckAccessAtLogin).arg(access.location, access.grantingGroup));
    return Make(topic, Finding::Fail,
                Text(TextId::LineCheckAccessNotInGroup)
                    .arg(access.location, access.grantingGroup, access.user));
}

Finding Driver(const AdapterInfo::Adapter& adapter, std::optional<bool> kernelRs485,
               bool halfDuplex)
{
    constexpr int topic = TextId::LineCheckTopicDriver;
    const QString driver =
        adapter.driver.isEmpty() ? Text(TextId::LineCheckDriverNone) : adapter.driver;
    if (!kernelRs485)
        return Make(topic, Finding::Warning, Text(TextId::LineCheckDriverNotAsked).arg(driver));
    if (*kernelRs485)
        return Make(topic, Finding::Pass, Text(TextId::LineCheckDriverRs485).arg(driver));
    if (halfDuplex)
        return Make(topic, Finding::Warning, Text(TextId::LineCheckDriverNoRs485Half).arg(driver));
    return Make(topic, Finding::Pass, Text(TextId::LineCheckDriverNoRs485Full).arg(driver));
}

Finding LatencyTimer(const AdapterInfo::Adapter& adapter)
{
    constexpr int topic = TextId::LineCheckTopicLatency;
    if (adapter.latencyTimerMs < 0)
        return Make(topic, Finding::Pass, Text(TextId::LineCheckLatencyNone));
    if (adapter.latencyTimerMs <= 1)
        return Make(topic, Finding::Pass,
                    Text(TextId::LineCheckLatencyLow).arg(adapter.latencyTimerMs));
    return Make(topic, Finding::Warning,
                Text(TextId::LineCheckLatencyHigh).arg(adapter.latencyTimerMs),
                QStringLiteral("ACTION==\"add\", SUBSYSTEM==\"usb-serial\", "
                               "DRIVER==\"%1\", ATTR{latency_timer}=\"1\"")
                    .arg(adapter.driver.isEmpty() ? QStringLiteral("ftdi_sio") : adapter.driver));
}

Finding ModemManager(const AdapterInfo::Adapter& adapter, bool modemManagerRunning)
{
    constexpr int topic = TextId::LineCheckTopicModemManager;
    if (!modemManagerRunning)
        return Make(topic, Finding::Pass, Text(TextId::LineCheckModemManagerAbsent));
    if (!adapter.usb)
        return Make(topic, Finding::Pass,
                    Text(TextId::LineCheckModemManagerNotUsb).arg(adapter.location));
    return Make(topic, Finding::Warning,
                Text(TextId::LineCheckModemManagerUsb).arg(adapter.location),
                QStringLiteral("ACTION==\"add|change\", SUBSYSTEM==\"tty\", "
                               "ATTRS{idVendor}==\"%1\", ATTRS{idProduct}==\"%2\", "
                               "ENV{ID_MM_DEVICE_IGNORE}=\"1\"")
                    .arg(adapter.vendorId, adapter.productId));
}

double WireTimeMs(const ProbeExchange& exchange)
{
    const qsizetype characters = exchange.request.size() + exchange.received.size();
    return exchange.baudRate > 0
               ? 1000.0 * double(characters * exchange.bitsPerCharacter) / exchange.baudRate
               : 0.0;
}

Finding Echo(const ProbeExchange& exchange)
{
    constexpr int topic = TextId::LineCheckTopicEcho;
    if (!exchange.tried)
        return Make(topic, Finding::Warning,
                    Text(exchange.slave > 0 ? TextId::LineCheckLineNotOpen
                                            : TextId::LineCheckEchoNotTried));
    if (exchange.received.isEmpty())
        return Make(topic, Finding::Fail,
                    Text(TextId::LineCheckNoAnswer).arg(exchange.slave).arg(exchange.timeoutMs));
    if (exchange.echoTakenOff)
        return Make(topic, Finding::Warning,
                    Text(TextId::LineCheckEchoFound).arg(exchange.request.size()));
    return Make(topic, Finding::Pass, Text(TextId::LineCheckEchoNone));
}

Finding RoundTrip(const ProbeExchange& exchange)
{
    constexpr int topic = TextId::LineCheckTopicRoundTrip;
    if (!exchange.tried || exchange.received.isEmpty())
        return Make(topic, Finding::Warning, Text(TextId::LineCheckRoundTripNotMeasured));
    const double wire = WireTimeMs(exchange);
    // A pty delivers faster than a wire would: no negative turnaround.
    const double rest = std::max(0.0, exchange.roundTripMs - wire);
    const QString total = Ms(exchange.roundTripMs), onWire = Ms(wire), rests = Ms(rest);
    const QString baud = QString::number(exchange.baudRate);
    if (rest > SlowRoundTripMs)
        return Make(topic, Finding::Warning,
                    Text(TextId::LineCheckRoundTripSlow)
                        .arg(total, onWire, baud, rests, Ms(SlowRoundTripMs)));
    return Make(topic, Finding::Pass,
                Text(TextId::LineCheckRoundTripGood).arg(total, onWire, baud, rests));
}

QString AsText(const QString& heading, const QList<Finding>& findings)
{
    const int marks[] = {TextId::LineCheckPass, TextId::LineCheckWarning, TextId::LineCheckFail};
    QString text = heading + QLatin1Char('\n');
    for (const Finding& finding : findings) {
        text += QStringLiteral("[%1] %2: %3\n")
                    .arg(Text(marks[finding.mark]), Text(finding.topic), finding.text);
        if (!finding.udevRule.isEmpty())
            text += QStringLiteral("    %1\n    %2\n")
                        .arg(Text(TextId::LineCheckUdevRule), finding.udevRule);
    }
    return text;
}

} // namespace LineFindings
