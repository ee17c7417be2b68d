#include "options.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace k7310sim {

namespace {

const char* const helpText = R"(Usage: k7310sim [OPTIONS]

Plays one K7310 alarm annunciator panel, a Modbus-RTU slave, on a serial line, or a line of
several panels sharing one bus (--panel, --panels).

By default it creates a pseudo-terminal and prints, as the first line on standard output,
the path a master connects to (/dev/pts/N). It also keeps a symbolic link to that path.

Line
  --device PATH       serve a real serial device (e.g. /dev/ttyUSB0) instead of a pty;
                      the device is set to the panel's own speed and stop bits (8 data
                      bits, no parity) and follows changes of them; a line of panels
                      sets it to the first panel's and keeps it there.
  --link PATH         where to keep the link to the pty (default
                      $XDG_RUNTIME_DIR/k7310sim.tty, or /tmp/k7310sim.tty when unset)
  --no-link           keep no link
  --reopen-wait SECONDS
                      when the --device goes away, try to reopen it this long before
                      giving up and exiting (default 10)
  --gap MS            silent gap that ends a frame, in ms (default 3.5 character times at
                      the panel's speed, at least 1.75 ms)
  --echo              play a 2-wire adapter without echo suppression: every byte the
                      master sends comes back to it at once, ahead of any answer (also
                      the field echo=on of a --panel)

  On a pty the panel answers only when the speed and stop bits that the master set on
  the line (read at each frame from the pty's settings) are the panel's own. Other
  frames are garbage to the panel: traced as IGNORED with the settings seen, never
  answered. Parity and data bits cannot be seen through a pty and are not checked.

Panel
  --version 2.8|2.7|2.6   firmware (default 2.8); 2.7 has no word 70, 2.6 neither 69
                      nor 70 (--firmware is the same option)
  --state FILE        keep the configuration words (65, 67, 69, 70, 128-131) in FILE:
                      read at start when it exists, rewritten after every change
  --speed BAUD        start at this speed (1200, 2400, 4800, 9600, 19200)
  --stop N            start with N stop bits (1 or 2)
  --slave N           start as slave N (1-64)
                      (these three override the state file and the factory defaults:
                      9600 baud, 1 stop bit, slave 1, bus mode 0, word 65 = 0, 67 = 1,
                      69 = 0, 70 = 0)
  --auto-ack SECONDS  acknowledge by itself that long after a write leaves the horn on
  --lamp-test SECONDS length of a lamp test (default 3)

A line of panels
  --panel PANEL       one panel on the line; repeat it for each panel, in their order on
                      the line. PANEL is FIELD=VALUE,... with the fields
                        slave=1-64  speed=1200|2400|4800|9600|19200  stop=1|2
                        version=2.8|2.7|2.6  state=FILE  auto-ack=SECONDS
                        lamp-test=SECONDS  line-timing=on|off  turnaround=MS
                        fault=KIND  fault-next=KIND  fault-word=WORD:KIND  echo=on|off
                      A field left out takes the factory default (slave 1, 9600, 1 stop
                      bit, 2.8, no state file); line timing, turnaround, faults,
                      auto-ack, lamp test and echo default to the options of the same
                      name. The line echoes when any of its panels has echo=on.
                      Two panels may share a slave number (a wiring mistake the line
                      lets you make).
  --panels FILE       the panels of FILE, one panel a line (blank lines and lines
                      starting with # are skipped); may be mixed with --panel
  With --panel or --panels, --slave, --speed, --stop, --version and --state are refused:
  they describe the one panel of a plain run, which is what runs without them.

  One pty is one RS-485 bus. A request is heard by every panel whose speed and stop bits
  are the ones the master set on the line; the others trace it as IGNORED. Only the
  addressed panel answers; slave 0 is a broadcast that every panel hearing it carries
  out, none answering. Each panel keeps its own words, line settings, state file,
  acknowledgement and lamp test; a write of 128-130 moves that panel alone.
  The probe is answered by every panel that hears it, and two panels with one number
  both answer. Answers that overlap on the wire collide: each panel starts after its
  turnaround plus its own fraction of a character (drawn from --seed and its position
  on the line), no two less than one bit apart; the wire carries the AND of their UART
  bits (a driven 0 wins) and the master receives what its UART decodes from that, byte
  by byte at the time the wire delivers it: damaged bytes (a character whose stop bit
  reads 0 arrives as 00) and a CRC that does not match, even for identical answers.
  The same seed gives the same bytes. An answer alone on the wire is sent as usual.
  Example, four panels: one at other settings keeping its configuration in a file,
  and two sharing number 3, whose answers collide:
    k7310sim --line-timing --turnaround 3 --panel slave=1 \
             --panel slave=2,speed=19200,stop=2,state=p2.state \
             --panel slave=3,version=2.6 --panel slave=3

Timing and faults
  These hold for every panel unless its own fields say otherwise.
  --line-timing       each answer byte takes its wire time at the panel's speed
                      ((1 start + 8 data + stop bits) / baud), the request's bytes are
                      counted as having taken theirs, and --turnaround is added between
                      the request's end and the answer's start
  --turnaround MS     time between request and answer (default 0; also without
                      --line-timing)
  --fault KIND        put this fault into every answer
  --fault-next KIND   put this fault into the next answer only
  --fault-word WORD:KIND
                      put this fault into every answer to a request for WORD (a read
                      that starts there, a write to it), e.g. 129:none
  --seed N            seed of the noise bytes and of the panels' offsets in a collision
                      (default 1)

  Fault KINDs: none (no answer), bad-crc (last CRC byte inverted), extra-byte (0x55
  appended), short (last byte left out), wrong-slave (another slave number echoed, CRC
  correct), wrong-function (function code + 1 echoed, CRC correct), late[:MS] (answer
  after MS more ms, default 1500), noise[:N] (N random bytes just before the answer,
  default 4), exception[:CODE] (an exception answer with CODE, default 4), off (no
  fault). The request is carried out whatever the fault; a "next"
  fault takes precedence over a word's fault, which takes precedence over an "every"
  fault. Faults touch Modbus answers and the
  probe answer (its wrong-slave fault changes byte 1, bad-crc the last byte, and
  wrong-function and exception leave it as it is).

Trace
  --trace FILE|-      trace every frame into FILE ("-" for standard error):
                        <seconds> <KIND> <baud>/<stop> <hex bytes> [(<reason>)]
                        <seconds> NOTE <text>
                      seconds since start (six decimals); KIND: RX (heard and handled),
                      DROPPED (bad CRC, other slave, garbage: no answer), IGNORED (line
                      speed/stop bits not the panel's: the settings shown are the line's),
                      TX (sent; settings are the panel's), COLLISION (what reached the
                      master from answers that overlapped; the TX lines before it are
                      each panel's own answer, "collided, starts at +B bits"). On a
                      line of panels the reason names the panel, as in (panel 2 slave
                      5: read), and notes start with "panel 2 slave 5: ". Example:
                        12.345678 RX 9600/1 01 03 00 80 00 04 45 E1 (read)
                        12.347012 TX 9600/1 01 03 08 00 FE 00 01 00 01 00 00 E6 18
                        13.001200 IGNORED 19200/2 01 03 00 82 00 01 24 22

Words (holding registers, function 3 reads, 6 and 16 write)
  0          write 0: all LEDs off (write only)
  1-24       one LED each (LED n at word n + 1), state 0-7
  25-29      packed image: LED n in word 25 + n/5 at bit 3*(n%5), 3 bits; horn at bit
             12 of word 29; unused bits are ignored on write
  64         horn state (0 = off)
  65, 67     options 0/1 (synchronisation, acknowledgement authorised)
  66         lamp test: write 1 lights every LED for --lamp-test seconds, 0 ends it;
             reads 1 while it runs
  68         acknowledgement (read only): 1 once the technician has acknowledged; back
             to 0 at the master's next write to the LED or horn words (0-29, 64)
  69, 70     options 0/1 (bus control with K/L, LED test with K/L), by firmware
  128-131    speed code (F0=1200 F8=2400 FC=4800 FE=9600 FF=19200), stop bits (1/2),
             slave number (1-64), bus mode (0-3). A write of 128-130 is answered at the
             old settings and takes effect right after the answer.
  Exceptions: 01 unsupported function, 02 a word the panel lacks (also inside a block;
  write to a read-only word), 03 bad value or quantity. Bad CRC, another slave: silence.
  Slave 0 is a broadcast: writes are carried out, nothing is answered.

Probe
  The three bytes 41 7F 70 (no CRC) get the four bytes 41 <slave> <major> <minor>:
  0x41 echoed, the slave number, the firmware version (02 08 for 2.8).

Commands on standard input (one a line; answers on standard output)
  N names the panels with slave number N, #P the panel at position P on the line;
  without it a command means every panel (the only one of a plain run). On a line of
  panels each answer line starts with "panel P slave N: ".
  ack [N]             acknowledge (word 68 becomes 1)
  show [N]            picture of the panel: LED states 0-7 ('.' = off) in groups of 8,
                      the horn, a running lamp test, the acknowledgement word
  status [N]          firmware, line settings in effect, configuration words, faults,
                      "unplugged" for a panel off the bus
  fault KIND [N]      fault in every answer (fault off: no faults at all)
  fault-next KIND [N] fault in the next answer
  unplug [N]          take the panel off the bus, as if it lost power: it hears and
                      answers nothing
  plug [N]            put it back: it powers up from its stored configuration, LEDs,
                      horn, acknowledgement and lamp test cleared
  quit                exit
  help                this list

Exits on SIGTERM, SIGINT or quit (status 0), and when a --device goes away and does not
come back within --reopen-wait seconds (status 3). End of standard input only ends the
commands; the panel goes on serving (so it can run in the background). Bad options: status 1; no line: status 2.
)";

[[noreturn]] void usageError(const std::string& message)
{
    std::fprintf(stderr, "k7310sim: %s\nTry 'k7310sim --help'.\n", message.c_str());
    std::exit(1);
}

bool parseNumber(const std::string& text, double low, double high, double& v)
{
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    return ec == std::errc() && ptr == text.data() + text.size() && v >= low && v <= high;
}

double toNumber(const std::string& option, const std::string& text, double low, double high)
{
    double v = 0;
    if (!parseNumber(text, low, high, v))
        usageError("bad value for " + option + ": '" + text + "'");
    return v;
}

// "WORD:KIND" of --fault-word and fault-word=.
bool parseFaultWord(const std::string& text, unsigned& word, Fault& fault)
{
    const auto colon = text.find(':');
    if (colon == std::string::npos)
        return false;
    const auto f = parseFault(text.substr(colon + 1));
    double w = 0;
    if (!f || !parseNumber(text.substr(0, colon), 0, 65535, w))
        return false;
    word = static_cast<unsigned>(w);
    fault = *f;
    return true;
}

// The panels of a --panels file: one panel a line; blank lines and lines starting with #
// are skipped.
std::vector<std::string> readPanelsFile(const std::string& path)
{
    std::FILE* file = std::fopen(path.c_str(), "r");
    if (!file)
        usageError("cannot read " + path + ": " + std::strerror(errno));
    std::vector<std::string> setups;
    std::string line;
    int c;
    const auto take = [&]() {
        const auto first = line.find_first_not_of(" \t\r");
        if (first != std::string::npos && line[first] != '#') {
            const auto last = line.find_last_not_of(" \t\r");
            setups.push_back(line.substr(first, last - first + 1));
        }
        line.clear();
    };
    while ((c = std::fgetc(file)) != EOF) {
        if (c == '\n')
            take();
        else
            line += static_cast<char>(c);
    }
    take();
    std::fclose(file);
    return setups;
}

} // namespace

bool parsePanelSetup(const std::string& text, PanelSetup& setup, std::string& error)
{
    std::size_t from = 0;
    while (from <= text.size()) {
        auto comma = text.find(',', from);
        if (comma == std::string::npos)
            comma = text.size();
        const std::string field = text.substr(from, comma - from);
        from = comma + 1;
        if (field.empty())
            continue;
        const auto eq = field.find('=');
        const std::string key = field.substr(0, eq);
        const std::string value = eq == std::string::npos ? std::string() : field.substr(eq + 1);
        double v = 0;
        const auto number = [&](double low, double high) {
            return parseNumber(value, low, high, v);
        };
        bool ok = true;
        if (key == "slave") {
            ok = number(1, 64);
            setup.slave = static_cast<int>(v);
        } else if (key == "speed") {
            ok = number(1200, 19200) && speedCodeForBaud(static_cast<int>(v)) != 0;
            setup.speed = static_cast<int>(v);
        } else if (key == "stop") {
            ok = number(1, 2) && (v == 1 || v == 2);
            setup.stop = static_cast<int>(v);
        } else if (key == "version" || key == "firmware") {
            const auto fw = parseFirmware(value);
            ok = fw.has_value();
            if (ok)
                setup.firmware = *fw;
        } else if (key == "state") {
            ok = !value.empty();
            setup.stateFile = value;
        } else if (key == "auto-ack") {
            ok = number(0, 86400);
            setup.autoAckSeconds = v;
        } else if (key == "lamp-test") {
            ok = number(0, 3600);
            setup.lampTestSeconds = v;
        } else if (key == "line-timing" || key == "echo") {
            ok = value == "on" || value == "off" || value.empty();
            (key == "echo" ? setup.echo : setup.lineTiming) = value != "off";
        } else if (key == "turnaround") {
            ok = number(0, 60000);
            setup.turnaroundMs = v;
        } else if (key == "fault" || key == "fault-next") {
            const auto f = parseFault(value);
            ok = f.has_value();
            if (ok)
                (key == "fault" ? setup.every : setup.next) = *f;
        } else if (key == "fault-word") {
            unsigned word = 0;
            ok = parseFaultWord(value, word, setup.faultOnWord);
            if (ok)
                setup.faultWord = word;
        } else {
            error = "unknown field '" + key + "'";
            return false;
        }
        if (!ok) {
            error = "bad value for " + key + ": '" + value + "'";
            return false;
        }
    }
    return true;
}

Options parseOptions(int argc, char** argv)
{
    Options o;
    if (const char* rt = std::getenv("XDG_RUNTIME_DIR"); rt && *rt)
        o.link = std::string(rt) + "/k7310sim.tty";
    else
        o.link = "/tmp/k7310sim.tty";
    std::vector<std::string> panelTexts;
    bool panelsFile = false;
    bool panelOwn = false; // an option that describes the one panel of a plain run
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        std::string value;
        bool hasValue = false;
        if (const auto eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            value = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
            hasValue = true;
        }
        const auto take = [&]() {
            if (hasValue)
                return value;
            if (i + 1 >= argc)
                usageError(arg + " needs a value");
            return std::string(argv[++i]);
        };
        const auto fault = [&]() {
            const std::string text = take();
            const auto f = parseFault(text);
            if (!f)
                usageError("unknown fault '" + text + "'");
            return *f;
        };
        if (arg == "--help" || arg == "-h") {
            std::fputs(helpText, stdout);
            std::exit(0);
        } else if (arg == "--device") {
            o.device = take();
        } else if (arg == "--link") {
            o.link = take();
        } else if (arg == "--no-link") {
            o.noLink = true;
        } else if (arg == "--gap") {
            o.gapMs = toNumber(arg, take(), 0.1, 10000);
        } else if (arg == "--version" || arg == "--firmware") {
            panelOwn = true;
            const std::string text = take();
            const auto fw = parseFirmware(text);
            if (!fw)
                usageError("unknown firmware version '" + text + "' (2.8, 2.7 or 2.6)");
            o.firmware = *fw;
        } else if (arg == "--state") {
            panelOwn = true;
            o.stateFile = take();
        } else if (arg == "--speed") {
            panelOwn = true;
            o.speed = static_cast<int>(toNumber(arg, take(), 1200, 19200));
            if (speedCodeForBaud(*o.speed) == 0)
                usageError("the panel runs at 1200, 2400, 4800, 9600 or 19200 baud");
        } else if (arg == "--stop") {
            panelOwn = true;
            o.stop = static_cast<int>(toNumber(arg, take(), 1, 2));
        } else if (arg == "--slave") {
            panelOwn = true;
            o.slave = static_cast<int>(toNumber(arg, take(), 1, 64));
        } else if (arg == "--auto-ack") {
            o.autoAckSeconds = toNumber(arg, take(), 0, 86400);
        } else if (arg == "--lamp-test") {
            o.lampTestSeconds = toNumber(arg, take(), 0, 3600);
        } else if (arg == "--line-timing") {
            o.lineTiming = true;
        } else if (arg == "--echo") {
            o.echo = true;
        } else if (arg == "--turnaround") {
            o.turnaroundMs = toNumber(arg, take(), 0, 60000);
        } else if (arg == "--fault") {
            o.every = fault();
        } else if (arg == "--fault-next") {
            o.next = fault();
        } else if (arg == "--fault-word") {
            const std::string text = take();
            unsigned word = 0;
            if (!parseFaultWord(text, word, o.faultOnWord))
                usageError("--fault-word needs WORD:KIND, not '" + text + "'");
            o.faultWord = word;
        } else if (arg == "--panel") {
            panelTexts.push_back(take());
        } else if (arg == "--panels") {
            for (std::string& setup : readPanelsFile(take()))
                panelTexts.push_back(std::move(setup));
            panelsFile = true;
        } else if (arg == "--seed") {
            o.seed = static_cast<unsigned>(toNumber(arg, take(), 0, 4294967295.0));
        } else if (arg == "--reopen-wait") {
            o.reopenWaitSeconds = toNumber(arg, take(), 0, 86400);
        } else if (arg == "--trace") {
            o.trace = take();
        } else {
            usageError("unknown option '" + arg + "'");
        }
    }
    // The timing and fault options hold for every panel unless its own fields say otherwise; on a
    // line the panel's own fields were refused below, so they are still the factory ones.
    const PanelSetup defaults = o;
    if (panelTexts.empty() && !panelsFile) {
        o.panels.push_back(defaults);
        return o;
    }
    if (panelOwn)
        usageError("--version, --state, --speed, --stop and --slave describe the one panel of "
                   "a run without --panel; give them as fields of --panel");
    if (panelTexts.empty())
        usageError("the --panels file names no panel");
    if (panelTexts.size() > maxPanels)
        usageError("at most " + std::to_string(maxPanels) + " panels on one line");
    o.line = true;
    for (const std::string& text : panelTexts) {
        PanelSetup setup = defaults;
        std::string error;
        if (!parsePanelSetup(text, setup, error))
            usageError("--panel '" + text + "': " + error);
        o.panels.push_back(setup);
    }
    return o;
}

} // namespace k7310sim
