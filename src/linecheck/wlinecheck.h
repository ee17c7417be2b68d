#pragma once

#include "linefindings.h"

#include <QDialog>

class ComCtrl;
class QLabel;
class QPushButton;
class QSpinBox;
class QTableWidget;

// Options > Check the line: the findings about the console's line and adapter, one line each
// with a pass, warning or fail mark; a proposed udev rule below its finding. Copy and Save
// give them as plain text for an e-mail to support.
class wLineCheck : public QDialog
{
public:
    explicit wLineCheck(ComCtrl& line, QWidget* parent = nullptr);

    // Runs the check now (the Check button).
    void check();
    QList<Finding> findings() const { return m_findings; }
    QString findingsText() const;
    bool saveTo(const QString& path);

private:
    void nationality();
    void showFindings(const QList<Finding>& findings);
    void resizeEvent(QResizeEvent* event) override;
    void copyClicked();
    void saveClicked();

    ComCtrl& m_line;
    QList<Finding> m_findings;
    QString m_heading;
    QSpinBox* m_updSlave;
    QTableWidget* m_lstFindings;
    QPushButton* m_cmdCheck;
    QPushButton* m_cmdCopy;
    QPushButton* m_cmdSave;
    QLabel* m_lblStatus;
};
