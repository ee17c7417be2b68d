#include "ctlrun.h"

#include "commfunctions.h"
#include "ctlinterrupt.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "terminalsearch.h"
#include "textids.h"

#include <cstdio>

namespace {

QString lookup(int textId)
{
    return DataFunctions7310::GetText(textId);
}

} // namespace

CtlRun::CtlRun(CtlOptions options)
    : m_options(std::move(options))
    , m_report(m_options.command, m_options.json)
{
    // Faults met inside the line's functions come here instead of a box: the first line of
    // each, without its number, becomes the run's error message.
    ErrorReport::SetPresenter([this](const QString& message) {
        m_faults
            << message.section(QLatin1Char('\r'), 0, 0).section(QLatin1String(" : "), 1).trimmed();
    });
}

CtlRun::~CtlRun()
{
    ErrorReport::SetPresenter({});
    m_line.close();
}

int CtlRun::exec()
{
    if (const int exit = setUp(); exit >= 0)
        return exit;
    // The line monitor names this program as the one that asked.
    const ComCtrl::OriginScope origin(m_line, TextId::CtlOrigin);
    if (m_options.command == QLatin1String("init"))
        return init();
    if (m_options.command == QLatin1String("send"))
        return send();
    if (m_options.command == QLatin1String("survey"))
        return survey();
    // Files are checked before the line is opened: a bad file sends nothing.
    if (m_options.command == QLatin1String("write") ||
        m_options.command == QLatin1String("compare")) {
        if (const int exit = openFile(m_options.arguments.first(), m_fileValues); exit >= 0)
            return exit;
    }
    if (const int exit = openPanel(); exit >= 0)
        return exit;
    const QString& command = m_options.command;
    if (command == QLatin1String("read"))
        return read();
    if (command == QLatin1String("write"))
        return write();
    if (command == QLatin1String("compare"))
        return compare();
    if (command == QLatin1String("led"))
        return led();
    if (command == QLatin1String("horn"))
        return horn();
    if (command == QLatin1String("off"))
        return off();
    if (command == QLatin1String("lamp-test"))
        return lampTest();
    if (command == QLatin1String("image"))
        return image();
    return alarm();
}

int CtlRun::setUp()
{
    QString detail;
    // The console's data file: beside this program, else where an installed console keeps it.
    const QString path = DataFunctions7310::DataFilePath(QStringLiteral("k7310console"));
    if (const int number = DataFunctions7310::OpenDataFile(path, &detail); number != 0)
        return m_report.finish(CtlReport::FileError,
                               ErrorReport::Description(number) + QStringLiteral(": ") + detail);
    QString language = QStringLiteral("English");
    if (!m_options.language.isEmpty()) {
        // A column name, or its first letters (en, fr, de).
        QStringList matching;
        for (const QString& column : DataFunctions7310::LanguageColumns())
            if (column.startsWith(m_options.language, Qt::CaseInsensitive))
                matching << column;
        if (matching.size() != 1)
            return m_report.finish(CtlReport::Usage,
                                   QStringLiteral("no such language: ") + m_options.language);
        language = matching.first();
    }
    DataFunctions7310::SetCurrentLanguage(language);
    CommFunctions::SetRtsHandshake(m_options.rts);
    if (m_options.rtsDelay >= 0)
        CommFunctions::SetRtsDelay(m_options.rtsDelay);
    m_slave = m_options.slave;
    m_report.json().insert(QStringLiteral("port"), m_options.port);
    m_report.json().insert(QStringLiteral("line"), m_options.line);
    m_report.json().insert(QStringLiteral("slave"), m_slave);
    return -1;
}

int CtlRun::lineFailure(const RunTimeError& error)
{
    QString text = ErrorReport::Description(error.number());
    if (!error.detail().isEmpty())
        text = DataFunctions7310::Captioned(text, error.detail());
    return m_report.finish(CtlReport::LineError, text);
}

int CtlRun::openLine()
{
    try {
        m_line.setPortName(m_options.port);
        m_line.setSettings(m_options.line);
        m_line.open();
    } catch (const RunTimeError& error) {
        return lineFailure(error);
    }
    if (m_options.monitor)
        watch();
    return -1;
}

int CtlRun::openPanel()
{
    if (const int exit = openLine(); exit >= 0)
        return exit;
    if (m_slave != 0)
        return -1;
    TerminalSearch search;
    const std::uint8_t found = CommFunctions::DetectK9120(m_line, 0, m_options.autoSearch, &search);
    if (CtlInterrupt::Requested())
        return m_report.finish(CtlReport::Interrupted, lookup(TextId::CtlInterrupted));
    if (found == CommFunctions::NothingFound || found == CommFunctions::AbandonedSearch) {
        if (!m_faults.isEmpty())
            return m_report.finish(CtlReport::LineError, m_faults.first());
        return m_report.finish(CtlReport::NoAnswer,
                               lookup(m_options.command == QLatin1String("write")
                                          ? TextId::NoSlaveFoundWrite
                                          : TextId::NoSlaveFoundRead));
    }
    m_slave = found;
    m_report.json().insert(QStringLiteral("slave"), m_slave);
    m_report.json().insert(QStringLiteral("line"), m_line.settings());
    return -1;
}

void CtlRun::watch()
{
    m_line.addObserver([this](const Exchange& exchange) {
        // The log keeps this exchange and the one before, for the time between them.
        m_watched.append(exchange);
        const QString lines = QString::fromUtf8(ExchangeText::PlainText(m_watched, lookup));
        std::fprintf(stderr, "%s\n", qPrintable(lines.trimmed().section(QLatin1Char('\n'), -1)));
        std::fflush(stderr);
    });
}

CtlRun::Sent CtlRun::exchange(const QByteArray& request, float timeoutSeconds)
{
    Sent sent;
    sent.request = request;
    const qsizetype faults = m_faults.size();
    ErrorReport::ForgetShown();
    const QByteArray answer = CommFunctions::FrameReceived(m_line, request, timeoutSeconds);
    sent.answer = answer.size() == 1 && answer.at(0) == 0 ? QByteArray() : answer;
    if (m_faults.size() > faults) {
        sent.outcome = Exchange::Outcome::PortFault;
        return sent;
    }
    sent.outcome = ClassifyAnswer(request, sent.answer, &sent.exceptionCode);
    if (sent.outcome == Exchange::Outcome::Complete && request != CommFunctions::ProbeRequest() &&
        request.size() >= 2)
        sent.wrongEcho = sent.answer.at(0) != request.at(0) || sent.answer.at(1) != request.at(1);
    return sent;
}

int CtlRun::exitOf(const Sent& sent) const
{
    return sent.good() ? CtlReport::Success : CtlReport::ExitOf(sent.outcome);
}

QString CtlRun::reasonOf(Exchange::Outcome outcome, int exceptionCode) const
{
    if (outcome == Exchange::Outcome::Complete)
        return lookup(TextId::WrongAnswer);
    if (outcome == Exchange::Outcome::PortFault && !m_faults.isEmpty())
        return m_faults.last();
    Exchange judged;
    judged.outcome = outcome;
    judged.exceptionCode = exceptionCode;
    return ExchangeText::OutcomeText(judged, lookup);
}
