#pragma once

#include "adapterinfo.h"

#include <QList>
#include <QString>

#include <optional>

// The findings of the line check: one line each, with a mark, an explanation in the current
// language and, where a udev rule would cure it, the rule. The functions below turn facts into
// findings and touch nothing; gathering the facts is LineCheck's business.
struct Finding
{
    enum Mark { Pass, Warning, Fail };
    int topic = 0; // text ID of the topic's name ("Permissions")
    Mark mark = Pass;
    QString text;
    QString udevRule; // "" when none is proposed
};

// Who may read and write the device, and whether this user is among them now (this
// process's groups) or only after the next login (the group database).
struct Access
{
    QString location;
    bool exists = false;
    bool accessible = false; // read and write permitted to this process
    QString grantingGroup;   // group with read-write access to the node, "" when none
    bool inGroupNow = false;
    bool inGroupAtLogin = false;
    QString user;
};

// One exchange with the panel: the request, what came back, and how long it took.
struct ProbeExchange
{
    bool tried = false; // a slave number was given and the port was open
    int slave = 0;
    QByteArray request;
    QByteArray received;       // the answer: the line takes an echo off before handing it on
    bool echoTakenOff = false; // the line found the request's bytes in front and took them off
    double roundTripMs = 0;    // from the first byte handed to the kernel to the last byte in
    int timeoutMs = 0;
    qint32 baudRate = 9600;
    int bitsPerCharacter = 10;
};

namespace LineFindings {

// Above this many milliseconds of turnaround and adapter delay, the round trip is flagged.
constexpr double SlowRoundTripMs = 10.0;

Finding Identity(const AdapterInfo::Adapter& adapter);
Finding Permissions(const Access& access);
// kernelRs485: whether the driver offers kernel RS-485 direction control on the open port;
// nullopt when it could not be asked (the port is not open).
Finding Driver(const AdapterInfo::Adapter& adapter, std::optional<bool> kernelRs485,
               bool halfDuplex);
Finding LatencyTimer(const AdapterInfo::Adapter& adapter);
Finding ModemManager(const AdapterInfo::Adapter& adapter, bool modemManagerRunning);

// Milliseconds that the request and the answer take on the wire at the line's speed.
double WireTimeMs(const ProbeExchange& exchange);
Finding Echo(const ProbeExchange& exchange);
Finding RoundTrip(const ProbeExchange& exchange);

// The findings as plain text, one a line with its mark word, rules indented below; for an
// e-mail to support.
QString AsText(const QString& heading, const QList<Finding>& findings);

} // namespace LineFindings
