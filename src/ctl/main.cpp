// k7310ctl: the console's work from the command line, without windows and without a display.
#include "ctlinterrupt.h"
#include "ctloptions.h"
#include "ctlrun.h"
#include "global.h"
#include "zrbfonctions.h"

#include <QCoreApplication>
#include <QTemporaryDir>

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    // The console's name: an installed copy finds the console's data in its folders.
    QCoreApplication::setApplicationName(QStringLiteral("k7310console"));
    QCoreApplication::setApplicationVersion(Global::CurrentVersion());
    const CtlParse parsed = ParseCtlArguments(QCoreApplication::arguments());
    if (!parsed.options)
        return parsed.exit;
    // The shared line code notes the line it followed in a settings file; the console's own
    // file is not this program's to change, so those notes go to a file of this run.
    const QTemporaryDir scratch;
    ZRBfonctions::SetIniFileName(scratch.filePath(QStringLiteral("k7310ctl.ini")));
    CtlInterrupt::Install();
    CtlRun run(*parsed.options);
    return run.exec();
}
