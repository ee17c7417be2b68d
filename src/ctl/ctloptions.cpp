#include "ctloptions.h"

#include "comctrl.h"
#include "ctlreport.h"
#include "panelcommands.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

#include <cstdio>

namespace {

struct Subcommand
{
    const char* name;
    const char* synopsis; // positional arguments
    const char* summary;  // for the list of subcommands
    const char* description;
    int minArguments;
    int maxArguments; // -1: any number
    bool line;
};

const QList<Subcommand>& subcommands()
{
    static const QList<Subcommand> list = {
        {"survey", "", "every panel on the line, at every setting",
         "Surveys the line: every panel that answers, at every line setting tried, with its "
         "firmware version and configuration. Progress goes to standard error when it is a "
         "terminal; Ctrl-C stops the survey before its next probe.",
         0, 0, true},
        {"read", "", "configuration and firmware version",
         "Reads the panel's configuration and firmware version.", 0, 0, true},
        {"write", "FILE", "configuration of FILE to the panel",
         "Writes the configuration of a .k7310 FILE to the panel, following the line when the "
         "panel changes speed, stop bits or slave number.",
         1, 1, true},
        {"compare", "FILE", "panel against FILE (exit 1: differences)",
         "Compares the panel's configuration with a .k7310 FILE; exit 1 when they differ.", 1, 1,
         true},
        {"init", "FILE", "factory values into a new FILE",
         "Writes the factory defaults of the data file into a new configuration FILE; no line "
         "is used.",
         1, 1, false},
        {"led", "N STATE", "LED N (0-23) to STATE (0-7)",
         "Sets LED N (0-23) to STATE (0 off, 1 steady, 2-4 blinking, 5-7).", 2, 2, true},
        {"horn", "on|off", "horn on or off", "Switches the horn on or off.", 1, 1, true},
        {"off", "", "every LED and the horn off", "Switches every LED and the horn off.", 0, 0,
         true},
        {"lamp-test", "", "the panel's lamp test", "Starts the panel's lamp test.", 0, 0, true},
        {"image", "", "the panel image read back",
         "Reads back the panel image: every LED's state and the horn.", 0, 0, true},
        {"alarm", "", "alarm on LEDs 1 and 11 [--wait SECONDS]",
         "Puts LEDs 1 and 11 in alarm with the horn on; with --wait, waits for the "
         "acknowledgement on the panel, then makes them steady and silences the horn.",
         0, 0, true},
        {"send", "HEX...", "one raw frame, the answer shown",
         "Sends one raw frame given in hexadecimal (blanks allowed) and shows the answer.", 1, -1,
         true},
    };
    return list;
}

const Subcommand* find(const QString& name)
{
    for (const Subcommand& command : subcommands())
        if (name == QLatin1String(command.name))
            return &command;
    return nullptr;
}

// Options that every subcommand takes.
QList<QCommandLineOption> lineOptions()
{
    return {
        {QStringLiteral("port"), QStringLiteral("Serial port: 1-16 (ttyS0-15), ttyUSB0, /dev/..."),
         QStringLiteral("PORT")},
        {QStringLiteral("line"), QStringLiteral("Line settings, speed,parity,data,stop."),
         QStringLiteral("SETTINGS"), QStringLiteral("9600,n,8,1")},
        {QStringLiteral("rts"), QStringLiteral("Half-duplex line: RTS raised for each request.")},
        {QStringLiteral("rts-delay"),
         QStringLiteral("Milliseconds between the end of a request and RTS off (default 5)."),
         QStringLiteral("MS")},
        {QStringLiteral("slave"),
         QStringLiteral("Panel's slave number 1-64; 0 searches for the panel (default 1)."),
         QStringLiteral("N"), QStringLiteral("1")},
        {QStringLiteral("no-auto-search"),
         QStringLiteral("With --slave 0, search at the given line settings only.")},
        {QStringLiteral("language"),
         QStringLiteral("Language of the texts (English, Français, Deutsch, or en, fr, de)."),
         QStringLiteral("LANGUAGE")},
        {QStringLiteral("json"), QStringLiteral("One JSON document on standard output.")},
    };
}

QList<QCommandLineOption> ownOptions(const QString& command)
{
    if (command == QLatin1String("alarm"))
        return {{QStringLiteral("wait"),
                 QStringLiteral("Wait this long for the acknowledgement (exit 3 without)."),
                 QStringLiteral("SECONDS")}};
    if (command == QLatin1String("send"))
        return {{QStringLiteral("crc"), QStringLiteral("Append the CRC to the frame.")},
                {QStringLiteral("timeout"), QStringLiteral("Answer wait in seconds (default 1)."),
                 QStringLiteral("SECONDS"), QStringLiteral("1")}};
    if (command == QLatin1String("init"))
        return {{QStringLiteral("force"), QStringLiteral("Replace an existing FILE.")}};
    if (command == QLatin1String("survey"))
        return {
            {QStringLiteral("first"), QStringLiteral("Lowest slave number to look for (1)."),
             QStringLiteral("N"), QStringLiteral("1")},
            {QStringLiteral("last"), QStringLiteral("Highest slave number to look for (64)."),
             QStringLiteral("N"), QStringLiteral("64")},
            {QStringLiteral("settings"),
             QStringLiteral("Settings to try, as SPEED/STOPS separated by commas (default: the "
                            "line's own, then 19200 down to 1200 with 1 and 2 stop bits)."),
             QStringLiteral("LIST")},
            {QStringLiteral("thorough"),
             QStringLiteral("Sweep every slave number even where one panel answered cleanly.")},
            {QStringLiteral("retry-silent"),
             QStringLiteral("Try a silent probe or slave once more (noisy lines).")},
            {QStringLiteral("stop-after"), QStringLiteral("Stop once this many panels are found."),
             QStringLiteral("N")},
            {QStringLiteral("allowance"),
             QStringLiteral("Turnaround allowance of the answer waits, in ms (50)."),
             QStringLiteral("MS")},
            {QStringLiteral("no-config"), QStringLiteral("Do not read the configurations.")},
        };
    return {};
}

void setUp(QCommandLineParser& parser, const Subcommand* command)
{
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions(lineOptions());
    if (!command) {
        QString list;
        for (const Subcommand& each : subcommands()) {
            const QString usage = QStringLiteral("%1 %2")
                                      .arg(QLatin1String(each.name), QLatin1String(each.synopsis))
                                      .trimmed();
            list += QStringLiteral("  ") + usage.leftJustified(16) + QLatin1String(each.summary) +
                    QLatin1Char('\n');
        }
        parser.setApplicationDescription(
            QStringLiteral("The K7310 console's work from the command line.\n\nSubcommands "
                           "(k7310ctl SUBCOMMAND --help for each):\n") +
            list +
            QStringLiteral("  monitor SUBCOMMAND ...\n"
                           "                  the subcommand, with every exchange "
                           "on standard error\n\nExit codes: 0 success, 1 wrong answer "
                           "or differences, 2 bad usage, 3 no answer, 4 line error, 5 file "
                           "error, 130 interrupted."));
        parser.addPositionalArgument(QStringLiteral("subcommand"),
                                     QStringLiteral("What to do (see above)."),
                                     QStringLiteral("SUBCOMMAND [ARGUMENTS]"));
        return;
    }
    parser.setApplicationDescription(QLatin1String(command->description));
    parser.addOptions(ownOptions(QLatin1String(command->name)));
    parser.addPositionalArgument(QLatin1String(command->name), QStringLiteral("The subcommand."),
                                 QStringLiteral("%1 %2").arg(QLatin1String(command->name),
                                                             QLatin1String(command->synopsis)));
}

CtlParse usage(const QString& text)
{
    CtlReport::message(text + QStringLiteral(" (k7310ctl --help)"));
    return {std::nullopt, CtlReport::Usage};
}

CtlParse shown(const QString& text)
{
    std::fputs(qPrintable(text), stdout);
    return {std::nullopt, CtlReport::Success};
}

std::optional<int> integer(const QString& text, int low, int high)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= low && value <= high ? std::optional<int>(value) : std::nullopt;
}

std::optional<double> seconds(const QString& text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok && value > 0 && value <= 86400 ? std::optional<double>(value) : std::nullopt;
}

// The subcommand's own positional arguments, checked.
std::optional<QString> takeArguments(CtlOptions& options)
{
    const QStringList& args = options.arguments;
    if (options.command == QLatin1String("led")) {
        const auto led = integer(args[0], 0, PanelCommands::LedCount - 1);
        if (!led)
            return QStringLiteral("LED must be a number from 0 to 23: ") + args[0];
        const auto state = integer(args[1], 0, 7);
        if (!state)
            return QStringLiteral("state must be a number from 0 to 7: ") + args[1];
        options.led = *led;
        options.state = *state;
    } else if (options.command == QLatin1String("horn")) {
        if (args[0] != QLatin1String("on") && args[0] != QLatin1String("off"))
            return QStringLiteral("horn takes on or off: ") + args[0];
        options.state = args[0] == QLatin1String("on") ? 1 : 0;
    } else if (options.command == QLatin1String("send")) {
        QString digits = args.join(QString());
        digits.remove(QLatin1Char(' '));
        static const QRegularExpression hex(QStringLiteral("^[0-9A-Fa-f]*$"));
        if (!hex.match(digits).hasMatch())
            return QStringLiteral("not hexadecimal: ") + args.join(QLatin1Char(' '));
        if (digits.size() % 2 != 0)
            return QStringLiteral("odd number of hexadecimal digits: ") + digits;
        options.frame = QByteArray::fromHex(digits.toLatin1());
    }
    return std::nullopt;
}

// The survey's options, checked.
std::optional<QString> takeSurveyOptions(const QCommandLineParser& parser,
                                         LineSurvey::Options& survey)
{
    const auto first = integer(parser.value(QStringLiteral("first")), 1, 64);
    const auto last = integer(parser.value(QStringLiteral("last")), 1, 64);
    if (!first || !last || *first > *last)
        return QStringLiteral("slave numbers to look for must be 1 to 64, first to last: ") +
               parser.value(QStringLiteral("first")) + QLatin1Char('-') +
               parser.value(QStringLiteral("last"));
    survey.firstSlave = *first;
    survey.lastSlave = *last;
    if (parser.isSet(QStringLiteral("settings"))) {
        for (const QString& item :
             parser.value(QStringLiteral("settings")).split(QLatin1Char(','))) {
            const auto speed = integer(item.section(QLatin1Char('/'), 0, 0), 50, 4000000);
            const auto stops = integer(item.section(QLatin1Char('/'), 1), 1, 2);
            if (!speed || !stops)
                return QStringLiteral("settings are SPEED/STOPS, stop bits 1 or 2: ") + item;
            survey.settings.append({*speed, static_cast<std::int16_t>(*stops)});
        }
    }
    if (parser.isSet(QStringLiteral("stop-after"))) {
        const auto stopAfter = integer(parser.value(QStringLiteral("stop-after")), 1, 64 * 10);
        if (!stopAfter)
            return QStringLiteral("--stop-after takes a number of panels: ") +
                   parser.value(QStringLiteral("stop-after"));
        survey.stopAfter = *stopAfter;
    }
    if (parser.isSet(QStringLiteral("allowance"))) {
        const auto allowance = integer(parser.value(QStringLiteral("allowance")), 0, 10000);
        if (!allowance)
            return QStringLiteral("--allowance takes 0 to 10000 ms: ") +
                   parser.value(QStringLiteral("allowance"));
        survey.allowanceMs = *allowance;
    }
    survey.thorough = parser.isSet(QStringLiteral("thorough"));
    survey.retrySilent = parser.isSet(QStringLiteral("retry-silent"));
    survey.readConfiguration = !parser.isSet(QStringLiteral("no-config"));
    return std::nullopt;
}

} // namespace

CtlParse ParseCtlArguments(const QStringList& arguments)
{
    // First pass: every option of every subcommand, to find the subcommand.
    QCommandLineParser first;
    setUp(first, nullptr);
    for (const Subcommand& each : subcommands())
        first.addOptions(ownOptions(QLatin1String(each.name)));
    if (!first.parse(arguments))
        return usage(first.errorText());
    QStringList positional = first.positionalArguments();
    CtlOptions options;
    if (!positional.isEmpty() && positional.first() == QLatin1String("monitor")) {
        options.monitor = true;
        positional.removeFirst();
    }
    if (positional.isEmpty()) {
        if (first.isSet(QStringLiteral("help")))
            return shown(first.helpText());
        if (first.isSet(QStringLiteral("version")))
            return shown(QCoreApplication::applicationVersion() + QLatin1Char('\n'));
        return usage(QStringLiteral("no subcommand given"));
    }
    const Subcommand* command = find(positional.first());
    if (!command)
        return usage(QStringLiteral("unknown subcommand: ") + positional.first());

    // Second pass: only this subcommand's options are known.
    QCommandLineParser parser;
    setUp(parser, command);
    if (!parser.parse(arguments))
        return usage(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        return shown(parser.helpText());
    options.command = positional.takeFirst();
    options.arguments = positional;
    const int count = static_cast<int>(positional.size());
    if (count < command->minArguments ||
        (command->maxArguments >= 0 && count > command->maxArguments))
        return usage(QStringLiteral("usage: k7310ctl %1 %2")
                         .arg(options.command, QLatin1String(command->synopsis))
                         .trimmed());

    options.json = parser.isSet(QStringLiteral("json"));
    options.port = parser.value(QStringLiteral("port"));
    options.line = parser.value(QStringLiteral("line"));
    options.rts = parser.isSet(QStringLiteral("rts"));
    options.autoSearch = !parser.isSet(QStringLiteral("no-auto-search"));
    options.language = parser.value(QStringLiteral("language"));
    if (command->line && options.port.isEmpty())
        return usage(QStringLiteral("no port given (--port)"));
    if (!ComCtrl::ParseSettings(options.line))
        return usage(QStringLiteral("line settings are not speed,parity,data,stop: ") +
                     options.line);
    const auto slave = integer(parser.value(QStringLiteral("slave")), 0, 64);
    if (!slave)
        return usage(QStringLiteral("slave must be a number from 0 to 64: ") +
                     parser.value(QStringLiteral("slave")));
    options.slave = *slave;
    if (parser.isSet(QStringLiteral("rts-delay"))) {
        const auto delay = integer(parser.value(QStringLiteral("rts-delay")), 0, 10000);
        if (!delay)
            return usage(QStringLiteral("RTS delay must be 0 to 10000 ms: ") +
                         parser.value(QStringLiteral("rts-delay")));
        options.rtsDelay = *delay;
    }
    if (options.command == QLatin1String("alarm") && parser.isSet(QStringLiteral("wait"))) {
        const auto wait = seconds(parser.value(QStringLiteral("wait")));
        if (!wait)
            return usage(QStringLiteral("--wait takes a number of seconds: ") +
                         parser.value(QStringLiteral("wait")));
        options.waitSeconds = *wait;
    }
    if (options.command == QLatin1String("send")) {
        const auto timeout = seconds(parser.value(QStringLiteral("timeout")));
        if (!timeout)
            return usage(QStringLiteral("--timeout takes a number of seconds: ") +
                         parser.value(QStringLiteral("timeout")));
        options.timeoutSeconds = *timeout;
        options.crc = parser.isSet(QStringLiteral("crc"));
    }
    options.force =
        options.command == QLatin1String("init") && parser.isSet(QStringLiteral("force"));
    if (options.command == QLatin1String("survey")) {
        if (const auto wrong = takeSurveyOptions(parser, options.survey))
            return usage(*wrong);
    }
    if (const auto wrong = takeArguments(options))
        return usage(*wrong);
    return {options, CtlReport::Success};
}
