#pragma once

#include "exchange.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// What one run of k7310ctl tells: readable lines and tables on standard output, or one JSON
// document there with --json; messages on standard error in both cases.
class CtlReport
{
public:
    // The exit codes of the program.
    enum Exit : int {
        Success = 0,
        WrongAnswer = 1, // the panel answered wrongly, or a compare found differences
        Usage = 2,
        NoAnswer = 3,
        LineError = 4,
        FileError = 5,
        Interrupted = 130, // Ctrl-C, as shells count it
    };

    CtlReport(QString command, bool json);

    // Fields of the JSON document besides command, exit, ok and error.
    QJsonObject& json() { return m_json; }
    // Text output (ignored with --json).
    void line(const QString& text);
    void table(const QStringList& header, const QList<QStringList>& rows);
    // One line on standard error ("|" of the data file's texts becomes a blank).
    static void message(const QString& text);

    // Prints the document (with --json) and the error message; returns the exit code.
    int finish(int exit, const QString& error = {});

    // The exit code of a transaction's outcome; its JSON name is OutcomeKey's.
    static int ExitOf(Exchange::Outcome outcome);

private:
    QString m_command;
    bool m_jsonOut;
    QJsonObject m_json;
    QString m_text;
};
