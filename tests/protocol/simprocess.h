#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// One k7310sim process on a pty of its own, tracing into a temporary folder.
class SimProcess
{
public:
    SimProcess() = default;
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Starts it with extra options and waits for the pty path it prints.
    bool start(const QStringList& options = {});
    QString path() const { return m_path; }

    // Frames the panel heard (RX), dropped (DROPPED) or could not hear because the line was
    // at other settings (IGNORED), in order: "<KIND> <baud>/<stop> <hex bytes>".
    QStringList heardFrames() const;
    // The line settings ("9600/1") of each of those frames.
    QStringList settingsTried() const;

private:
    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_path;
};
