// The panel subcommands: LEDs, horn, panel off, lamp test, the image read back, the alarm with
// its acknowledgement, and one raw frame.
#include "commfunctions.h"
#include "ctlinterrupt.h"
#include "ctlrun.h"
#include "datafunctions7310.h"
#include "panelcommands.h"
#include "textids.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QThread>

using namespace PanelCommands;
using DataFunctions7310::GetText;

namespace {

QString hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

} // namespace

int CtlRun::judged(const QList<Sent>& sent, const QString& done)
{
    QJsonArray exchanges;
    QList<QStringList> rows;
    const Sent* failed = nullptr;
    for (const Sent& each : sent) {
        exchanges.append(QJsonObject{
            {QStringLiteral("request"), hex(each.request)},
            {QStringLiteral("answer"), hex(each.answer)},
            {QStringLiteral("outcome"), each.outcomeKey()},
            {QStringLiteral("exceptionCode"), each.exceptionCode},
        });
        rows << QStringList{hex(each.request), hex(each.answer),
                            each.good() ? QString() : reasonOf(each.outcome, each.exceptionCode)};
        if (!failed && !each.good())
            failed = &each;
    }
    m_report.json().insert(QStringLiteral("exchanges"), exchanges);
    m_report.table({GetText(TextId::MonitorRequest), GetText(TextId::MonitorAnswer),
                    GetText(TextId::MonitorOutcome)},
                   rows);
    if (!failed) {
        m_report.line(done);
        return m_report.finish(CtlReport::Success);
    }
    return m_report.finish(exitOf(*failed),
                           GetText(TextId::ToolsNoValidAnswer)
                               .arg(m_slave)
                               .arg(reasonOf(failed->outcome, failed->exceptionCode)));
}

int CtlRun::single(const QByteArray& request, const QString& done)
{
    return judged({exchange(request)}, done);
}

int CtlRun::led()
{
    PanelImage image;
    image.leds[static_cast<std::size_t>(m_options.led)] = m_options.state;
    return single(
        LedRequest(m_slave, m_options.led, image),
        GetText(TextId::ToolsLedSent).arg(m_options.led).arg(m_slave).arg(m_options.state));
}

int CtlRun::horn()
{
    PanelImage image;
    image.horn = m_options.state;
    return single(LedRequest(m_slave, HornIndex, image),
                  GetText(TextId::ToolsHornSent).arg(m_slave).arg(m_options.state));
}

int CtlRun::off()
{
    // The horn is a word of its own: it is switched off whatever became of the LEDs' request.
    const Sent leds = exchange(AllLedsOffRequest(m_slave));
    const Sent horn = exchange(HornOffRequest(m_slave));
    return judged({leds, horn}, GetText(TextId::ToolsPanelOffDone).arg(m_slave));
}

int CtlRun::lampTest()
{
    return single(LampTestRequest(m_slave), GetText(TextId::ToolsLampTestSent).arg(m_slave));
}

int CtlRun::image()
{
    const Sent sent = exchange(ImageReadRequest(m_slave));
    PanelImage image;
    if (!sent.good() || !Unpack(sent.answer, image))
        return judged({sent}, {});
    QJsonArray leds;
    QList<QStringList> rows;
    for (int n = 0; n < LedCount; ++n) {
        const int state = image.leds[static_cast<std::size_t>(n)];
        leds.append(state);
        rows << QStringList{QString::number(n), QString::number(state),
                            state < StateCount ? GetText(TextId::LedStateFirst + state)
                                               : QString()};
    }
    m_report.json().insert(QStringLiteral("leds"), leds);
    m_report.json().insert(QStringLiteral("horn"), image.horn);
    m_report.line(GetText(TextId::ToolsImageRead).arg(m_slave));
    m_report.table({GetText(TextId::CtlLed), GetText(TextId::CtlState), QString()}, rows);
    m_report.line(DataFunctions7310::Captioned(TextId::ToolsHorn, QString::number(image.horn)));
    return m_report.finish(CtlReport::Success);
}

int CtlRun::alarm()
{
    const PanelImage alarm = AlarmImage();
    QList<Sent> sent{exchange(ImageWriteRequest(m_slave, alarm))};
    m_report.json().insert(QStringLiteral("acknowledged"), false);
    if (!sent.first().good() || m_options.waitSeconds <= 0)
        return judged(sent, GetText(TextId::CtlAlarmSent).arg(m_slave));

    // The acknowledgement word is polled until the technician acknowledges on the panel. A
    // complete answer counts; one with a wrong CRC is asked again; silence ends the wait.
    const QDeadlineTimer deadline(static_cast<qint64>(m_options.waitSeconds * 1000));
    bool acknowledged = false;
    while (!acknowledged && !deadline.hasExpired()) {
        if (CtlInterrupt::Requested())
            return m_report.finish(CtlReport::Interrupted, GetText(TextId::CtlInterrupted));
        QThread::msleep(static_cast<unsigned long>(CommFunctions::FrameDelay()));
        const Sent poll = exchange(AckReadRequest(m_slave));
        if (poll.outcome == Exchange::Outcome::TimeOut ||
            poll.outcome == Exchange::Outcome::PortFault || AckAnswerShort(poll.answer) ||
            poll.wrongEcho)
            return judged({poll}, {});
        acknowledged = poll.good() && Acknowledged(poll.answer);
    }
    if (!acknowledged)
        return m_report.finish(
            CtlReport::NoAnswer,
            GetText(TextId::CtlNotAcknowledged).arg(m_slave).arg(m_options.waitSeconds));
    m_report.json().insert(QStringLiteral("acknowledged"), true);
    sent << exchange(ImageWriteRequest(m_slave, AcknowledgedImage(alarm)));
    return judged(sent, GetText(TextId::ToolsAlarmAcknowledged).arg(m_slave));
}

int CtlRun::send()
{
    QByteArray frame = m_options.frame;
    if (m_options.crc) {
        const quint16 crc = CommFunctions::Crc16Of(frame.constData(), frame.size());
        frame.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
    }
    if (const int exit = openLine(); exit >= 0)
        return exit;
    const Sent sent = exchange(frame, static_cast<float>(m_options.timeoutSeconds));
    Exchange judgedExchange;
    judgedExchange.request = sent.request;
    judgedExchange.answer = sent.answer;
    judgedExchange.outcome = sent.outcome;
    judgedExchange.exceptionCode = sent.exceptionCode;
    QJsonObject& json = m_report.json();
    json.insert(QStringLiteral("request"), hex(sent.request));
    json.insert(QStringLiteral("answer"), hex(sent.answer));
    json.insert(QStringLiteral("outcome"), sent.outcomeKey());
    json.insert(QStringLiteral("exceptionCode"), sent.exceptionCode);
    json.insert(QStringLiteral("meaning"),
                ExchangeText::Meaning(judgedExchange, [](int id) { return GetText(id); }));
    m_report.line(DataFunctions7310::Captioned(TextId::MonitorRequest, hex(sent.request)));
    m_report.line(GetText(TextId::CtlAnswer)
                      .arg(sent.answer.isEmpty() ? QStringLiteral("-") : hex(sent.answer))
                      .arg(sent.good() ? GetText(TextId::MonitorComplete)
                                       : reasonOf(sent.outcome, sent.exceptionCode)));
    m_report.line(json.value(QStringLiteral("meaning")).toString());
    return m_report.finish(exitOf(sent));
}
