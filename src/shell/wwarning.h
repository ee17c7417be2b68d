#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// A modal yes/no warning whose texts come from the text database. The opener shows it with
// exec(), reads answer() (true = Yes) and then deletes it. Closing it by the close box
// leaves the answer false.
class wWarning : public QDialog
{
    Q_OBJECT

public:
    explicit wWarning(QWidget* parent = nullptr);

    bool answer() const { return m_answer; }
    Q_INVOKABLE void nationality();

    QLabel* label(int index) const { return m_lblLabels[index]; }
    QPushButton* command(int index) const { return m_cmdCommand[index]; }

private:
    void cmdCommand_Click(int index);

    QLabel* m_lblLabels[2];
    QLabel* m_imgWarning;
    // 0 = No, 1 = Yes.
    QPushButton* m_cmdCommand[2];
    bool m_answer = false;
};
