#pragma once

#include <QObject>

#include <functional>

class QLineEdit;

// Event hooks of a text box: a keystroke filter and selecting the whole text on entry.
class BoxHook : public QObject
{
    Q_OBJECT

public:
    // Receives a typed character's code; returns the code to type, or 0 to drop the key.
    using KeyFilter = std::function<int(int)>;

    // Passes each typed character of box through filter. Navigation, editing and shortcut
    // keys are not characters and are never filtered; backspace is, as code 8.
    static void InstallKeyFilter(QLineEdit* box, KeyFilter filter);
    // Entering the box, by keyboard or mouse, selects its whole text.
    static void SelectAllOnEntry(QLineEdit* box);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit BoxHook(QLineEdit* box);
    static BoxHook* of(QLineEdit* box);

    QLineEdit* m_box;
    KeyFilter m_keyFilter;
    bool m_selectOnEntry = false;
};
