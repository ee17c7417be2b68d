#pragma once

#include <QString>

#include <exception>
#include <functional>

// Run-time fault numbers of the console, one table for the whole program.
namespace ErrorNumber {
enum : int {
    InvalidArgument = 5,
    Overflow = 6,
    IndexOutOfRange = 9,
    TypeMismatch = 13,
    FileAccess = 75,
    DataFileNotFound = 3024,
    DataFileBadPassword = 3031,
    DataFileDamaged = 3343,
    DataFileError = 3000,
    DataItemNotFound = 3265,
    SettingsNotWritable = 3050,
    PortNotFound = 8002,
    PortBusy = 8005,
    PortPermissionDenied = 8006,
    PortNotSerial = 8007,
    PortNotOpen = 8012,
    PortSettingsRejected = 8015,
    PortLost = 8018,
    PortIoError = 8020,
    EchoMissing = 8021,    // the adapter was to echo the request and did not
    EchoUnexpected = 8022, // the adapter echoed the request where no echo was expected
};
} // namespace ErrorNumber

// A trapped run-time fault: its number from the table above and an optional detail
// (a device path, the group that grants access, the database's own message).
class RunTimeError : public std::exception
{
public:
    explicit RunTimeError(int number, QString detail = {})
        : m_number(number)
        , m_detail(std::move(detail))
    {}
    int number() const { return m_number; }
    const QString& detail() const { return m_detail; }
    const char* what() const noexcept override { return "k7310 run-time fault"; }

private:
    int m_number;
    QString m_detail;
};

namespace ErrorReport {
// Text ID of an error number's description in the data file.
constexpr int DescriptionTextBase = 90000;
// The standard description of an error number: text DescriptionTextBase + number of the data
// file in the current language; the built-in English text when the data file has none; a
// general text for numbers not in the table.
QString Description(int number);

// The report's text: "Error Nr n : description", an empty line, then the Module / Object /
// Event or Module / Function lines split from the qualified procedure name.
QString Message(const QString& procedure, int number, const QString& detail = {});

// Shows the finished message. The shell installs a critical-icon message box; without a
// presenter the message goes to standard error. Returns the previous presenter.
using Presenter = std::function<void(const QString& message)>;
Presenter SetPresenter(Presenter presenter);

// A message identical to one shown less than RepeatWindowMs before (counted from when its box
// was closed) is not shown again: one fault met by several windows or steps of one user action
// (each child saving its place, each caption of a dialog) gives one box, not one per step.
// A new user command forgets what was shown (UserCommand), so a retry always gets its box.
constexpr int RepeatWindowMs = 2000;
// Forgets the messages shown so far.
void ForgetShown();
} // namespace ErrorReport

// The central error report: builds the message and hands it to the presenter.
void ErrorHandling(const QString& procedure, int number, const QString& detail = {});
void ErrorHandling(const QString& procedure, const RunTimeError& error);
