#include "ctlreport.h"

#include <QJsonDocument>

#include <algorithm>
#include <cstdio>

CtlReport::CtlReport(QString command, bool json)
    : m_command(std::move(command))
    , m_jsonOut(json)
{}

void CtlReport::line(const QString& text)
{
    m_text += text + QLatin1Char('\n');
}

void CtlReport::table(const QStringList& header, const QList<QStringList>& rows)
{
    QList<qsizetype> widths(header.size(), 0);
    for (const QStringList& row : QList<QStringList>{header} + rows)
        for (qsizetype column = 0; column < row.size() && column < widths.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    for (const QStringList& row : QList<QStringList>{header} + rows) {
        QString text;
        for (qsizetype column = 0; column < row.size(); ++column)
            text += column + 1 < row.size() ? row[column].leftJustified(widths[column] + 2)
                                            : row[column];
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        line(text);
    }
}

void CtlReport::message(const QString& text)
{
    QString flat = text;
    flat.replace(QLatin1Char('|'), QLatin1Char(' '));
    std::fprintf(stderr, "k7310ctl: %s\n", qPrintable(flat));
    std::fflush(stderr);
}

int CtlReport::finish(int exit, const QString& error)
{
    if (!error.isEmpty())
        message(error);
    if (m_jsonOut) {
        QJsonObject document = m_json;
        document.insert(QStringLiteral("command"), m_command);
        document.insert(QStringLiteral("exit"), exit);
        document.insert(QStringLiteral("ok"), exit == Success);
        QString flat = error;
        flat.replace(QLatin1Char('|'), QLatin1Char(' '));
        document.insert(QStringLiteral("error"),
                        error.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(flat));
        std::fputs(QJsonDocument(document).toJson(QJsonDocument::Indented).constData(), stdout);
    } else {
        std::fputs(m_text.toUtf8().constData(), stdout);
    }
    std::fflush(stdout);
    return exit;
}

int CtlReport::ExitOf(Exchange::Outcome outcome)
{
    switch (outcome) {
    case Exchange::Outcome::TimeOut:
        return NoAnswer;
    case Exchange::Outcome::PortFault:
        return LineError;
    default:
        return WrongAnswer;
    }
}
