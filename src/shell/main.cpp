#include "uihelpers.h"
#include "wmain.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("k7310console"));
    // No display name: the window system would append it to every title, English in every
    // language and long enough to cut a small dialog's title. Message boxes are titled with
    // the console's name in the chosen language instead (ConsoleTitle).
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/shell/images/k7310console.svg")));
    InstallMessageBoxPresenter();

    wMain mainFrame;
    if (!mainFrame.load())
        return 1;
    return QApplication::exec();
}
