#pragma once

#include "datarow.h"
#include "errorhandling.h"

#include <QTest>

// Collects what the error report would show, for as long as it lives.
class ReportCapture
{
public:
    ReportCapture()
        : m_previous(ErrorReport::SetPresenter([this](const QString& m) { messages.append(m); }))
    {}
    ~ReportCapture() { ErrorReport::SetPresenter(m_previous); }
    QStringList messages;

private:
    ErrorReport::Presenter m_previous;
};
