#pragma once

#include "linesurvey.h"

#include <QString>
#include <QStringList>

#include <optional>

// The command line of k7310ctl: line options, one subcommand (optionally behind "monitor") and
// its own options. Every check that needs no line and no data file happens here, so that bad
// input ends the run before anything is sent.
struct CtlOptions
{
    QString command;
    QStringList arguments; // the subcommand's positional arguments
    bool monitor = false;
    bool json = false;
    QString port;
    QString line = QStringLiteral("9600,n,8,1");
    bool rts = false;
    int rtsDelay = -1; // -1: the line's default
    int slave = 1;
    bool autoSearch = true;
    QString language;
    // Subcommand options.
    double waitSeconds = 0;    // alarm --wait
    bool crc = false;          // send --crc
    double timeoutSeconds = 1; // send --timeout
    bool force = false;        // init --force
    LineSurvey::Options survey;
    // send: the frame; led: LED and state; horn: on.
    QByteArray frame;
    int led = 0;
    int state = 0;
};

struct CtlParse
{
    std::optional<CtlOptions> options; // empty: the run ends with exit
    int exit = 0;
};

// Parses the arguments (argv[0] first). Help and version go to standard output (exit 0), bad
// usage to standard error as one line (exit 2).
CtlParse ParseCtlArguments(const QStringList& arguments);
