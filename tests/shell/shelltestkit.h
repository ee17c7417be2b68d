#pragma once

// What the shell's tests share: the windows under test, a scratch program folder and a way to
// answer modal windows.

#include "../common/datarow.h"
#include "childwindow.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "helpwindow.h"
#include "ptypeer.h"
#include "wconfig.h"
#include "wmain.h"
#include "wsplash.h"
#include "zrbfonctions.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>

// A scratch program folder for one test: a copy of a data file, a settings file of its own
// (never the developer's), the error reports captured instead of shown, and a pty to open.
struct ShellFixture
{
    explicit ShellFixture(const QString& source = QStringLiteral(K7310_BIN_DIR "/k7310console.dat"))
    {
        if (!source.isEmpty())
            QFile::copy(source, dataFile);
        QFile::setPermissions(dataFile, QFile::ReadOwner | QFile::WriteOwner);
        ZRBfonctions::SetIniFileName(iniFile);
    }
    ~ShellFixture()
    {
        DataFunctions7310::CloseDataFile();
        DataFunctions7310::SetCurrentLanguage(QString());
        ZRBfonctions::SetIniFileName(QString());
    }

    bool openData() const { return DataFunctions7310::OpenDataFile(dataFile) == 0; }
    const QStringList& reports() const { return capture.messages; }
    // Each report as its number and where it arose, such as "13 wMain.MDIForm.Load".
    QStringList faults() const
    {
        QStringList faults;
        for (const QString& text : capture.messages)
            faults
                << text.section(' ', 2, 2) + ' ' +
                       text.section("Module : ", 1).replace(QRegularExpression("\r\n\\w+ : "), ".");
        return faults;
    }

    // A settings file naming the pty (or `port`); a null language leaves the entry out.
    void writeIni(const QString& language, const QString& communication = {},
                  const QString& port = {}) const
    {
        QString text = QStringLiteral("[General]\n");
        if (!language.isNull())
            text += QStringLiteral("Language=%1\n").arg(language);
        text += QStringLiteral("[Communication]\nPort=%1\n")
                    .arg(port.isEmpty() ? pty.slavePath() : port);
        QFile file(iniFile);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write((text + communication).toUtf8());
    }
    QString iniText() const // "" when the file does not exist
    {
        QFile file(iniFile);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    QTemporaryDir dir;
    const QString folder = dir.path();
    const QString dataFile = dir.filePath(QStringLiteral("k7310console.dat"));
    const QString iniFile = dir.filePath(QStringLiteral("k7310console.ini"));
    ReportCapture capture;
    PtyPair pty;
};

// Runs answer with the next modal window that comes up (a message box or dialog), from the
// event loop that shows it. Does nothing when none comes: the caller checks what answer recorded.
inline void OnNextModal(std::function<void(QWidget*)> answer)
{
    auto* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, poll, [poll, answer, ticks = 500]() mutable {
        QWidget* modal = QApplication::activeModalWidget();
        const bool found = modal && modal->isVisible();
        if (found || --ticks == 0) { // 5 s without one
            poll->stop();
            poll->deleteLater();
        }
        if (found)
            answer(modal);
    });
    poll->start(10);
}

// Plays the user through every modal window that comes up while it lives: a message box is
// recorded in `messages` and accepted, any other window goes to `other`.
struct ModalUser
{
    QStringList messages;
    QTimer timer;

    explicit ModalUser(std::function<void(QWidget*)> other)
    {
        QObject::connect(&timer, &QTimer::timeout, &timer, [this, other] {
            QWidget* modal = QApplication::activeModalWidget();
            if (!modal || !modal->isVisible())
                return;
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                messages << box->text();
                box->accept();
            } else {
                other(modal);
            }
        });
        timer.start(10);
    }
};

// Answers the next message box with `button` (its default one when NoButton) and keeps what it
// showed in `seen`: its icon, its default button, how many other windows are visible, its text.
inline void AnswerNextBox(QStringList& seen,
                          QMessageBox::StandardButton button = QMessageBox::NoButton)
{
    OnNextModal([&seen, button](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        seen = QStringList{box ? QString::number(box->icon()) : QStringLiteral("no message box")};
        if (!box) {
            modal->close();
            return;
        }
        const QWidgetList windows = QApplication::topLevelWidgets();
        const auto others = std::count_if(windows.begin(), windows.end(),
                                          [box](QWidget* w) { return w->isVisible() && w != box; });
        seen << QString::number(box->standardButton(box->defaultButton()))
             << QString::number(others) << box->text();
        button == QMessageBox::NoButton ? box->accept() : box->button(button)->click();
    });
}

// The one help viewer open; null when there is none or more than one.
inline HelpWindow* TheViewer()
{
    const QList<HelpWindow*> windows = HelpWindow::OpenWindows();
    return windows.size() == 1 ? windows.first() : nullptr;
}

// True while a "What's this?" pop-up is on screen.
inline bool WhatsThisShown()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::any_of(windows.begin(), windows.end(), [](QWidget* window) {
        return window->inherits("QWhatsThat") && window->isVisible();
    });
}
