// The configuration window's files: the values shown saved for another panel, and opened again.
#include "comctrl.h"
#include "configfile.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "global.h"
#include "prompthook.h"
#include "textids.h"
#include "wpanelconfig.h"

#include <QDateTime>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>

using namespace ConfigMap;

namespace {

QString fileFilter()
{
    return QStringLiteral("%1 (*.%2)")
        .arg(DataFunctions7310::GetText(TextId::FileFilter), QLatin1String(ConfigFile::Extension));
}

} // namespace

void wPanelConfig::cmdSaveFile_Click()
{
    const QString folder = m_lastFolder.isEmpty() ? QDir::homePath() : m_lastFolder;
    // Proposed name: the panel's slave number and the time, so that a series stays in order.
    const QString proposed = QStringLiteral("K7310-%1-%2.%3")
                                 .arg(values()[Slave])
                                 .arg(Global::TimeCode(), QLatin1String(ConfigFile::Extension));
    QString path = QFileDialog::getSaveFileName(
        this, DataFunctions7310::GetText(TextId::SaveFile).remove(QChar(0x2026)),
        QDir(folder).filePath(proposed), fileFilter());
    if (path.isEmpty())
        return;
    if (QFileInfo(path).suffix().isEmpty())
        path += QLatin1Char('.') + QLatin1String(ConfigFile::Extension);
    saveFile(path);
}

void wPanelConfig::cmdOpenFile_Click()
{
    const QString path = QFileDialog::getOpenFileName(
        this, DataFunctions7310::GetText(TextId::OpenFile).remove(QChar(0x2026)),
        m_lastFolder.isEmpty() ? QDir::homePath() : m_lastFolder, fileFilter());
    if (!path.isEmpty())
        openFile(path);
}

bool wPanelConfig::saveFile(const QString& path)
{
    ConfigFile::Contents contents;
    contents.values = values();
    contents.firmware = m_lblVersionK7310->text();
    contents.saved = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    contents.port = m_port.portName();
    contents.line = m_port.settings();
    try {
        ConfigFile::Save(path, contents);
    } catch (const RunTimeError&) {
        message(TextId::FileNotSaved, QMessageBox::Critical, QDir::toNativeSeparators(path));
        return false;
    }
    m_lastFolder = QFileInfo(path).absolutePath();
    PromptHook::Confirm(
        DataFunctions7310::GetText(TextId::ConfirmSaved).arg(QDir::toNativeSeparators(path)));
    return true;
}

bool wPanelConfig::openFile(const QString& path)
{
    const ConfigFile::Opened opened = ConfigFile::Open(path);
    if (opened.refusal != ConfigFile::Refusal::None) {
        message(0, QMessageBox::Critical, ConfigFile::RefusalText(opened, path));
        return false;
    }
    m_lastFolder = QFileInfo(path).absolutePath();
    showValues(opened.contents.values);
    // The marks were about the values shown before.
    newValues();
    PromptHook::Confirm(
        DataFunctions7310::GetText(TextId::ConfirmOpened).arg(QDir::toNativeSeparators(path)));
    return true;
}
