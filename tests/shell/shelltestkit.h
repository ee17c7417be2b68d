#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

class QWidget;

// A scratch program folder for one test: a copy of a data file, a settings file of its own
// (never the developer's), and the error reports captured instead of shown.
class ShellFixture
{
public:
    explicit ShellFixture(const QString& dataFile = QStringLiteral(K7310_BIN_DIR
                                                                   "/k7310console.dat"));
    ~ShellFixture();
    ShellFixture(const ShellFixture&) = delete;
    ShellFixture& operator=(const ShellFixture&) = delete;

    QString folder() const { return m_dir.path(); }
    QString dataFile() const { return m_dataFile; }
    QString iniFile() const { return m_iniFile; }
    // Opens the copied data file for tests that build windows without the start-up.
    bool openData() const;

    void writeIni(const QString& text) const;
    QString iniText() const; // "" when the file does not exist
    bool iniExists() const;

    // Each finished error report, in order.
    const QStringList& reports() const { return m_reports; }
    void clearReports() { m_reports.clear(); }

private:
    QTemporaryDir m_dir;
    QString m_dataFile;
    QString m_iniFile;
    QStringList m_reports;
};

// Runs answer with the next modal window that comes up (a message box or dialog), from the
// event loop that shows it. Fails the test's expectation silently when none comes: the caller
// checks what answer recorded.
void OnNextModal(std::function<void(QWidget*)> answer, int timeoutMs = 5000);

// A pseudo-terminal whose far end stays open for the test's length.
class Pty
{
public:
    Pty();
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;
    QString path() const { return m_path; }

private:
    int m_master = -1;
    int m_slave = -1;
    QString m_path;
};
