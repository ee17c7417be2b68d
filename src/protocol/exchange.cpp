#include "exchange.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "errorhandling.h"

#include <QElapsedTimer>

namespace {

bool crcRight(const QByteArray& frame)
{
    if (frame.size() < 3)
        return false;
    const std::uint16_t crc = CommFunctions::Crc16Of(frame.constData(), frame.size() - 2);
    return static_cast<std::uint8_t>(frame[frame.size() - 2]) == (crc & 0xFFu) &&
           static_cast<std::uint8_t>(frame[frame.size() - 1]) == (crc >> 8);
}

} // namespace

Exchange::Outcome ClassifyAnswer(const QByteArray& request, const QByteArray& answer,
                                 int* exceptionCode)
{
    using Outcome = Exchange::Outcome;
    if (answer.isEmpty())
        return Outcome::TimeOut;
    if (request == CommFunctions::ProbeRequest())
        return answer.size() == CommFunctions::ProbeAnswerLength  ? Outcome::Complete
               : answer.size() < CommFunctions::ProbeAnswerLength ? Outcome::Short
                                                                  : Outcome::TooLong;
    if (answer.size() == 5 && (static_cast<std::uint8_t>(answer[1]) & 0x80u) && crcRight(answer)) {
        if (exceptionCode)
            *exceptionCode = static_cast<std::uint8_t>(answer[2]);
        return Outcome::Exception;
    }
    // Bit reads answer one byte per 8 bits, whatever shorter wait the transaction allows.
    const int function = request.size() > 1 ? static_cast<std::uint8_t>(request[1]) : 0;
    const int quantity = request.size() > 5 ? static_cast<std::uint8_t>(request[4]) * 256 +
                                                  static_cast<std::uint8_t>(request[5])
                                            : 0;
    const qsizetype expected = function == 1 || function == 2
                                   ? (quantity + 7) / 8 + 5
                                   : CommFunctions::ExpectedAnswerLength(request, answer);
    if (answer.size() < expected)
        return Outcome::Short;
    if (answer.size() > expected)
        return Outcome::TooLong;
    return crcRight(answer) ? Outcome::Complete : Outcome::CrcError;
}

namespace {

qint64 monotonicNs()
{
    static QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    return clock.nsecsElapsed();
}

} // namespace

QString OutcomeKey(Exchange::Outcome outcome)
{
    switch (outcome) {
    case Exchange::Outcome::Complete:
        return QStringLiteral("complete");
    case Exchange::Outcome::TimeOut:
        return QStringLiteral("time-out");
    case Exchange::Outcome::Short:
        return QStringLiteral("short");
    case Exchange::Outcome::TooLong:
        return QStringLiteral("too-long");
    case Exchange::Outcome::CrcError:
        return QStringLiteral("crc-error");
    case Exchange::Outcome::Exception:
        return QStringLiteral("exception");
    case Exchange::Outcome::PortFault:
        return QStringLiteral("port-fault");
    }
    return QString();
}

ExchangeRecorder::ExchangeRecorder(ComCtrl& line, const QByteArray& request)
    : m_line(line)
    , m_on(line.observed())
{
    if (!m_on)
        return;
    m_exchange.startedMs = QDateTime::currentMSecsSinceEpoch();
    m_startNs = monotonicNs();
    m_exchange.port = ComCtrl::SystemLocation(line.portName());
    m_exchange.settings = line.settings();
    m_exchange.origin = line.origin();
    m_exchange.request = request;
}

void ExchangeRecorder::answered(const QByteArray& answer)
{
    if (!m_on)
        return;
    // A copy of just the bytes: the port's read buffer behind `answer` has room for kilobytes,
    // which a log of thousands of exchanges must not keep alive.
    m_exchange.answer = QByteArray(answer.constData(), answer.size());
    m_exchange.outcome = ClassifyAnswer(m_exchange.request, answer, &m_exchange.exceptionCode);
    finish();
}

void ExchangeRecorder::failed(const RunTimeError& error)
{
    if (!m_on)
        return;
    m_exchange.outcome = Exchange::Outcome::PortFault;
    m_exchange.faultNumber = error.number();
    m_exchange.fault = error.detail();
    finish();
}

void ExchangeRecorder::finish()
{
    m_exchange.durationUs = (monotonicNs() - m_startNs) / 1000;
    m_on = false;
    m_line.notifyObservers(m_exchange);
}
