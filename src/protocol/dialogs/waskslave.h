#pragma once

#include <QDialog>

#include <cstdint>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QToolButton;

// Asks which port and which slave to address before the configuration is read or written,
// and whether other speeds and stop bits may be tried. OK stores the choices in the settings
// file ("Communication": "LastSlave", "AutoSearch", "Port"); Cancel stores nothing.
class wAskSlave : public QDialog
{
    Q_OBJECT
    Q_PROPERTY(bool Result READ Result)

public:
    enum ButtonIndex { Cancel = 0, Ok = 1, Help = 2 };
    // Slave numbers that OK accepts; 0 asks the search to find the panel's number.
    static constexpr int MinSlave = 0;
    static constexpr int MaxSlave = 64;

    // openPort: the name of the port the console has open, preset in the port list.
    explicit wAskSlave(const QString& openPort, QWidget* parent = nullptr);

    // True after a valid OK, false otherwise.
    bool Result() const { return m_result; }
    // The slave text as typed, and its numeric value (0 when it is not a number).
    QString slaveText() const;
    std::int16_t slave() const;
    bool autoSearch() const;
    // The port chosen in the list or typed.
    QString port() const;

    // The whole number 0..64 that a slave text holds, or -1.
    static int ParseSlave(const QString& text);

    Q_INVOKABLE void nationality();

    QComboBox* portList() const { return m_cboCommPort; }
    QLineEdit* slaveBox() const { return m_txtSlave; }
    QCheckBox* autoSearchBox() const { return m_chkAutoSearch; }
    QPushButton* button(int index) const;
    QToolButton* slaveUp() const { return m_updSlaveUp; }
    QToolButton* slaveDown() const { return m_updSlaveDown; }

public slots:
    // Escape and the close box count as Cancel.
    void reject() override;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void buildControls(const QString& openPort);
    void cmdBoutons_Click(int index);
    void updSlave_Change(int step);

    QComboBox* m_cboCommPort = nullptr;
    QLineEdit* m_txtSlave = nullptr;
    QToolButton* m_updSlaveUp = nullptr;
    QToolButton* m_updSlaveDown = nullptr;
    QCheckBox* m_chkAutoSearch = nullptr;
    QPushButton* m_cmdBoutons[3] = {};
    bool m_result = false;
};
