#pragma once

#include <QDialog>

class QLabel;
class QPushButton;
class QTimer;

// The splash picture shown while the console starts, and the About box (Help > About) with
// the addresses button. For its first seconds (the close timer) clicks and Esc are ignored;
// afterwards either one hides the window. The timer never closes the window itself: the
// start-up sequence polls it and unloads the splash once it has run out.
class wSplash : public QDialog
{
    Q_OBJECT

public:
    explicit wSplash(QWidget* parent = nullptr);

    // The close timer's interval for windows created from now on, in milliseconds (5000
    // unless a test shortens it).
    static void SetCloseInterval(int milliseconds);
    static int CloseInterval();

    // True while the close timer runs: input is ignored and the start-up waits.
    bool closeTimerRunning() const;
    // About mode: the addresses button is shown.
    void setAboutMode(bool about);
    // The version line: "Version major.minor." with the revision number right beside it.
    void setVersion(int major, int minor, int revision);
    QString versionText() const;

    QLabel* versionLabel(int index) const { return m_lblVersion[index]; }
    QLabel* releaseLabel() const { return m_lblRelease[0]; }
    QPushButton* aboutButton() const { return m_cmdAbout; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void imgSplash_Click();
    void cmdAbout_Click();
    void placeVersionLabels();

    QLabel* m_imgSplash;
    QLabel* m_lblVersion[4];
    QLabel* m_lblRelease[2]; // "Release n", drawn twice like the version line
    QPushButton* m_cmdAbout;
    QTimer* m_tmrClose;
};
