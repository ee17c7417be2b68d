#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <functional>

// One request and what came back, as the line's observers see it once the transaction is over.
struct Exchange
{
    enum class Outcome {
        Complete,  // the whole answer, CRC right
        TimeOut,   // nothing came
        Short,     // fewer bytes than the request calls for
        TooLong,   // more bytes than the request calls for
        CrcError,  // the right length, a wrong CRC
        Exception, // the slave refused the request (exceptionCode)
        PortFault, // the line failed (fault)
    };

    qint64 startedMs = 0; // wall clock, milliseconds since the epoch (cheap to take)
    QDateTime started() const { return QDateTime::fromMSecsSinceEpoch(startedMs); }
    qint64 durationUs = 0;
    QString port;     // device path
    QString settings; // "9600,n,8,1"
    int origin = 0;   // text ID of the window (or the search) that asked; 0 unknown
    QByteArray request;
    QByteArray answer;
    Outcome outcome = Outcome::TimeOut;
    int exceptionCode = 0;
    // The port fault: its number in the error table and its detail (device path, reason). The
    // description is looked up when shown, so that it follows a change of language.
    int faultNumber = 0;
    QString fault;
};

using ExchangeObserver = std::function<void(const Exchange&)>;

// The outcome of an answer to a request, by the frame rules: a 5-byte exception answer with its
// CRC right; otherwise the length the request calls for, then the CRC. The search probe (three
// bytes, no CRC) is complete with its four answer bytes.
Exchange::Outcome ClassifyAnswer(const QByteArray& request, const QByteArray& answer,
                                 int* exceptionCode = nullptr);

// The outcome's key for machines (JSON, CSV): "complete", "time-out", "short", "too-long",
// "crc-error", "exception", "port-fault".
QString OutcomeKey(Exchange::Outcome outcome);

class ComCtrl;
class RunTimeError;

// Records one transaction on a line for its observers, from the request on; does nothing at
// all when the line has no observer.
class ExchangeRecorder
{
public:
    ExchangeRecorder(ComCtrl& line, const QByteArray& request);
    // The transaction is over: what came back (possibly nothing), or the port's fault.
    void answered(const QByteArray& answer);
    void failed(const RunTimeError& error);

private:
    void finish();

    ComCtrl& m_line;
    bool m_on;
    qint64 m_startNs = 0;
    Exchange m_exchange;
};
