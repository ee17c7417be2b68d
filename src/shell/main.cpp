#include <QApplication>
#include <QLabel>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    QLabel label(QStringLiteral("k7310console"));
    label.show();
    return QApplication::exec();
}
