#pragma once

#include "datarow.h"
#include "errorhandling.h"

#include <QTest>

// Collects what the error report would show, for as long as it lives.
class ReportCapture
{
public:
    // Starts with a clean slate: what an earlier case reported is not held back as a repeat.
    ReportCapture()
        : m_previous(ErrorReport::SetPresenter([this](const QString& m) { messages.append(m); }))
    {
        ErrorReport::ForgetShown();
    }
    ~ReportCapture() { ErrorReport::SetPresenter(m_previous); }
    void clear()
    {
        messages.clear();
        ErrorReport::ForgetShown();
    }
    // "<number> <procedure>" of each report, e.g. "8012 LitMots".
    QStringList faults() const
    {
        QStringList faults;
        for (const QString& message : messages)
            faults << message.section(QLatin1Char(' '), 2, 2) + QLatin1Char(' ') +
                          message.section(QLatin1String(" : "), -1);
        return faults;
    }
    QStringList messages;

private:
    ErrorReport::Presenter m_previous;
};
