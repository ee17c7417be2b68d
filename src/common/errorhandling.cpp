#include "errorhandling.h"

#include "datafunctions7310.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>

#include <algorithm>
#include <cstdio>

namespace {

ErrorReport::Presenter& presenter()
{
    static ErrorReport::Presenter instance;
    return instance;
}

struct Shown
{
    QString message;
    QElapsedTimer since; // from when the message's box was closed
};

QList<Shown>& recentlyShown()
{
    static QList<Shown> shown;
    return shown;
}

// True when the message was shown within the repeat window; forgets older ones on the way.
bool shownJustBefore(const QString& message)
{
    QList<Shown>& shown = recentlyShown();
    shown.removeIf(
        [](const Shown& entry) { return entry.since.hasExpired(ErrorReport::RepeatWindowMs); });
    return std::any_of(shown.cbegin(), shown.cend(),
                       [&](const Shown& entry) { return entry.message == message; });
}

} // namespace

namespace ErrorReport {

QString Description(int number)
{
    if (std::optional<QString> text = DataFunctions7310::FindText(DescriptionTextBase + number);
        text && !text->isEmpty())
        return *text;
    static const QHash<int, QString> descriptions = {
        {ErrorNumber::InvalidArgument, QStringLiteral("Invalid procedure call or argument")},
        {ErrorNumber::Overflow, QStringLiteral("Overflow")},
        {ErrorNumber::IndexOutOfRange, QStringLiteral("Subscript out of range")},
        {ErrorNumber::TypeMismatch, QStringLiteral("Type mismatch")},
        {ErrorNumber::FileAccess, QStringLiteral("Path/File access error")},
        {ErrorNumber::DataFileNotFound, QStringLiteral("Data file not found")},
        {ErrorNumber::DataFileBadPassword,
         QStringLiteral("Not a valid password, or not a data file")},
        {ErrorNumber::DataFileDamaged, QStringLiteral("Unrecognised or damaged data file")},
        {ErrorNumber::DataFileError, QStringLiteral("Data file error")},
        {ErrorNumber::DataItemNotFound, QStringLiteral("Item not found in this collection")},
        {ErrorNumber::SettingsNotWritable, QStringLiteral("The settings file cannot be written")},
        {ErrorNumber::PortNotFound, QStringLiteral("The port does not exist")},
        {ErrorNumber::PortBusy, QStringLiteral("Port already open or in use by another program")},
        {ErrorNumber::PortPermissionDenied, QStringLiteral("Permission denied on the port")},
        {ErrorNumber::PortNotSerial, QStringLiteral("The device is not a serial port")},
        {ErrorNumber::PortNotOpen, QStringLiteral("Operation not valid: the port is not open")},
        {ErrorNumber::PortSettingsRejected, QStringLiteral("The port refused the line settings")},
        {ErrorNumber::PortLost, QStringLiteral("The port was lost (adapter removed?)")},
        {ErrorNumber::PortIoError, QStringLiteral("Read or write error on the port")},
        {ErrorNumber::EchoMissing,
         QStringLiteral("The adapter did not echo the request: check the echo setting")},
        {ErrorNumber::EchoUnexpected,
         QStringLiteral("The adapter echoed the request: check the echo setting")},
    };
    return descriptions.value(number,
                              QStringLiteral("Application-defined or object-defined error"));
}

QString Message(const QString& procedure, int number, const QString& detail)
{
    static const QString crlf = QStringLiteral("\r\n");
    QString description = Description(number);
    if (!detail.isEmpty())
        description += QStringLiteral(" (") + detail + QLatin1Char(')');

    QString text = QStringLiteral("Error Nr ") + QString::number(number) + QStringLiteral(" : ") +
                   description + crlf + crlf + QStringLiteral("Module : ");
    const qsizetype dot = procedure.indexOf(QLatin1Char('.'));
    if (dot < 0)
        return text + procedure;
    // Only an underscore after the dot splits object from event.
    const qsizetype underscore = procedure.indexOf(QLatin1Char('_'), dot + 1);
    text += procedure.left(dot) + crlf;
    if (underscore < 0)
        return text + QStringLiteral("Function : ") + procedure.mid(dot + 1);
    return text + QStringLiteral("Object : ") + procedure.mid(dot + 1, underscore - dot - 1) +
           crlf + QStringLiteral("Event : ") + procedure.mid(underscore + 1);
}

Presenter SetPresenter(Presenter newPresenter)
{
    return std::exchange(presenter(), std::move(newPresenter));
}

} // namespace ErrorReport

namespace ErrorReport {

void ForgetShown()
{
    recentlyShown().clear();
}

} // namespace ErrorReport

void ErrorHandling(const QString& procedure, int number, const QString& detail)
{
    const QString message = ErrorReport::Message(procedure, number, detail);
    if (shownJustBefore(message))
        return;
    if (presenter())
        presenter()(message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(message));
    Shown shown{message, {}};
    shown.since.start();
    recentlyShown().append(std::move(shown));
}

void ErrorHandling(const QString& procedure, const RunTimeError& error)
{
    ErrorHandling(procedure, error.number(), error.detail());
}
