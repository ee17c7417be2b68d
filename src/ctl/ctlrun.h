#pragma once

#include "comctrl.h"
#include "configmap.h"
#include "ctloptions.h"
#include "ctlreport.h"
#include "exchangelog.h"

#include <QByteArray>
#include <QJsonArray>
#include <QStringList>

// One run of k7310ctl: the data file and language, the line and the panel's slave number, then
// the subcommand. Every subcommand returns the program's exit code.
class CtlRun
{
public:
    explicit CtlRun(CtlOptions options);
    ~CtlRun();
    CtlRun(const CtlRun&) = delete;
    CtlRun& operator=(const CtlRun&) = delete;

    int exec();

private:
    // One request and its answer, judged.
    struct Sent
    {
        QByteArray request;
        QByteArray answer; // empty: nothing came
        Exchange::Outcome outcome = Exchange::Outcome::TimeOut;
        int exceptionCode = 0;
        bool wrongEcho = false; // complete, but from another slave or function
        bool good() const { return outcome == Exchange::Outcome::Complete && !wrongEcho; }
        // The outcome's JSON name; "wrong-answer" for a complete answer from the wrong source.
        QString outcomeKey() const
        {
            return wrongEcho ? QStringLiteral("wrong-answer") : OutcomeKey(outcome);
        }
    };

    int setUp();     // data file and language; exit code, or -1 to go on
    int openLine();  // the port opened; exit code, or -1 to go on
    int openPanel(); // the line and the slave; exit code, or -1 to go on
    void watch();    // the exchanges shown on standard error (monitor)
    Sent exchange(const QByteArray& request, float timeoutSeconds = 1.0F);
    int exitOf(const Sent& sent) const;
    QString reasonOf(Exchange::Outcome outcome, int exceptionCode) const;
    int lineFailure(const RunTimeError& error);

    // Configuration (ctlconfig.cpp).
    int read();
    int write();
    int compare();
    int init();
    int openFile(const QString& path, ConfigMap::Values& values);
    QJsonObject parameterJson(const ConfigMap::Parameter& parameter, int value) const;
    // Panel commands (ctlpanel.cpp).
    int led();
    int horn();
    int off();
    int lampTest();
    int image();
    int alarm();
    int send();
    // The line survey (ctlsurvey.cpp).
    int survey();
    int single(const QByteArray& request, const QString& done);
    int judged(const QList<Sent>& sent, const QString& done);

    CtlOptions m_options;
    CtlReport m_report;
    ComCtrl m_line;
    int m_slave = 1;
    ConfigMap::Values m_fileValues{}; // write, compare: the file's values
    QStringList m_faults;             // first lines of the error report's messages
    ExchangeLog m_watched{2};
};
