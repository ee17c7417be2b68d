#pragma once

#include <QDialog>

#include <array>

class ComCtrl;
class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QPushButton;
class QSpinBox;
class QTabWidget;

// The PC settings dialog: the serial port and its line settings, half-duplex RTS handling
// with its delay, the adapter's echo, and the console's language. Apply writes what changed to the
// settings file and the port at once; a language change re-captions every open window.
class wConfig : public QDialog
{
    Q_OBJECT

public:
    enum ButtonIndex { Cancel = 0, Ok = 1, Apply = 2 };
    enum Input : unsigned {
        Port = 1U << 0U,
        Bauds = 1U << 1U,
        Stops = 1U << 2U,
        Parity = 1U << 3U,
        HalfDuplex = 1U << 4U,
        RtsDelay = 1U << 5U,
        Language = 1U << 6U,
        Echo = 1U << 7U,
    };

    // Loads the dialog from the port's settings and the settings file.
    explicit wConfig(ComCtrl& port, QWidget* parent = nullptr);

    // The reduced form of the very first start: only OK, and OK always stores a language.
    void setFirstRun();

    Q_INVOKABLE void nationality();

    // The changed marks, a combination of Input flags.
    unsigned changedInputs() const { return m_changed; }

    // Line letter of a parity list position ("n", "e", "o") and back (-1 when unknown).
    static QString ParityLetter(int position);
    static int ParityPosition(const QString& settingsText);

    QComboBox* portList() const { return m_cboPort; }
    QComboBox* bauds() const { return m_cboBauds; }
    QComboBox* stops() const { return m_cboStops; }
    QComboBox* parity() const { return m_cboParity; }
    QCheckBox* halfDuplex() const { return m_chkHalfDuplex; }
    QSpinBox* rtsDelay() const { return m_updRtsDelay; }
    QComboBox* languages() const { return m_cboLanguage; }
    // "Adapter echoes what it sends", in LineEcho::Setting order.
    QComboBox* echo() const { return m_cboEcho; }
    QGroupBox* rtsDelayFrame() const { return m_frmRtsDelay; }
    QTabWidget* pages() const { return m_tbsPages; }
    QPushButton* button(int index) const { return m_cmdButtons[static_cast<size_t>(index)]; }

    // Context number of the page on view.
    int helpContextId() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void buildControls();
    void connectControls();
    void load();
    void markChanged(Input input);
    void cmdButtons_Click(int index);
    void applyChanges();
    // The stored text of a key of section "Communication", or absentValue when it is absent
    // (a null text tells "absent" from "empty").
    static QString storedOr(const QString& key, const QString& absentValue);
    void chkHalfDuplex_Click();
    void showHelp();

    ComCtrl& m_port;
    QTabWidget* m_tbsPages = nullptr;
    QComboBox* m_cboPort = nullptr;
    QComboBox* m_cboBauds = nullptr;
    QComboBox* m_cboStops = nullptr;
    QComboBox* m_cboParity = nullptr;
    QCheckBox* m_chkHalfDuplex = nullptr;
    QGroupBox* m_frmRtsDelay = nullptr;
    QSpinBox* m_updRtsDelay = nullptr;
    QComboBox* m_cboLanguage = nullptr;
    QComboBox* m_cboEcho = nullptr;
    std::array<QPushButton*, 3> m_cmdButtons{};
    unsigned m_changed = 0;
    bool m_loading = false;
    bool m_closeAfterApply = false;
    bool m_firstRun = false;
};
