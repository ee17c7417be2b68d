#pragma once

#include "detectk9120.h"

#include <QDialog>

class QLabel;
class QPushButton;

// Progress of the slave search: the slave number, speed and stop bits being tried, a
// message, and OK / Cancel. Cancel clears the continue flag (the scan stops before its next
// probe, or a panel that answered is not taken); OK sets it. Once a panel has answered, the
// dialog waits modally for the user's choice.
class wSearchSlave : public QDialog, public SearchObserver
{
    Q_OBJECT
    Q_PROPERTY(bool Result READ Result)

public:
    explicit wSearchSlave(QWidget* parent = nullptr);

    // The continue flag: true until Cancel, and after OK.
    bool Result() const { return m_continue; }

    Q_INVOKABLE void nationality();

    // SearchObserver
    void show() override;
    void progress(int slave, std::int32_t speed, std::int16_t stops) override;
    bool keepGoing() override { return m_continue; }
    bool found(int slave) override;
    void close() override;

    QLabel* module() const { return m_lblModule; }
    QLabel* speed() const { return m_lblSpeed; }
    QLabel* stops() const { return m_lblStops; }
    QLabel* message() const { return m_lblMessage; }
    QPushButton* okButton() const { return m_cmdOk; }
    QPushButton* cancelButton() const { return m_cmdCancel; }

    // Text of lblModule for a slave number: "?" when it is unknown (0).
    static QString ModuleText(int slave);

public slots:
    // Escape and the close box count as Cancel.
    void reject() override;

private:
    void cmdOk_Click();
    void cmdCancel_Click();

    QLabel* m_lblModule = nullptr;
    QLabel* m_lblSpeed = nullptr;
    QLabel* m_lblStops = nullptr;
    QLabel* m_lblMessage = nullptr;
    QPushButton* m_cmdOk = nullptr;
    QPushButton* m_cmdCancel = nullptr;
    bool m_continue = true;
};
