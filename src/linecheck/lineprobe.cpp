#include "lineprobe.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "exchange.h"
#include "lineecho.h"
#include "linelock.h"
#include "rs485mode.h"
#include "textids.h"

#include <QElapsedTimer>

#include <fcntl.h>
#include <unistd.h>

namespace LineProbe {
namespace {

// The panel's line speed word: present on every firmware, read-only in effect for a read.
constexpr int SpeedWord = 128;

bool AskRs485(const QString& location)
{
    const int fd =
        ::open(location.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        throw RunTimeError(ErrorNumber::PortIoError, location);
    const bool offered = Rs485Mode::KernelModeOffered(fd).offered;
    ::close(fd);
    return offered;
}

} // namespace

std::optional<bool> KernelRs485Offered(ComCtrl& line)
{
    try {
        // An open line is asked through its own handle; a closed one by opening the device
        // for the question alone.
        if (line.isOpen())
            return line.kernelModeOffered().offered;
        return AskRs485(ComCtrl::SystemLocation(line.portName()));
    } catch (const RunTimeError&) {
        return std::nullopt;
    }
}

ProbeExchange Exchange(ComCtrl& line, int slave)
{
    ProbeExchange exchange;
    exchange.slave = slave;
    exchange.timeoutMs = CommFunctions::WordTimeoutMs;
    exchange.bitsPerCharacter = ComCtrl::BitsPerCharacter(line.settings());
    exchange.baudRate = CommFunctions::CommBaudsOf(line.settings());
    if (slave <= 0 || !line.isOpen())
        return exchange;
    const LineLock lock(line);
    if (!lock.acquired())
        return exchange;
    const ComCtrl::OriginScope origin(line, TextId::LineCheckTitle);
    exchange.tried = true;
    exchange.request =
        CommFunctions::ReadWordsRequest(static_cast<std::uint8_t>(slave), SpeedWord, 1);
    // A fresh look at the echo whatever the setting: Automatic, with what it had found
    // forgotten, finds out on this exchange. The setting is put back after.
    const LineEcho::Setting setting = line.echoSetting();
    line.setEchoSetting(LineEcho::Setting::Automatic);
    line.forgetEcho();
    ExchangeRecorder record(line, exchange.request);
    try {
        QElapsedTimer clock;
        clock.start();
        line.sendRequest(exchange.request, CommFunctions::RtsHandshake(),
                         CommFunctions::RtsDelay());
        const QDeadlineTimer deadline(exchange.timeoutMs);
        // The line holds back what may still be the echo and takes a found one off.
        for (;;) {
            if (exchange.received.size() >=
                CommFunctions::ExpectedAnswerLength(exchange.request, exchange.received))
                break;
            if (line.waitForBytes(1, deadline) == 0)
                break;
            exchange.received += line.read();
            exchange.roundTripMs = double(clock.nsecsElapsed()) / 1e6;
        }
        record.answered(exchange.received);
    } catch (const RunTimeError& error) {
        record.failed(error);
    }
    // The line takes a found echo off what it hands on; it says so.
    exchange.echoTakenOff = line.lastEcho() == LineEcho::Finding::Echoed;
    line.setEchoSetting(setting);
    return exchange;
}

} // namespace LineProbe
