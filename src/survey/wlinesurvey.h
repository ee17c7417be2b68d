#pragma once

#include "childwindow.h"
#include "linesurvey.h"

#include <QList>
#include <QSet>

#include <functional>

class ComCtrl;
class QCheckBox;
class QGroupBox;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QGridLayout;

// The census of the line in a window: the settings and options, a progress bar, Cancel, and
// a table of the panels found, exported to CSV or opened in the configuration window. The
// survey runs on the user-interface thread; the window's events run between its probes.
class wLineSurvey : public ChildWindow, private LineSurvey::Observer
{
    Q_OBJECT

public:
    // Reads a slave in the configuration window at the line's present setting.
    using ConfigOpener = std::function<void(int slave)>;

    explicit wLineSurvey(ComCtrl& port, QWidget* parent = nullptr);

    void nationality() override;
    void setConfigOpener(ConfigOpener opener) { m_openConfig = std::move(opener); }

    void cmdSurvey_Click();
    void cmdCancel_Click();
    void cmdExport_Click();
    void cmdOpenConfig_Click();

    // Export without its file dialog; false when the file was not written (told).
    bool exportCsv(const QString& path);
    // The options as the controls hold them.
    LineSurvey::Options options() const;
    bool running() const { return m_running; }
    const LineSurvey::Result& result() const { return m_result; }
    QTableWidget* table() const { return m_table; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    bool keepGoing(const LineSurvey::Progress& progress) override;
    void rowsChanged(const QList<LineSurvey::Row>& rows) override;

    void buildControls();
    QGroupBox* buildOptions();
    void refreshSettings();
    void showRows();
    void showEnd();
    void setRunning(bool running);
    void status(const QString& text);
    QStringList headings() const;
    QStringList cellsOf(const LineSurvey::Row& row) const;

    ComCtrl& m_port;
    ConfigOpener m_openConfig;
    bool m_running = false;
    bool m_cancel = false;
    bool m_closeWhenDone = false;
    LineSurvey::Result m_result;
    QList<LineSurvey::Row> m_rows;
    QList<LineSurvey::Setting> m_shownSettings;
    QSet<QString> m_unchecked; // settings the user left out, by their text
    QGroupBox* m_frmSettings = nullptr;
    QGridLayout* m_settingsLayout = nullptr;
    QList<QCheckBox*> m_chkSettings;
    QSpinBox* m_updFirst = nullptr;
    QSpinBox* m_updLast = nullptr;
    QSpinBox* m_updStopAfter = nullptr;
    QSpinBox* m_updAllowance = nullptr;
    QCheckBox* m_chkThorough = nullptr;
    QCheckBox* m_chkRetrySilent = nullptr;
    QPushButton* m_cmdSurvey = nullptr;
    QPushButton* m_cmdCancel = nullptr;
    QPushButton* m_cmdExport = nullptr;
    QPushButton* m_cmdOpenConfig = nullptr;
    QProgressBar* m_prgSurvey = nullptr;
    QTableWidget* m_table = nullptr;
};
