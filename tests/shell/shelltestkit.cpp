#include "shelltestkit.h"

#include "datafunctions7310.h"
#include "errorhandling.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <pty.h>
#include <unistd.h>

ShellFixture::ShellFixture(const QString& dataFile)
{
    m_dataFile = m_dir.filePath(QStringLiteral("k7310console.dat"));
    m_iniFile = m_dir.filePath(QStringLiteral("k7310console.ini"));
    if (!dataFile.isEmpty())
        QFile::copy(dataFile, m_dataFile);
    QFile::setPermissions(m_dataFile, QFile::ReadOwner | QFile::WriteOwner);
    ZRBfonctions::SetIniFileName(m_iniFile);
    ErrorReport::SetPresenter([this](const QString& message) { m_reports.append(message); });
    DataFunctions7310::SetCurrentLanguage(QString());
}

ShellFixture::~ShellFixture()
{
    DataFunctions7310::CloseDataFile();
    DataFunctions7310::SetCurrentLanguage(QString());
    ErrorReport::SetPresenter({});
    ZRBfonctions::SetIniFileName(QString());
}

bool ShellFixture::openData() const
{
    return DataFunctions7310::OpenDataFile(m_dataFile) == 0;
}

void ShellFixture::writeIni(const QString& text) const
{
    QFile file(m_iniFile);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(text.toUtf8());
}

QString ShellFixture::iniText() const
{
    QFile file(m_iniFile);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

bool ShellFixture::iniExists() const
{
    return QFile::exists(m_iniFile);
}

void OnNextModal(std::function<void(QWidget*)> answer, int timeoutMs)
{
    auto* poll = new QTimer(qApp);
    QElapsedTimer started;
    started.start();
    QObject::connect(poll, &QTimer::timeout, poll, [poll, started, timeoutMs, answer] {
        QWidget* modal = QApplication::activeModalWidget();
        const bool found = modal && modal->isVisible();
        if (found || started.hasExpired(timeoutMs)) {
            poll->stop();
            poll->deleteLater();
        }
        if (found)
            answer(modal);
    });
    poll->start(10);
}

Pty::Pty()
{
    char name[256] = {};
    if (openpty(&m_master, &m_slave, name, nullptr, nullptr) == 0)
        m_path = QString::fromLocal8Bit(name);
}

Pty::~Pty()
{
    if (m_slave >= 0)
        ::close(m_slave);
    if (m_master >= 0)
        ::close(m_master);
}
