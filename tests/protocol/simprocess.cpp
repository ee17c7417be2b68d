#include "simprocess.h"

#include <QElapsedTimer>
#include <QFile>

SimProcess::~SimProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(3000))
        m_process.kill();
}

bool SimProcess::start(const QStringList& options)
{
    m_process.start(
        QStringLiteral(K7310_BIN_DIR "/k7310sim"),
        QStringList{"--link", m_dir.filePath("link"), "--trace", m_dir.filePath("trace")} +
            options);
    QElapsedTimer timer;
    timer.start();
    while (!m_process.canReadLine() && timer.elapsed() < 5000 &&
           m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(50);
    m_path = QString::fromUtf8(m_process.readLine()).trimmed();
    return !m_path.isEmpty();
}

QStringList SimProcess::heardFrames() const
{
    QFile file(m_dir.filePath("trace"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList frames;
    // <seconds> <KIND> <baud>/<stop> <hex bytes> [(<reason>)]
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        const QString rest = line.section(QLatin1Char(' '), 1).section(QLatin1String(" ("), 0, 0);
        const QString kind = rest.section(QLatin1Char(' '), 0, 0);
        if (kind == QLatin1String("RX") || kind == QLatin1String("DROPPED") ||
            kind == QLatin1String("IGNORED"))
            frames.append(rest);
    }
    return frames;
}

QStringList SimProcess::settingsTried() const
{
    QStringList settings;
    for (const QString& frame : heardFrames())
        settings.append(frame.section(QLatin1Char(' '), 1, 1));
    return settings;
}
