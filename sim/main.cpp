// k7310sim: one K7310 annunciator panel on a serial line (a pseudo-terminal by default).
#include "faults.h"
#include "line.h"
#include "panelslave.h"
#include "statefile.h"
#include "trace.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <optional>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

using namespace k7310sim;
using namespace std::chrono;

namespace {

const char* const helpText = R"(Usage: k7310sim [OPTIONS]

Plays one K7310 alarm annunciator panel, a Modbus-RTU slave, on a serial line.

By default it creates a pseudo-terminal and prints, as the first line on standard output,
the path a master connects to (/dev/pts/N). It also keeps a symbolic link to that path.

Line
  --device PATH       serve a real serial device (e.g. /dev/ttyUSB0) instead of a pty;
                      the device is set to the panel's own speed and stop bits (8 data
                      bits, no parity) and follows changes of them.
  --link PATH         where to keep the link to the pty (default
                      $XDG_RUNTIME_DIR/k7310sim.tty, or /tmp/k7310sim.tty when unset)
  --no-link           keep no link
  --reopen-wait SECONDS
                      when the --device goes away, try to reopen it this long before
                      giving up and exiting (default 10)
  --gap MS            silent gap that ends a frame, in ms (default 3.5 character times at
                      the panel's speed, at least 1.75 ms)

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

Timing and faults
  --line-timing       each answer byte takes its wire time at the panel's speed
                      ((1 start + 8 data + stop bits) / baud), the request's bytes are
                      counted as having taken theirs, and --turnaround is added between
                      the request's end and the answer's start
  --turnaround MS     time between request and answer (default 0; also without
                      --line-timing)
  --fault KIND        put this fault into every answer
  --fault-next KIND   put this fault into the next answer only
  --seed N            seed of the noise bytes (default 1)

  Fault KINDs: none (no answer), bad-crc (last CRC byte inverted), extra-byte (0x55
  appended), short (last byte left out), wrong-slave (another slave number echoed, CRC
  correct), wrong-function (function code + 1 echoed, CRC correct), late[:MS] (answer
  after MS more ms, default 1500), noise[:N] (N random bytes just before the answer,
  default 4), off (no fault). The request is carried out whatever the fault; a "next"
  fault takes precedence over an "every" fault. Faults touch Modbus answers and the
  probe answer (its wrong-slave fault changes byte 1, bad-crc the last byte, and
  wrong-function leaves it as it is).

Trace
  --trace FILE|-      trace every frame into FILE ("-" for standard error):
                        <seconds> <KIND> <baud>/<stop> <hex bytes> [(<reason>)]
                        <seconds> NOTE <text>
                      seconds since start (six decimals); KIND: RX (heard and handled),
                      DROPPED (bad CRC, other slave, garbage: no answer), IGNORED (line
                      speed/stop bits not the panel's: the settings shown are the line's),
                      TX (sent; settings are the panel's). Example:
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
  ack                 acknowledge (word 68 becomes 1)
  show                picture of the panel: LED states 0-7 ('.' = off) in groups of 8,
                      the horn, a running lamp test, the acknowledgement word
  status              firmware, line settings in effect, configuration words, faults
  fault KIND          fault in every answer (fault off: no faults at all)
  fault-next KIND     fault in the next answer
  quit                exit
  help                this list

Exits on SIGTERM, SIGINT or quit (status 0), and when a --device goes away and does not
come back within --reopen-wait seconds (status 3). End of standard input only ends the
commands; the panel goes on serving (so it can run in the background). Bad options: status 1; no line: status 2.
)";

struct Options
{
    std::string device;
    std::string link;
    bool noLink = false;
    std::optional<double> gapMs;
    Firmware firmware = Firmware::V28;
    std::string stateFile;
    std::optional<int> speed;
    std::optional<int> stop;
    std::optional<int> slave;
    std::optional<double> autoAckSeconds;
    double lampTestSeconds = 3.0;
    bool lineTiming = false;
    double turnaroundMs = 0.0;
    Fault every;
    Fault next;
    unsigned seed = 1;
    std::string trace;
    double reopenWaitSeconds = 10.0;
};

[[noreturn]] void usageError(const std::string& message)
{
    std::fprintf(stderr, "k7310sim: %s\nTry 'k7310sim --help'.\n", message.c_str());
    std::exit(1);
}

double toNumber(const std::string& option, const std::string& text, double low, double high)
{
    double v = 0;
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || ptr != text.data() + text.size() || v < low || v > high)
        usageError("bad value for " + option + ": '" + text + "'");
    return v;
}

Options parseOptions(int argc, char** argv)
{
    Options o;
    if (const char* rt = std::getenv("XDG_RUNTIME_DIR"); rt && *rt)
        o.link = std::string(rt) + "/k7310sim.tty";
    else
        o.link = "/tmp/k7310sim.tty";
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
            const std::string text = take();
            const auto fw = parseFirmware(text);
            if (!fw)
                usageError("unknown firmware version '" + text + "' (2.8, 2.7 or 2.6)");
            o.firmware = *fw;
        } else if (arg == "--state") {
            o.stateFile = take();
        } else if (arg == "--speed") {
            o.speed = static_cast<int>(toNumber(arg, take(), 1200, 19200));
            if (speedCodeForBaud(*o.speed) == 0)
                usageError("the panel runs at 1200, 2400, 4800, 9600 or 19200 baud");
        } else if (arg == "--stop") {
            o.stop = static_cast<int>(toNumber(arg, take(), 1, 2));
        } else if (arg == "--slave") {
            o.slave = static_cast<int>(toNumber(arg, take(), 1, 64));
        } else if (arg == "--auto-ack") {
            o.autoAckSeconds = toNumber(arg, take(), 0, 86400);
        } else if (arg == "--lamp-test") {
            o.lampTestSeconds = toNumber(arg, take(), 0, 3600);
        } else if (arg == "--line-timing") {
            o.lineTiming = true;
        } else if (arg == "--turnaround") {
            o.turnaroundMs = toNumber(arg, take(), 0, 60000);
        } else if (arg == "--fault") {
            o.every = fault();
        } else if (arg == "--fault-next") {
            o.next = fault();
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
    return o;
}

// Time one character takes on the wire: start bit, 8 data bits, no parity, stop bits.
duration<double> charTime(int baud, int stopBits)
{
    return duration<double>((1.0 + 8.0 + stopBits) / (baud > 0 ? baud : 9600));
}

class Simulator
{
public:
    Simulator(Options options)
        : opt_(std::move(options))
        , slave_(opt_.firmware)
        , random_(opt_.seed)
    {}

    int run();

private:
    bool setUp();
    void makeLink();
    void removeLink();
    bool waitUntil(Clock::time_point deadline); // false when a signal is pending
    bool writeAll(const std::uint8_t* data, std::size_t size);
    void onBytes(Clock::time_point now);
    void onFrame(Clock::time_point now);
    void send(const Reply& reply, Clock::time_point requestEnd);
    void onCommand(const std::string& line);
    void saveState();
    std::string status() const;
    Clock::duration gap() const;
    void tickNotes(Clock::time_point now);

    Options opt_;
    PanelSlave slave_;
    Line line_;
    Trace trace_;
    std::mt19937 random_;
    int signalFd_ = -1;
    bool quit_ = false;
    bool stdinOpen_ = true;
    std::string stdinBuffer_;
    Bytes rx_;
    Clock::time_point firstRx_;
    Clock::time_point lastRx_;
    Clock::time_point start_ = Clock::now();
    std::optional<Clock::time_point> lineLostAt_;
    bool linkMade_ = false;
};

bool Simulator::setUp()
{
    Config cfg;
    if (!opt_.stateFile.empty()) {
        std::string warnings;
        if (loadState(opt_.stateFile, cfg, warnings))
            std::fputs(warnings.c_str(), stderr);
    }
    if (opt_.speed)
        cfg.speedCode = static_cast<std::uint16_t>(speedCodeForBaud(*opt_.speed));
    if (opt_.stop)
        cfg.stopBits = static_cast<std::uint16_t>(*opt_.stop);
    if (opt_.slave)
        cfg.slave = static_cast<std::uint16_t>(*opt_.slave);
    slave_.setConfig(cfg);
    if (opt_.autoAckSeconds)
        slave_.setAutoAck(
            milliseconds(static_cast<std::int64_t>(*opt_.autoAckSeconds * 1000.0 + 0.5)));
    slave_.setLampTestDuration(
        milliseconds(static_cast<std::int64_t>(opt_.lampTestSeconds * 1000.0 + 0.5)));

    if (!trace_.open(opt_.trace, start_)) {
        std::fprintf(stderr, "k7310sim: cannot write the trace %s: %s\n", opt_.trace.c_str(),
                     std::strerror(errno));
        return false;
    }

    std::signal(SIGPIPE, SIG_IGN);
    // Started in the background of an interactive shell: reading the terminal then fails
    // instead of stopping the process, and the commands are switched off.
    std::signal(SIGTTIN, SIG_IGN);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGHUP);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signalFd_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signalFd_ < 0) {
        std::perror("k7310sim: signalfd");
        return false;
    }

    const LineSettings ls = slave_.lineSettings();
    std::string error;
    const bool ok = opt_.device.empty()
                        ? line_.openPty(ls.baud, ls.stopBits, error)
                        : line_.openDevice(opt_.device, ls.baud, ls.stopBits, error);
    if (!ok) {
        std::fprintf(stderr, "k7310sim: %s\n", error.c_str());
        return false;
    }
    if (line_.isPty() && !opt_.noLink)
        makeLink();
    std::printf("%s\n", line_.path().c_str());
    std::fflush(stdout);
    std::fprintf(stderr, "k7310sim: panel on %s%s%s, %s\n", line_.path().c_str(),
                 linkMade_ ? " (link " : "", linkMade_ ? (opt_.link + ")").c_str() : "",
                 status().c_str());
    trace_.note("start " + status());
    return true;
}

void Simulator::makeLink()
{
    const std::string tmp = opt_.link + ".tmp" + std::to_string(getpid());
    ::unlink(tmp.c_str());
    if (::symlink(line_.path().c_str(), tmp.c_str()) != 0 ||
        std::rename(tmp.c_str(), opt_.link.c_str()) != 0) {
        std::fprintf(stderr, "k7310sim: cannot make the link %s: %s\n", opt_.link.c_str(),
                     std::strerror(errno));
        ::unlink(tmp.c_str());
        return;
    }
    linkMade_ = true;
}

void Simulator::removeLink()
{
    if (!linkMade_)
        return;
    char target[512];
    const ssize_t n = ::readlink(opt_.link.c_str(), target, sizeof target - 1);
    // Another simulator may have taken the link over since; leave it alone then.
    if (n > 0 && std::string(target, static_cast<std::size_t>(n)) == line_.path())
        ::unlink(opt_.link.c_str());
}

std::string Simulator::status() const
{
    const LineSettings ls = slave_.lineSettings();
    const Config& c = slave_.config();
    std::ostringstream s;
    s << "firmware " << firmwareMajor(slave_.firmware()) << '.' << firmwareMinor(slave_.firmware())
      << " line " << ls.baud << '/' << ls.stopBits << " slave " << ls.slave << " bus-mode "
      << c.busMode << " words 65=" << c.synchro << " 67=" << c.ackAuthorised
      << " 69=" << c.busControlKL << " 70=" << c.ledTestKL << " fault " << faultName(opt_.every)
      << " next " << faultName(opt_.next) << " line-timing " << (opt_.lineTiming ? "on" : "off");
    return s.str();
}

Clock::duration Simulator::gap() const
{
    if (opt_.gapMs)
        return duration_cast<Clock::duration>(duration<double, std::milli>(*opt_.gapMs));
    const LineSettings ls = slave_.lineSettings();
    const auto t = 3.5 * charTime(ls.baud, ls.stopBits);
    return duration_cast<Clock::duration>(std::max<duration<double>>(t, microseconds(1750)));
}

bool Simulator::waitUntil(Clock::time_point deadline)
{
    for (;;) {
        const auto now = Clock::now();
        if (now >= deadline)
            return true;
        const auto ns = duration_cast<nanoseconds>(deadline - now).count();
        timespec ts{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
        pollfd p{signalFd_, POLLIN, 0};
        const int r = ppoll(&p, 1, &ts, nullptr);
        if (r > 0)
            return false;
    }
}

bool Simulator::writeAll(const std::uint8_t* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(line_.fd(), data, size);
        if (n > 0) {
            data += n;
            size -= static_cast<std::size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd p{line_.fd(), POLLOUT, 0};
            if (::poll(&p, 1, 1000) <= 0)
                return false; // nobody reads the line: drop the rest
        } else {
            return false;
        }
    }
    return true;
}

void Simulator::tickNotes(Clock::time_point now)
{
    for (const std::string& note : slave_.tick(now))
        trace_.note(note);
}

void Simulator::onBytes(Clock::time_point now)
{
    // A complete request is handled as soon as its last byte is in; anything else waits
    // for the silent gap (see run()).
    const std::size_t expected = expectedRequestSize(rx_);
    if (expected != 0 && rx_.size() == expected &&
        (expected == probeRequest.size() || crcValid(rx_)))
        onFrame(now);
}

void Simulator::onFrame(Clock::time_point now)
{
    const Bytes frame = std::move(rx_);
    rx_.clear();
    const SeenSettings seen = line_.seen();
    const LineSettings ls = slave_.lineSettings();
    if (seen.baud != ls.baud || seen.stopBits != ls.stopBits) {
        trace_.frame("IGNORED", seen.baud, seen.stopBits, frame);
        return;
    }
    const Reply reply = slave_.handle(frame, now);
    if (reply.kind == Reply::Kind::Dropped) {
        trace_.frame("DROPPED", seen.baud, seen.stopBits, frame, reply.reason);
    } else {
        trace_.frame("RX", seen.baud, seen.stopBits, frame, reply.reason);
        // With line timing, the request is taken to have ended when its last byte would
        // have arrived on the wire.
        Clock::time_point requestEnd = now;
        if (opt_.lineTiming)
            requestEnd =
                firstRx_ + duration_cast<Clock::duration>(static_cast<double>(frame.size()) *
                                                          charTime(ls.baud, ls.stopBits));
        send(reply, requestEnd);
    }
    if (reply.configChanged || slave_.storedLineSettings() != slave_.lineSettings())
        saveState();
    if (slave_.applyLineSettings()) {
        const LineSettings now2 = slave_.lineSettings();
        line_.configure(now2.baud, now2.stopBits);
        trace_.note("line now " + std::to_string(now2.baud) + "/" + std::to_string(now2.stopBits) +
                    " slave " + std::to_string(now2.slave));
    }
}

void Simulator::send(const Reply& reply, Clock::time_point requestEnd)
{
    Fault fault = opt_.every;
    if (opt_.next.kind != Fault::Kind::Off) {
        fault = opt_.next;
        opt_.next = Fault{};
    }
    const FaultedAnswer out =
        applyFault(fault, reply.answer, reply.kind == Reply::Kind::Answer, random_);
    const LineSettings ls = slave_.lineSettings();
    const std::string reason = fault.kind == Fault::Kind::Off ? "" : "fault " + faultName(fault);
    if (out.bytes.empty()) {
        trace_.note("answer withheld (" + reason + ")");
        return;
    }
    const auto start =
        requestEnd +
        duration_cast<Clock::duration>(duration<double, std::milli>(opt_.turnaroundMs)) +
        milliseconds(out.delayMs);
    if (!waitUntil(start))
        return;
    if (opt_.lineTiming) {
        // Each byte reaches the master when its last bit has been on the wire.
        const auto ct = charTime(ls.baud, ls.stopBits);
        for (std::size_t i = 0; i < out.bytes.size(); ++i) {
            if (!waitUntil(start + duration_cast<Clock::duration>(static_cast<double>(i + 1) * ct)))
                return;
            if (!writeAll(&out.bytes[i], 1))
                break;
        }
    } else {
        writeAll(out.bytes.data(), out.bytes.size());
    }
    line_.drain();
    trace_.frame("TX", ls.baud, ls.stopBits, out.bytes, reason);
}

void Simulator::saveState()
{
    if (opt_.stateFile.empty())
        return;
    if (!k7310sim::saveState(opt_.stateFile, slave_.config()))
        std::fprintf(stderr, "k7310sim: cannot write %s: %s\n", opt_.stateFile.c_str(),
                     std::strerror(errno));
}

void Simulator::onCommand(const std::string& text)
{
    std::istringstream in(text);
    std::string command;
    std::string arg;
    in >> command >> arg;
    if (command.empty())
        return;
    if (command == "ack") {
        slave_.acknowledge();
        trace_.note("acknowledged (stdin)");
        std::printf("ack 1\n");
    } else if (command == "show" || command == "panel") {
        std::printf("%s\n", slave_.picture().c_str());
    } else if (command == "status") {
        std::printf("%s\n", status().c_str());
    } else if (command == "fault" || command == "fault-next") {
        const auto f = parseFault(arg);
        if (!f) {
            std::printf("? unknown fault '%s'\n", arg.c_str());
        } else {
            if (command == "fault") {
                opt_.every = *f;
                if (f->kind == Fault::Kind::Off)
                    opt_.next = *f;
            } else {
                opt_.next = *f;
            }
            trace_.note(command + " " + faultName(*f));
            std::printf("fault %s next %s\n", faultName(opt_.every).c_str(),
                        faultName(opt_.next).c_str());
        }
    } else if (command == "quit" || command == "exit") {
        quit_ = true;
    } else if (command == "help") {
        std::printf("commands: ack, show, status, fault KIND, fault-next KIND, quit, help\n"
                    "fault kinds: none bad-crc extra-byte short wrong-slave wrong-function "
                    "late[:MS] noise[:N] off\n");
    } else {
        std::printf("? unknown command '%s' (try help)\n", command.c_str());
    }
    std::fflush(stdout);
}

int Simulator::run()
{
    if (!setUp())
        return 2;
    constexpr auto reopenEvery = milliseconds(500);
    const auto giveUpAfter =
        duration_cast<Clock::duration>(duration<double>(opt_.reopenWaitSeconds));
    int status = 0;
    while (!quit_) {
        auto now = Clock::now();
        std::optional<Clock::time_point> deadline = slave_.nextDeadline();
        const auto sooner = [&](Clock::time_point t) {
            if (!deadline || t < *deadline)
                deadline = t;
        };
        if (!rx_.empty())
            sooner(lastRx_ + gap());
        if (lineLostAt_)
            sooner(now + reopenEvery);

        pollfd fds[3];
        nfds_t count = 0;
        fds[count++] = {signalFd_, POLLIN, 0};
        const int lineIndex = lineLostAt_ ? -1 : static_cast<int>(count);
        if (!lineLostAt_)
            fds[count++] = {line_.fd(), POLLIN, 0};
        const int stdinIndex = stdinOpen_ ? static_cast<int>(count) : -1;
        if (stdinOpen_)
            fds[count++] = {STDIN_FILENO, POLLIN, 0};

        timespec ts{};
        timespec* timeout = nullptr;
        if (deadline) {
            const auto ns =
                std::max<std::int64_t>(0, duration_cast<nanoseconds>(*deadline - now).count());
            ts = {static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
            timeout = &ts;
        }
        const int r = ppoll(fds, count, timeout, nullptr);
        if (r < 0 && errno != EINTR) {
            std::perror("k7310sim: poll");
            return 2;
        }
        now = Clock::now();
        tickNotes(now);

        if (fds[0].revents & POLLIN) {
            signalfd_siginfo info{};
            if (::read(signalFd_, &info, sizeof info) > 0)
                trace_.note("signal " + std::to_string(info.ssi_signo) + ", exiting");
            break;
        }
        if (stdinIndex >= 0 && fds[stdinIndex].revents) {
            char buf[512];
            const ssize_t n = ::read(STDIN_FILENO, buf, sizeof buf);
            if (n <= 0) {
                stdinOpen_ = false; // no more commands; keep serving the line
            } else {
                stdinBuffer_.append(buf, static_cast<std::size_t>(n));
                std::size_t eol;
                while ((eol = stdinBuffer_.find('\n')) != std::string::npos) {
                    const std::string lineText = stdinBuffer_.substr(0, eol);
                    stdinBuffer_.erase(0, eol + 1);
                    onCommand(lineText);
                }
            }
        }
        if (lineIndex >= 0 && fds[lineIndex].revents) {
            std::uint8_t buf[512];
            bool lost = false;
            for (;;) {
                const ssize_t n = ::read(line_.fd(), buf, sizeof buf);
                if (n > 0) {
                    if (rx_.empty())
                        firstRx_ = now;
                    lastRx_ = now;
                    rx_.insert(rx_.end(), buf, buf + n);
                    if (rx_.size() > 4096)
                        rx_.erase(rx_.begin(), rx_.end() - 512); // endless noise: keep a tail
                    onBytes(now);
                    continue;
                }
                if (n < 0 && (errno == EAGAIN || errno == EINTR))
                    break;
                lost = true; // end of file, EIO or ENXIO: the device is gone
                break;
            }
            if (!lost && (fds[lineIndex].revents & (POLLHUP | POLLERR | POLLNVAL)))
                lost = true;
            if (lost) {
                if (line_.isPty()) {
                    // We hold the slave side open, so this should not happen; never spin.
                    trace_.note("pty reported a hang-up");
                    waitUntil(Clock::now() + milliseconds(100));
                } else {
                    trace_.note("device lost: " + line_.path());
                    std::fprintf(stderr, "k7310sim: %s went away\n", line_.path().c_str());
                    line_.close();
                    rx_.clear();
                    lineLostAt_ = now;
                }
            }
        }
        if (lineLostAt_ && !quit_) {
            const LineSettings ls = slave_.lineSettings();
            std::string error;
            if (line_.openDevice(opt_.device, ls.baud, ls.stopBits, error)) {
                trace_.note("device back: " + line_.path());
                lineLostAt_.reset();
            } else if (now - *lineLostAt_ > giveUpAfter) {
                std::fprintf(stderr, "k7310sim: %s\n", error.c_str());
                status = 3;
                break;
            }
        }
        if (!rx_.empty() && now - lastRx_ >= gap())
            onFrame(now);
    }
    removeLink();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    Simulator sim(parseOptions(argc, argv));
    return sim.run();
}
