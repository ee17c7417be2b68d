#include "lineecho.h"

#include "comctrl.h"
#include "errorhandling.h"

#include <cmath>

namespace LineEcho {

QString SettingValue(Setting setting)
{
    switch (setting) {
    case Setting::Yes:
        return QStringLiteral("Yes");
    case Setting::No:
        return QStringLiteral("No");
    case Setting::Automatic:
        break;
    }
    return QStringLiteral("Automatic");
}

std::optional<Setting> ParseSetting(const QString& value)
{
    for (Setting setting : {Setting::Automatic, Setting::Yes, Setting::No})
        if (value.compare(SettingValue(setting), Qt::CaseInsensitive) == 0)
            return setting;
    return std::nullopt;
}

Finding Judge(QByteArrayView request, QByteArrayView received)
{
    const qsizetype compared = std::min(request.size(), received.size());
    if (received.first(compared) != request.first(compared))
        return Finding::Absent;
    return compared == request.size() && !request.isEmpty() ? Finding::Echoed : Finding::Pending;
}

bool AnswerMayRepeatRequest(QByteArrayView request)
{
    if (request.size() != 8)
        return false;
    const auto function = static_cast<unsigned char>(request[1]);
    return function == 5 || function == 6;
}

bool Tracker::setSetting(Setting setting)
{
    if (setting == m_setting)
        return false;
    m_setting = setting;
    forget();
    return true;
}

void Tracker::forget()
{
    m_found.reset();
    m_loneCopySeen = false;
}

void Tracker::opened()
{
    forget();
    m_wait = Wait::None;
    m_last = Finding::Pending;
}

void Tracker::closed()
{
    m_found.reset();
    m_wait = Wait::None;
}

std::optional<bool> Tracker::echoes() const
{
    switch (m_setting) {
    case Setting::Yes:
        return true;
    case Setting::No:
        return false;
    case Setting::Automatic:
        break;
    }
    return m_found;
}

void Tracker::expect(const QByteArray& request)
{
    m_request = request;
    m_last = Finding::Pending;
    m_copyWait = QDeadlineTimer(QDeadlineTimer::Forever);
    const std::optional<bool> known = echoes();
    if (m_setting == Setting::No)
        // Looked at only to report an echo that comes anyway; a request that its answer
        // repeats cannot tell.
        m_wait = AnswerMayRepeatRequest(request) ? Wait::None : Wait::Unknown;
    else
        m_wait = !known ? Wait::Unknown : *known ? Wait::Owed : Wait::None;
}

Tracker::Step Tracker::fault(int number)
{
    m_wait = Wait::None;
    Step step;
    step.fault = number;
    return step;
}

Tracker::Step Tracker::settle(QByteArrayView front, bool waitOver, const QString& settings)
{
    if (m_wait == Wait::None)
        return {};
    const qsizetype size = m_request.size();
    const Finding finding = Judge(m_request, front);

    if (m_setting == Setting::No) {
        if (finding == Finding::Echoed) {
            m_last = Finding::Echoed;
            return fault(ErrorNumber::EchoUnexpected);
        }
        if (finding == Finding::Absent || waitOver)
            m_wait = Wait::None;
        return {};
    }

    if (finding == Finding::Absent) {
        m_last = Finding::Absent;
        if (m_wait == Wait::Owed)
            return fault(ErrorNumber::EchoMissing);
        m_found = false;
        m_wait = Wait::None;
        Step step;
        step.found = true;
        return step;
    }
    if (finding == Finding::Pending) {
        if (!waitOver)
            return {};
        if (m_wait == Wait::Owed)
            return fault(ErrorNumber::EchoMissing);
        m_wait = Wait::None; // nothing told: a short answer, or none
        return {};
    }
    // The whole request is there. Owed, or found (Automatic) unless the answer repeats the
    // request and nothing follows the copy yet: that copy may be the answer itself.
    if (m_wait == Wait::Unknown && AnswerMayRepeatRequest(m_request) && front.size() == size) {
        // Once a copy has stayed alone on this port, the next ones are answers at once: a
        // line of writes alone does not wait on each of them.
        if (!waitOver && !m_loneCopySeen && !m_copyWait.hasExpired()) {
            if (m_copyWait.isForever()) {
                // The answer behind an echo starts within the panel's silence of 3.5
                // characters and its turnaround; allowed: 1 character more and 100 ms.
                ComCtrl::LineSettings line;
                ComCtrl::ParseSettings(settings, &line);
                const double charMs = 1000.0 * ComCtrl::BitsPerCharacter(settings) / line.baudRate;
                m_copyWait = QDeadlineTimer(static_cast<qint64>(std::ceil(4.5 * charMs)) + 100);
            }
            return {};
        }
        m_wait = Wait::None; // alone: the answer, from a line not known to echo
        m_loneCopySeen = true;
        return {};
    }
    Step step;
    step.drop = size; // the echo
    m_last = Finding::Echoed;
    m_wait = Wait::None;
    if (m_setting == Setting::Automatic && !m_found) {
        m_found = true;
        step.found = true;
    }
    return step;
}

} // namespace LineEcho
