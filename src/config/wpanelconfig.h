#pragma once

#include "childwindow.h"
#include "configexchange.h"
#include "configmap.h"
#include "printout.h"

#include <QMessageBox>

#include <array>
#include <functional>
#include <optional>

class ComCtrl;
class QComboBox;
class QFrame;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class SlaveSpinBox;
class WaitCursor;

// The panel's configuration: its line speed, stop bits, slave number, bus mode and four
// options, and its firmware version. Initialise shows the factory values, Read and Write move
// them between the panel and the controls, Compare marks what differs from the panel, and
// configuration files keep them for another panel.
class wPanelConfig : public ChildWindow
{
    Q_OBJECT

public:
    explicit wPanelConfig(ComCtrl& port, QWidget* parent = nullptr);

    void nationality() override;

    void cmdConfigInit_Click();
    void cmdReadConfig_Click();
    // Read for a slave already known (a line survey's row): at the line's present setting,
    // without the slave dialog and the search.
    void readSlave(std::uint8_t slave);
    void cmdWriteConfig_Click();
    void cmdCompare_Click();
    void cmdSaveFile_Click();
    void cmdOpenFile_Click();
    // The print settings, a preview, then the printer or a PDF file.
    void cmdPrint_Click();

    // The file commands without their file dialogs. False when nothing was saved or opened
    // (the user has been told why).
    bool saveFile(const QString& path);
    bool openFile(const QString& path);
    // What the print-out shows, in the current language, and the PDF file without its dialogs.
    PrintOut::Content printContent() const;
    bool printPdf(const QString& path);

    // What the controls hold, by control index.
    ConfigMap::Values values() const;
    // The control of a parameter: a list, or the slave number's box.
    QWidget* control(int index) const;
    // True while Compare's mark is on a control.
    bool marked(int index) const { return m_panelValue[index].has_value(); }
    // Compare's label beside a control: the panel's value.
    QLabel* panelLabel(int index) const { return m_lblPanel[static_cast<std::size_t>(index)]; }
    // True while a control is marked as not read from the panel.
    bool unread(int index) const { return m_unread[index].has_value(); }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls();
    QGroupBox* buildOptions();
    QGroupBox* buildCommunication();
    void connectControls();

    // Steps 1 to 5 shared by Read, Write and Compare: the slave dialog, the search, the
    // hourglass and "LastSlave". The slave to use, or nothing when the action stops here.
    std::optional<std::uint8_t> opening(int nothingFoundText, std::optional<WaitCursor>& wait);
    // A device action: one at a time, the line to this window, the slave asked for and found;
    // then `action` with the slave number and the hourglass it may end early.
    void onPanel(const char* procedure, int nothingFoundText,
                 const std::function<void(std::uint8_t, std::optional<WaitCursor>&)>& action);
    // The end of Read and Write: lists of missing words emptied and disabled, the version
    // label, messages. Returns the version text ("" when unknown).
    QString ending(const ConfigExchange::Outcome& outcome, std::optional<WaitCursor>& wait);
    // Disables the controls of the words that versionCode lacks (0: none).
    void setLacking(int versionCode);
    // The words not read, with their reasons.
    static QString unreadText(const ConfigExchange::Outcome& outcome);
    void confirmRead(std::uint8_t slave, const QString& version,
                     const ConfigExchange::Outcome& outcome);
    void confirmWrite(std::uint8_t slave, const QString& version,
                      const ConfigExchange::Outcome& outcome, const ConfigMap::Values& written);
    void showVersion(const QString& version);
    // A write with an empty list or a slave number outside 1..64: told, focus on it.
    bool writable(const ConfigMap::Values& values);
    // Marks the controls that differ from the panel; returns how many.
    int compareWith(const ConfigMap::Values& panel, int versionCode);
    // The factory values without a confirmation (the window's opening), and what any new set
    // of values does to the marks and the disabled lists.
    void initialise();
    void newValues();
    QString panelText(int index) const;

    void showValues(const ConfigMap::Values& values);
    void clearMarks();
    void applyMarks();
    void message(int textId, QMessageBox::Icon icon, const QString& insert = {});

    ComCtrl& m_port;
    std::optional<std::uint8_t> m_givenSlave; // readSlave's slave, asked for by nobody
    QFrame* m_frmPages = nullptr;
    std::array<QGroupBox*, 2> m_frmFrames{};
    std::array<QComboBox*, ConfigMap::ParameterCount> m_cboConfParam{}; // index 2 unused
    SlaveSpinBox* m_updCommSlave = nullptr;
    QLineEdit* m_txtConfParam2 = nullptr; // the slave number's text, inside updCommSlave
    QLabel* m_lblVersionK7310 = nullptr;
    QList<QLabel*> m_lblLabels;
    QPushButton* m_cmdConfigInit = nullptr;
    QPushButton* m_cmdReadConfig = nullptr;
    QPushButton* m_cmdWriteConfig = nullptr;
    QPushButton* m_cmdCompare = nullptr;
    QPushButton* m_cmdSaveFile = nullptr;
    QPushButton* m_cmdOpenFile = nullptr;
    QPushButton* m_cmdPrint = nullptr;
    // Compare's marks: the panel's value for each marked control (a list position, NoValue for
    // a word that matches no item, PanelLacksWord); empty when the control is not marked.
    static constexpr int PanelLacksWord = -2;
    std::array<std::optional<int>, ConfigMap::ParameterCount> m_panelValue;
    std::array<QLabel*, ConfigMap::ParameterCount> m_lblPanel{};
    // Controls whose word the last read did not get: the reason, shown in their tooltip.
    std::array<std::optional<QString>, ConfigMap::ParameterCount> m_unread;
    int m_lacking = 0; // the version whose missing words are disabled; 0 none
    QString m_lastFolder;
    bool m_busy = false; // an action is talking to the panel
};
