// Shows one workbench window on its own, for looking at its layout (not a test):
//   workbench_demo frame|calcul [LANGUAGE] [PORT]
// LANGUAGE is a language column of the data file ("English", "Deutsch", ...); PORT, for the
// frame builder, a device to open (a k7310sim pty, for example).
#include "comctrl.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "wpanelcalcul.h"
#include "wpanelframe.h"

#include <QApplication>

#include <cstdio>
#include <memory>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2 || (args[1] != "frame" && args[1] != "calcul")) {
        std::fprintf(stderr, "usage: workbench_demo frame|calcul [LANGUAGE] [PORT]\n");
        return 1;
    }
    if (DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat") != 0)
        std::fprintf(stderr, "workbench_demo: no data file, captions show their text IDs\n");
    if (args.size() > 2)
        DataFunctions7310::SetCurrentLanguage(args[2]);

    ComCtrl port;
    if (args.size() > 3 && !args[3].isEmpty()) {
        try {
            port.setPortName(args[3]);
            port.open();
        } catch (const RunTimeError& error) {
            ErrorHandling(QStringLiteral("workbench_demo.main"), error);
        }
    }
    std::unique_ptr<ChildWindow> window;
    if (args[1] == "frame")
        window = std::make_unique<wPanelFrame>(port);
    else
        window = std::make_unique<wPanelCalcul>();
    window->show();
    return app.exec();
}
