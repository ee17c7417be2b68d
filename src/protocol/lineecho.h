#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QDeadlineTimer>
#include <QString>

#include <optional>

// The echo of 2-wire adapters without echo suppression: every byte the console sends comes
// back to it, ahead of the answer.
namespace LineEcho {

// "Adapter echoes what it sends". Automatic finds out on the first exchange after opening.
enum class Setting { Automatic, Yes, No };
// The value in the settings file ("Automatic", "Yes", "No"), and back; nullopt for others.
QString SettingValue(Setting setting);
std::optional<Setting> ParseSetting(const QString& value);

// What the bytes received after a request say about its echo.
enum class Finding {
    Pending, // nothing yet, or a true beginning of the request
    Echoed,  // they begin with the whole request
    Absent,  // they differ from the request at some byte
};
Finding Judge(QByteArrayView request, QByteArrayView received);

// True when the normal answer to the request is the request itself (functions 5 and 6):
// one copy of it received proves no echo.
bool AnswerMayRepeatRequest(QByteArrayView request);

// The echo on one port, exchange by exchange: what the setting and the first exchanges after
// opening say, and whether the front of what has come after a request is its echo. The port's
// reads and faults are the caller's; this says what to do.
class Tracker
{
public:
    Setting setting() const { return m_setting; }
    // False when it was the setting already; what Automatic found is forgotten either way.
    bool setSetting(Setting setting);
    // Forgets what Automatic found, as a newly opened port does.
    void forget();
    void opened();
    void closed();

    // Whether the adapter echoes, as found out (Automatic) or set (Yes, No); nullopt while
    // Automatic has not found out yet.
    std::optional<bool> echoes() const;
    // The finding of the last exchange: Echoed (taken off), Absent (none came), Pending (not
    // looked for, or nothing told: no byte came, or a lone copy of a request that its answer
    // repeats).
    Finding last() const { return m_last; }

    // A request goes out: its echo is owed (Yes, or found by Automatic), to be found out, or
    // not looked for.
    void expect(const QByteArray& request);
    // Nothing more to look at for this exchange.
    bool settled() const { return m_wait == Wait::None; }
    // The request's bytes, held back from the answer while the front may still be the echo.
    qint64 stillAhead() const { return settled() ? 0 : m_request.size(); }
    // A lone copy of a self-repeating request is being given time for an answer behind it.
    bool awaitingLoneCopy() const { return m_wait == Wait::Unknown && !m_copyWait.isForever(); }
    QDeadlineTimer loneCopyDeadline() const { return m_copyWait; }

    struct Step
    {
        qint64 drop = 0;    // bytes of echo to take off the front
        int fault = 0;      // error number to throw (EchoMissing, EchoUnexpected)
        bool found = false; // what Automatic knows has changed
    };
    // Looks at the front of what has come (up to one byte beyond the request). waitOver: the
    // answer wait has ended. `settings` gives the character time of a lone copy's wait.
    Step settle(QByteArrayView front, bool waitOver, const QString& settings);

private:
    enum class Wait { None, Owed, Unknown };
    Step fault(int number);

    Setting m_setting = Setting::Automatic;
    std::optional<bool> m_found;
    bool m_loneCopySeen = false; // a copy of a self-repeating request stayed alone
    QByteArray m_request;
    Wait m_wait = Wait::None;
    QDeadlineTimer m_copyWait; // how long a lone copy of a self-repeating request may stay alone
    Finding m_last = Finding::Pending;
};

} // namespace LineEcho
