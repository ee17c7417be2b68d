#include "wpanelconfig.h"

#include "comctrl.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "linelock.h"
#include "prompthook.h"
#include "slavespinbox.h"
#include "textids.h"
#include "uihelpers.h"
#include "waskslave.h"
#include "wsearchslave.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>

using namespace ConfigMap;

namespace {

// Runs one command of the window, unless another is still talking to the panel (the search
// lets window events run), with its faults trapped under the command's name.
template<typename Action> void guarded(bool& busy, const char* procedure, Action action)
{
    if (busy)
        return;
    busy = true;
    const auto release = qScopeGuard([&busy] { busy = false; });
    try {
        action();
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wPanelConfig.") + QLatin1String(procedure), error);
    }
}

} // namespace

wPanelConfig::wPanelConfig(ComCtrl& port, QWidget* parent)
    : ChildWindow(parent)
    , m_port(port)
{
    buildControls();
    connectControls();
    nationality();
    initialise();
    setModified(false);
    resize(sizeHint());
}

void wPanelConfig::connectControls()
{
    connect(m_cmdConfigInit, &QPushButton::clicked, this, &wPanelConfig::cmdConfigInit_Click);
    connect(m_cmdReadConfig, &QPushButton::clicked, this, &wPanelConfig::cmdReadConfig_Click);
    connect(m_cmdWriteConfig, &QPushButton::clicked, this, &wPanelConfig::cmdWriteConfig_Click);
    connect(m_cmdCompare, &QPushButton::clicked, this, &wPanelConfig::cmdCompare_Click);
    connect(m_cmdSaveFile, &QPushButton::clicked, this, &wPanelConfig::cmdSaveFile_Click);
    connect(m_cmdOpenFile, &QPushButton::clicked, this, &wPanelConfig::cmdOpenFile_Click);
    connect(m_cmdPrint, &QPushButton::clicked, this, &wPanelConfig::cmdPrint_Click);
}

void wPanelConfig::closeEvent(QCloseEvent* event)
{
    // The search lets window events run: the window stays until its action is over.
    if (m_busy) {
        event->ignore();
        return;
    }
    ChildWindow::closeEvent(event);
}

void wPanelConfig::cmdConfigInit_Click()
{
    guarded(m_busy, "cmdConfigInit_Click", [this] {
        initialise();
        PromptHook::Confirm(DataFunctions7310::GetText(TextId::ConfirmInit));
    });
}

void wPanelConfig::initialise()
{
    showValues(ConfigExchange::FactoryDefaults());
    newValues();
}

// Every control holds a value that did not come from the panel: no mark is right any more,
// and every list can be edited whatever the last panel's firmware lacked.
void wPanelConfig::newValues()
{
    m_unread.fill(std::nullopt);
    setLacking(0);
    clearMarks();
}

std::optional<std::uint8_t> wPanelConfig::opening(int nothingFoundText,
                                                  std::optional<WaitCursor>& wait)
{
    if (m_givenSlave) {
        wait.emplace();
        ZRBfonctions::SetIniParam(QStringLiteral("Communication"), QStringLiteral("LastSlave"),
                                  QString::number(*m_givenSlave));
        return m_givenSlave;
    }
    QWidget* main = window();
    wAskSlave ask(m_port.portName(), main);
    // Centred over the main window, so that it shows on the same screen.
    ask.adjustSize();
    ask.move(main->geometry().center() - QPoint(ask.width() / 2, ask.height() / 2));
    ask.exec();
    if (!ask.Result())
        return std::nullopt;
    const std::int16_t typed = ask.slave();
    const bool autoSearch = ask.autoSearch();

    QCoreApplication::processEvents();
    wait.emplace();
    wSearchSlave search(main);
    const std::uint8_t found = CommFunctions::DetectK9120(m_port, typed, autoSearch, &search);
    if (found == CommFunctions::NothingFound) {
        wait.reset();
        message(typed == 0 ? nothingFoundText : TextId::NoAnswer, QMessageBox::Critical);
        return std::nullopt;
    }
    if (found == CommFunctions::AbandonedSearch) {
        wait.reset();
        return std::nullopt;
    }
    const std::uint8_t slave = typed == 0 ? found : static_cast<std::uint8_t>(typed);
    ZRBfonctions::SetIniParam(QStringLiteral("Communication"), QStringLiteral("LastSlave"),
                              QString::number(slave));
    return slave;
}

QString wPanelConfig::ending(const ConfigExchange::Outcome& outcome,
                             std::optional<WaitCursor>& wait)
{
    wait.reset();
    Values shown = values();
    const QString version = ConfigExchange::Conclude(outcome, shown);
    showValues(shown);
    // The words a version lacks cannot be edited; an unknown version disables nothing.
    setLacking(version.isEmpty() ? 0 : outcome.versionCode);
    if (version.isEmpty()) {
        m_lblVersionK7310->clear();
        message(TextId::NoAnswer, QMessageBox::Critical);
    }
    showVersion(version);
    return version;
}

// "words 128–131 (CRC error); word 70 (time-out)": in the order they were read, neighbouring
// words with the same reason joined ("words 65–70" when the block at 65 went unanswered).
QString wPanelConfig::unreadText(const ConfigExchange::Outcome& outcome)
{
    struct Run
    {
        int first, last;
        QString reason;
    };
    QList<Run> runs;
    for (const int index : {Speed, Stops, Slave, BusMode, Synchro, Ack, BusKL, LedTestKL}) {
        if (!outcome.unread[index])
            continue;
        const int address = ParameterAt(index).address;
        const QString reason = ConfigExchange::MissText(*outcome.unread[index]);
        if (!runs.isEmpty() && runs.last().reason == reason && address > runs.last().last &&
            address - runs.last().last <= 2)
            runs.last().last = address;
        else
            runs.append({address, address, reason});
    }
    QStringList parts;
    for (const Run& run : runs) {
        parts
            << (run.first == run.last
                    ? DataFunctions7310::GetText(TextId::MissedWord).arg(run.first).arg(run.reason)
                    : DataFunctions7310::GetText(TextId::MissedWords)
                          .arg(run.first)
                          .arg(run.last)
                          .arg(run.reason));
    }
    return parts.join(QStringLiteral("; "));
}

void wPanelConfig::confirmRead(std::uint8_t slave, const QString& version,
                               const ConfigExchange::Outcome& outcome)
{
    QString text = version.isEmpty() ? DataFunctions7310::GetText(TextId::ConfirmReadNoVersion)
                                           .arg(slave)
                                           .arg(m_port.settings())
                                     : DataFunctions7310::GetText(TextId::ConfirmRead)
                                           .arg(slave)
                                           .arg(m_port.settings(), version);
    const QString missed = unreadText(outcome);
    if (!missed.isEmpty())
        text += QLatin1Char(' ') + DataFunctions7310::GetText(TextId::NotRead).arg(missed);
    PromptHook::Confirm(text);
}

void wPanelConfig::confirmWrite(std::uint8_t slave, const QString& version,
                                const ConfigExchange::Outcome& outcome, const Values& written)
{
    QString text = outcome.stoppedAt != 0 ? DataFunctions7310::GetText(TextId::WriteStopped)
                                                .arg(slave)
                                                .arg(outcome.stoppedAt)
                                                .arg(ConfigExchange::MissText(outcome.stopReason))
                                          : DataFunctions7310::GetText(TextId::ConfirmWrite)
                                                .arg(slave)
                                                .arg(m_port.settings(), version);
    for (const auto& followed : outcome.followed) {
        const int id = followed.address == ParameterAt(Slave).address ? TextId::FollowedSlave
                                                                      : TextId::FollowedSettings;
        text += QLatin1Char(' ') +
                DataFunctions7310::GetText(id).arg(followed.address).arg(followed.at);
    }
    // Values that the panel's firmware cannot take were given and not written.
    QStringList lacked;
    for (const Parameter& parameter : Parameters()) {
        if (!version.isEmpty() && written[parameter.index] != NoValue &&
            !VersionServes(outcome.versionCode, parameter))
            lacked << DataFunctions7310::GetText(parameter.labelId);
    }
    if (!lacked.isEmpty())
        text += QLatin1Char(' ') + DataFunctions7310::GetText(TextId::NotInFirmware)
                                       .arg(version, lacked.join(QStringLiteral(", ")));
    PromptHook::Confirm(text);
}

// The version found, told the first time and whenever it changes, not when read again.
void wPanelConfig::showVersion(const QString& version)
{
    if (m_lblVersionK7310->text() == version)
        return;
    QString text = DataFunctions7310::GetText(TextId::VersionFound);
    text.replace(QStringLiteral("$.$"), version);
    message(0, QMessageBox::Critical, text);
    m_lblVersionK7310->setText(version);
}

void wPanelConfig::onPanel(
    const char* procedure, int nothingFoundText,
    const std::function<void(std::uint8_t, std::optional<WaitCursor>&)>& action)
{
    guarded(m_busy, procedure, [&] {
        // One transaction at a time on the line: a running test sequence keeps it.
        const LineLock lock(m_port);
        if (!lock.acquired())
            return;
        const ComCtrl::OriginScope origin(m_port, TextId::PanelConfigTitle);
        std::optional<WaitCursor> wait;
        const auto slave = opening(nothingFoundText, wait);
        if (slave)
            action(*slave, wait);
    });
}

void wPanelConfig::cmdReadConfig_Click()
{
    onPanel("cmdReadConfig_Click", TextId::NoSlaveFoundRead,
            [this](std::uint8_t slave, std::optional<WaitCursor>& wait) {
                clearMarks();
                Values read = values();
                const ConfigExchange::Outcome outcome = ConfigExchange::Read(m_port, slave, read);
                showValues(read);
                for (int index = 0; index < ParameterCount; ++index) {
                    m_unread[index].reset();
                    if (outcome.unread[index])
                        m_unread[index] = ConfigExchange::MissText(*outcome.unread[index]);
                }
                confirmRead(slave, ending(outcome, wait), outcome);
            });
}

void wPanelConfig::readSlave(std::uint8_t slave)
{
    m_givenSlave = slave;
    cmdReadConfig_Click();
    m_givenSlave.reset();
}

bool wPanelConfig::writable(const Values& values)
{
    const int shownVersion = VersionCodeOf(m_lblVersionK7310->text());
    for (const Parameter& parameter : Parameters()) {
        const int value = values[parameter.index];
        if (Acceptable(parameter, value))
            continue;
        // A list that the panel's firmware lacks stays empty; it is not written.
        if (value == NoValue && ((shownVersion != 0 && !VersionServes(shownVersion, parameter)) ||
                                 (m_lacking != 0 && !VersionServes(m_lacking, parameter))))
            continue;
        const QString caption = DataFunctions7310::GetText(parameter.labelId);
        message(parameter.index == Slave ? TextId::WriteSlaveRange : TextId::WriteNeedsValue,
                QMessageBox::Warning, caption);
        control(parameter.index)->setFocus(Qt::OtherFocusReason);
        if (parameter.index == Slave)
            m_txtConfParam2->selectAll();
        return false;
    }
    return true;
}

void wPanelConfig::cmdWriteConfig_Click()
{
    // Refused before anything reaches the line: a list left empty, a slave out of range.
    const Values written = values();
    if (m_busy || !writable(written))
        return;
    onPanel("cmdWriteConfig_Click", TextId::NoSlaveFoundWrite,
            [this, &written](std::uint8_t slave, std::optional<WaitCursor>& wait) {
                clearMarks();
                const ConfigExchange::Outcome outcome =
                    ConfigExchange::Write(m_port, slave, written);
                // What the panel has taken is what it holds now.
                for (int index = 0; index < ParameterCount; ++index) {
                    if (outcome.confirmed[index])
                        m_unread[index].reset();
                }
                const std::uint8_t now =
                    outcome.confirmed[Slave] ? static_cast<std::uint8_t>(written[Slave]) : slave;
                confirmWrite(now, ending(outcome, wait), outcome, written);
            });
}

void wPanelConfig::cmdCompare_Click()
{
    onPanel("cmdCompare_Click", TextId::NoSlaveFoundRead,
            [this](std::uint8_t slave, std::optional<WaitCursor>& wait) {
                Values panel;
                panel.fill(NoValue);
                const ConfigExchange::Outcome outcome = ConfigExchange::Read(m_port, slave, panel);
                wait.reset();
                const QString version = ConfigExchange::Conclude(outcome, panel);
                // Only a panel whose every essential word answered can be compared.
                if (!outcome.lineWordsRead || version.isEmpty()) {
                    message(TextId::NoAnswer, QMessageBox::Critical);
                    QString text = DataFunctions7310::GetText(TextId::NotCompared).arg(slave);
                    if (const QString missed = unreadText(outcome); !missed.isEmpty())
                        text += QLatin1Char(' ') +
                                DataFunctions7310::GetText(TextId::NotRead).arg(missed);
                    PromptHook::Confirm(text);
                    return;
                }
                // The version is not told here: Compare leaves what the window shows alone.
                const int differing = compareWith(panel, outcome.versionCode);
                PromptHook::Confirm(
                    DataFunctions7310::GetText(TextId::ConfirmCompare).arg(slave).arg(differing));
            });
}

int wPanelConfig::compareWith(const Values& panel, int versionCode)
{
    const Values shown = values();
    int differing = 0;
    for (const Parameter& parameter : Parameters()) {
        const int index = parameter.index;
        if (!ConfigExchange::Differs(parameter, shown[index], panel[index], versionCode)) {
            m_panelValue[index].reset();
            continue;
        }
        m_panelValue[index] = VersionServes(versionCode, parameter) ? panel[index] : PanelLacksWord;
        ++differing;
    }
    applyMarks();
    if (differing == 0)
        message(TextId::CompareSame, QMessageBox::Information);
    else
        message(TextId::CompareDiffers, QMessageBox::Information, QString::number(differing));
    return differing;
}

// A message from the text database ("|" as line breaks, "$$" replaced by insert); textId 0
// shows insert as the text itself.
void wPanelConfig::message(int textId, QMessageBox::Icon icon, const QString& insert)
{
    QString text = textId == 0 ? insert : DataFunctions7310::GetText(textId);
    if (textId != 0)
        text.replace(QStringLiteral("$$"), insert);
    QMessageBox box(icon, ConsoleTitle(), WithLineBreaks(text), QMessageBox::Ok, this);
    box.exec();
}
