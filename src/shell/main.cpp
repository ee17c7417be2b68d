#include "uihelpers.h"
#include "wmain.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("k7310console"));
    QApplication::setApplicationDisplayName(QStringLiteral("K7310 console"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/shell/images/k7310console.svg")));
    InstallMessageBoxPresenter();

    wMain mainFrame;
    if (!mainFrame.load())
        return 1;
    return QApplication::exec();
}
