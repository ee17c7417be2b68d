#include "simulator.h"

#include "bus.h"
#include "faults.h"
#include "line.h"
#include "panelslave.h"
#include "statefile.h"
#include "trace.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
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

namespace k7310sim {

using namespace std::chrono;

namespace {
// Time one character takes on the wire: start bit, 8 data bits, no parity, stop bits.
duration<double> charTime(int baud, int stopBits)
{
    return duration<double>((1.0 + 8.0 + stopBits) / (baud > 0 ? baud : 9600));
}
} // namespace

Simulator::Simulator(Options options)
    : m_opt(std::move(options))
{
    m_panels.reserve(m_opt.panels.size());
    for (std::size_t i = 0; i < m_opt.panels.size(); ++i) {
        const int position = static_cast<int>(i) + 1;
        // The first panel draws its noise from the seed itself, as a lone panel always has.
        std::seed_seq seq{m_opt.seed, static_cast<unsigned>(position)};
        m_panels.push_back(Panel{position, m_opt.panels[i], PanelSlave(m_opt.panels[i].firmware),
                                 position == 1 ? std::mt19937(m_opt.seed) : std::mt19937(seq)});
        m_echo = m_echo || m_opt.panels[i].echo;
    }
}

void Simulator::powerUp(Panel& panel)
{
    panel.slave = PanelSlave(panel.setup.firmware);
    if (panel.setup.autoAckSeconds)
        panel.slave.setAutoAck(
            milliseconds(static_cast<std::int64_t>(*panel.setup.autoAckSeconds * 1000.0 + 0.5)));
    panel.slave.setLampTestDuration(
        milliseconds(static_cast<std::int64_t>(panel.setup.lampTestSeconds * 1000.0 + 0.5)));
}

bool Simulator::setUp()
{
    for (Panel& panel : m_panels) {
        const PanelSetup& setup = panel.setup;
        Config cfg;
        if (!setup.stateFile.empty()) {
            std::string warnings;
            if (loadState(setup.stateFile, cfg, warnings))
                std::fputs(warnings.c_str(), stderr);
        }
        if (setup.speed)
            cfg.speedCode = static_cast<std::uint16_t>(speedCodeForBaud(*setup.speed));
        if (setup.stop)
            cfg.stopBits = static_cast<std::uint16_t>(*setup.stop);
        if (setup.slave)
            cfg.slave = static_cast<std::uint16_t>(*setup.slave);
        powerUp(panel);
        panel.slave.setConfig(cfg);
    }

    if (!m_trace.open(m_opt.trace, m_start)) {
        std::fprintf(stderr, "k7310sim: cannot write the trace %s: %s\n", m_opt.trace.c_str(),
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
    m_signalFd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_signalFd < 0) {
        std::perror("k7310sim: signalfd");
        return false;
    }

    // A device runs at one setting: the first panel's.
    const LineSettings ls = m_panels.front().slave.lineSettings();
    std::string error;
    const bool ok = m_opt.device.empty()
                        ? m_line.openPty(ls.baud, ls.stopBits, error)
                        : m_line.openDevice(m_opt.device, ls.baud, ls.stopBits, error);
    if (!ok) {
        std::fprintf(stderr, "k7310sim: %s\n", error.c_str());
        return false;
    }
    if (m_line.isPty() && !m_opt.noLink)
        makeLink();
    std::printf("%s\n", m_line.path().c_str());
    std::fflush(stdout);
    const std::string link = m_linkMade ? " (link " + m_opt.link + ")" : "";
    if (!m_opt.line) {
        std::fprintf(stderr, "k7310sim: panel on %s%s, %s\n", m_line.path().c_str(), link.c_str(),
                     status(m_panels.front()).c_str());
        m_trace.note("start " + status(m_panels.front()));
        return true;
    }
    std::fprintf(stderr, "k7310sim: line of %zu panels on %s%s\n", m_panels.size(),
                 m_line.path().c_str(), link.c_str());
    for (const Panel& panel : m_panels) {
        std::fprintf(stderr, "k7310sim: %s%s\n", prefix(panel).c_str(), status(panel).c_str());
        m_trace.note("start " + prefix(panel) + status(panel));
    }
    return true;
}

void Simulator::makeLink()
{
    const std::string tmp = m_opt.link + ".tmp" + std::to_string(getpid());
    ::unlink(tmp.c_str());
    if (::symlink(m_line.path().c_str(), tmp.c_str()) != 0 ||
        std::rename(tmp.c_str(), m_opt.link.c_str()) != 0) {
        std::fprintf(stderr, "k7310sim: cannot make the link %s: %s\n", m_opt.link.c_str(),
                     std::strerror(errno));
        ::unlink(tmp.c_str());
        return;
    }
    m_linkMade = true;
}

void Simulator::removeLink()
{
    if (!m_linkMade)
        return;
    char target[512];
    const ssize_t n = ::readlink(m_opt.link.c_str(), target, sizeof target - 1);
    // Another simulator may have taken the link over since; leave it alone then.
    if (n > 0 && std::string(target, static_cast<std::size_t>(n)) == m_line.path())
        ::unlink(m_opt.link.c_str());
}

std::string Simulator::status(const Panel& panel) const
{
    const PanelSlave& slave = panel.slave;
    const PanelSetup& setup = panel.setup;
    const LineSettings ls = slave.lineSettings();
    const Config& c = slave.config();
    std::ostringstream s;
    s << "firmware " << firmwareMajor(slave.firmware()) << '.' << firmwareMinor(slave.firmware())
      << " line " << ls.baud << '/' << ls.stopBits << " slave " << ls.slave << " bus-mode "
      << c.busMode << " words 65=" << c.synchro << " 67=" << c.ackAuthorised
      << " 69=" << c.busControlKL << " 70=" << c.ledTestKL << " fault " << faultName(setup.every)
      << " next " << faultName(setup.next) << " line-timing " << (setup.lineTiming ? "on" : "off");
    if (!panel.plugged)
        s << " unplugged";
    return s.str();
}

// On a line of panels every answer, note and trace reason names its panel; a lone panel
// speaks as it always has.
std::string Simulator::prefix(const Panel& panel) const
{
    if (!m_opt.line)
        return {};
    return "panel " + std::to_string(panel.position) + " slave " +
           std::to_string(panel.slave.lineSettings().slave) + ": ";
}

std::string Simulator::tag(const Panel& panel, const std::string& reason) const
{
    if (!m_opt.line)
        return reason;
    const std::string p = prefix(panel);
    return reason.empty() ? p.substr(0, p.size() - 2) : p + reason;
}

Clock::duration Simulator::gap() const
{
    if (m_opt.gapMs)
        return duration_cast<Clock::duration>(duration<double, std::milli>(*m_opt.gapMs));
    // A lone panel times the gap at its own settings; a line, at the master's.
    int baud = 0;
    int stopBits = 1;
    if (m_opt.line) {
        const SeenSettings seen = m_line.seen();
        baud = seen.baud;
        stopBits = seen.stopBits;
    } else {
        const LineSettings ls = m_panels.front().slave.lineSettings();
        baud = ls.baud;
        stopBits = ls.stopBits;
    }
    const auto t = 3.5 * charTime(baud, stopBits);
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
        pollfd p{m_signalFd, POLLIN, 0};
        const int r = ppoll(&p, 1, &ts, nullptr);
        if (r > 0)
            return false;
    }
}

bool Simulator::writeAll(const std::uint8_t* data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(m_line.fd(), data, size);
        if (n > 0) {
            data += n;
            size -= static_cast<std::size_t>(n);
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd p{m_line.fd(), POLLOUT, 0};
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
    for (Panel& panel : m_panels)
        if (panel.plugged)
            for (const std::string& note : panel.slave.tick(now))
                m_trace.note(prefix(panel) + note);
}

std::optional<Clock::time_point> Simulator::nextDeadline() const
{
    std::optional<Clock::time_point> next;
    for (const Panel& panel : m_panels)
        if (const auto t = panel.slave.nextDeadline(); panel.plugged && t && (!next || *t < *next))
            next = t;
    return next;
}

void Simulator::onBytes(Clock::time_point now)
{
    // A complete request is handled as soon as its last byte is in; anything else waits
    // for the silent gap (see run()).
    const std::size_t expected = expectedRequestSize(m_rx);
    if (expected != 0 && m_rx.size() == expected &&
        (expected == probeRequest.size() || crcValid(m_rx)))
        onFrame(now);
}

void Simulator::onFrame(Clock::time_point now)
{
    const Bytes frame = std::move(m_rx);
    m_rx.clear();
    const SeenSettings seen = m_line.seen();
    std::vector<Outgoing> out;
    std::vector<std::pair<Panel*, bool>> heard; // with "its configuration changed"
    for (Panel& panel : m_panels) {
        if (!panel.plugged)
            continue;
        const LineSettings ls = panel.slave.lineSettings();
        if (seen.baud != ls.baud || seen.stopBits != ls.stopBits) {
            m_trace.frame("IGNORED", seen.baud, seen.stopBits, frame, tag(panel));
            continue;
        }
        const Reply reply = panel.slave.handle(frame, now);
        if (reply.kind == Reply::Kind::Dropped) {
            m_trace.frame("DROPPED", seen.baud, seen.stopBits, frame, tag(panel, reply.reason));
        } else {
            m_trace.frame("RX", seen.baud, seen.stopBits, frame, tag(panel, reply.reason));
            // With line timing, the request is taken to have ended when its last byte would
            // have arrived on the wire.
            Clock::time_point requestEnd = now;
            if (panel.setup.lineTiming)
                requestEnd =
                    m_firstRx + duration_cast<Clock::duration>(static_cast<double>(frame.size()) *
                                                               charTime(ls.baud, ls.stopBits));
            answer(panel, frame, reply, requestEnd, out);
        }
        heard.emplace_back(&panel, reply.configChanged);
    }
    transmit(out);
    // A new speed, stop bits or slave number takes effect once the answers have gone out.
    for (auto [panel, changed] : heard) {
        PanelSlave& slave = panel->slave;
        if (changed || slave.storedLineSettings() != slave.lineSettings())
            saveState(*panel);
        if (slave.applyLineSettings()) {
            const LineSettings now2 = slave.lineSettings();
            if (m_panels.size() == 1)
                m_line.configure(now2.baud, now2.stopBits);
            m_trace.note(prefix(*panel) + "line now " + std::to_string(now2.baud) + "/" +
                         std::to_string(now2.stopBits) + " slave " + std::to_string(now2.slave));
        }
    }
}

bool Simulator::requestsFaultWord(const Panel& panel, const Bytes& frame) const
{
    // Reads (3) name their first word, writes (6, 16) the word written first.
    const PanelSetup& setup = panel.setup;
    if (!setup.faultWord || frame.size() < 4 || (frame[1] != 3 && frame[1] != 6 && frame[1] != 16))
        return false;
    return ((unsigned{frame[2]} << 8) | frame[3]) == *setup.faultWord;
}

void Simulator::answer(Panel& panel, const Bytes& frame, const Reply& reply,
                       Clock::time_point requestEnd, std::vector<Outgoing>& out)
{
    PanelSetup& setup = panel.setup;
    Fault fault = requestsFaultWord(panel, frame) ? setup.faultOnWord : setup.every;
    if (setup.next.kind != Fault::Kind::Off) {
        fault = setup.next;
        setup.next = Fault{};
    }
    const FaultedAnswer faulted =
        applyFault(fault, reply.answer, reply.kind == Reply::Kind::Answer, panel.random);
    const std::string reason = fault.kind == Fault::Kind::Off ? "" : "fault " + faultName(fault);
    if (faulted.bytes.empty()) {
        m_trace.note(prefix(panel) + "answer withheld (" + reason + ")");
        return;
    }
    const auto start =
        requestEnd +
        duration_cast<Clock::duration>(duration<double, std::milli>(setup.turnaroundMs)) +
        milliseconds(faulted.delayMs);
    out.push_back(Outgoing{&panel, faulted.bytes, start, reason});
}

void Simulator::transmit(std::vector<Outgoing>& out)
{
    if (out.empty())
        return;
    if (out.size() > 1)
        sendEcho(); // ahead of a collision
    std::stable_sort(out.begin(), out.end(),
                     [](const Outgoing& a, const Outgoing& b) { return a.start < b.start; });
    // Answers that would meet on the wire form one collision: an answer that starts before
    // the previous ones have ended, allowing for the fraction of a character each start is
    // put back by.
    const LineSettings ls = out.front().panel->slave.lineSettings();
    const auto ct = duration_cast<Clock::duration>(charTime(ls.baud, ls.stopBits));
    std::size_t first = 0;
    while (first < out.size()) {
        auto end = out[first].start + static_cast<int>(out[first].bytes.size() + 1) * ct;
        std::size_t last = first + 1;
        for (; last < out.size() && out[last].start < end; ++last)
            end =
                std::max(end, out[last].start + static_cast<int>(out[last].bytes.size() + 1) * ct);
        std::vector<Outgoing> group(std::make_move_iterator(out.begin() + first),
                                    std::make_move_iterator(out.begin() + last));
        if (!(group.size() == 1 ? sendAlone(group.front()) : sendCollision(group)))
            return; // a signal: exit
        first = last;
    }
}

void Simulator::sendEcho()
{
    if (!m_echoBytes.empty())
        writeAll(m_echoBytes.data(), m_echoBytes.size());
    m_echoBytes.clear();
}

bool Simulator::sendAlone(const Outgoing& out)
{
    // An answer due at once goes out in one write with the echo before it, as a USB adapter
    // hands both over in one transfer; one that waits leaves the echo to go first.
    if (!m_echoBytes.empty() && (out.start > Clock::now() || out.panel->setup.lineTiming))
        sendEcho();
    if (!waitUntil(out.start))
        return false;
    const LineSettings ls = out.panel->slave.lineSettings();
    if (out.panel->setup.lineTiming) {
        // Each byte reaches the master when its last bit has been on the wire.
        const auto ct = charTime(ls.baud, ls.stopBits);
        for (std::size_t i = 0; i < out.bytes.size(); ++i) {
            if (!waitUntil(out.start +
                           duration_cast<Clock::duration>(static_cast<double>(i + 1) * ct)))
                return false;
            if (!writeAll(&out.bytes[i], 1))
                break;
        }
    } else {
        m_echoBytes.insert(m_echoBytes.end(), out.bytes.begin(), out.bytes.end());
        sendEcho();
    }
    m_line.drain();
    m_trace.frame("TX", ls.baud, ls.stopBits, out.bytes, tag(*out.panel, out.reason));
    return true;
}

bool Simulator::sendCollision(std::vector<Outgoing>& group)
{
    // The answerers all run at the master's settings: that is how they heard the request.
    const LineSettings ls = group.front().panel->slave.lineSettings();
    const duration<double> bit(1.0 / ls.baud);
    const Clock::time_point origin = group.front().start;
    std::vector<long> base;
    std::vector<int> positions;
    for (const Outgoing& o : group) {
        base.push_back(std::lround(duration<double>(o.start - origin) / bit * samplesPerBit));
        positions.push_back(o.panel->position);
    }
    const std::vector<long> starts = collisionStarts(m_opt.seed, base, positions, ls.stopBits);
    std::vector<Transmission> sent;
    for (std::size_t i = 0; i < group.size(); ++i)
        sent.push_back(Transmission{group[i].bytes, starts[i]});
    const Received wire = receiveFromWire(sent, ls.stopBits);
    // What the master receives comes as the wire delivers it, byte by byte, whatever the
    // panels' line timing.
    for (std::size_t i = 0; i < wire.bytes.size(); ++i) {
        const auto at = origin + duration_cast<Clock::duration>(
                                     bit * (static_cast<double>(wire.end[i]) / samplesPerBit));
        if (!waitUntil(at))
            return false;
        if (!writeAll(&wire.bytes[i], 1))
            break;
    }
    m_line.drain();
    std::string who;
    for (std::size_t i = 0; i < group.size(); ++i) {
        char offset[48];
        std::snprintf(offset, sizeof offset, "collided, starts at +%.2f bits",
                      static_cast<double>(starts[i]) / samplesPerBit);
        const std::string& reason = group[i].reason;
        m_trace.frame("TX", ls.baud, ls.stopBits, group[i].bytes,
                      tag(*group[i].panel, reason.empty() ? offset : reason + ", " + offset));
        who += (who.empty() ? "panels " : ", ") + std::to_string(group[i].panel->position);
    }
    m_trace.frame("COLLISION", ls.baud, ls.stopBits, wire.bytes, who);
    return true;
}

void Simulator::saveState(const Panel& panel)
{
    const std::string& file = panel.setup.stateFile;
    if (file.empty())
        return;
    if (!k7310sim::saveState(file, panel.slave.config()))
        std::fprintf(stderr, "k7310sim: cannot write %s: %s\n", file.c_str(), std::strerror(errno));
}

std::vector<Simulator::Panel*> Simulator::select(const std::string& which)
{
    std::vector<Panel*> chosen;
    if (which.empty()) {
        for (Panel& panel : m_panels)
            chosen.push_back(&panel);
        return chosen;
    }
    // "#P" is the panel at position P; a number, every panel with that slave number.
    const bool byPosition = which[0] == '#';
    const std::string digits = byPosition ? which.substr(1) : which;
    int n = 0;
    const auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), n);
    if (ec != std::errc() || ptr != digits.data() + digits.size())
        return chosen;
    for (Panel& panel : m_panels)
        if (byPosition ? panel.position == n : panel.slave.lineSettings().slave == n)
            chosen.push_back(&panel);
    return chosen;
}

void Simulator::onCommand(const std::string& text)
{
    std::istringstream in(text);
    std::string command;
    std::string arg;
    std::string which;
    in >> command >> arg;
    if (command.empty())
        return;
    const bool takesKind = command == "fault" || command == "fault-next";
    if (takesKind)
        in >> which;
    else
        which = arg;
    const auto say = [&](const Panel& panel, const std::string& line) {
        std::printf("%s%s\n", prefix(panel).c_str(), line.c_str());
    };
    static const std::vector<std::string> perPanel{"ack",   "show",       "panel",  "status",
                                                   "fault", "fault-next", "unplug", "plug"};
    std::vector<Panel*> panels;
    if (std::find(perPanel.begin(), perPanel.end(), command) != perPanel.end()) {
        panels = select(which);
        if (panels.empty()) {
            std::printf("? no panel '%s' (a slave number, or #POSITION)\n", which.c_str());
            std::fflush(stdout);
            return;
        }
    }
    if (command == "ack") {
        for (Panel* panel : panels) {
            panel->slave.acknowledge();
            m_trace.note(prefix(*panel) + "acknowledged (stdin)");
            say(*panel, "ack 1");
        }
    } else if (command == "show" || command == "panel") {
        for (Panel* panel : panels)
            say(*panel, panel->slave.picture());
    } else if (command == "status") {
        for (Panel* panel : panels)
            say(*panel, status(*panel));
    } else if (takesKind) {
        const auto f = parseFault(arg);
        if (!f) {
            std::printf("? unknown fault '%s'\n", arg.c_str());
        } else {
            for (Panel* panel : panels) {
                PanelSetup& setup = panel->setup;
                if (command == "fault") {
                    setup.every = *f;
                    if (f->kind == Fault::Kind::Off)
                        setup.next = *f;
                } else {
                    setup.next = *f;
                }
                m_trace.note(prefix(*panel) + command + " " + faultName(*f));
                say(*panel, "fault " + faultName(setup.every) + " next " + faultName(setup.next));
            }
        }
    } else if (command == "unplug") {
        // Power gone: the panel hears nothing and drives nothing until it is plugged back.
        for (Panel* panel : panels) {
            if (panel->plugged)
                m_trace.note(prefix(*panel) + "unplugged");
            panel->plugged = false;
            say(*panel, "unplugged");
        }
    } else if (command == "plug") {
        // Power back: the panel starts afresh from its stored configuration, its LEDs, horn,
        // acknowledgement and lamp test cleared.
        for (Panel* panel : panels) {
            if (!panel->plugged) {
                const Config cfg = panel->slave.config();
                powerUp(*panel);
                panel->slave.setConfig(cfg);
                panel->plugged = true;
                m_trace.note(prefix(*panel) + "plugged, powered up");
            }
            say(*panel, "plugged");
        }
    } else if (command == "quit" || command == "exit") {
        m_quit = true;
    } else if (command == "help") {
        std::printf("commands: ack [N], show [N], status [N], fault KIND [N], fault-next KIND [N], "
                    "unplug [N], plug [N], quit, help\n"
                    "N: a slave number (every panel with it) or #POSITION on the line; without "
                    "it, every panel\n"
                    "fault kinds: none bad-crc extra-byte short wrong-slave wrong-function "
                    "late[:MS] noise[:N] exception[:CODE] off\n");
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
        duration_cast<Clock::duration>(duration<double>(m_opt.reopenWaitSeconds));
    int status = 0;
    while (!m_quit) {
        auto now = Clock::now();
        std::optional<Clock::time_point> deadline = nextDeadline();
        const auto sooner = [&](Clock::time_point t) {
            if (!deadline || t < *deadline)
                deadline = t;
        };
        if (!m_rx.empty())
            sooner(m_lastRx + gap());
        if (m_lineLostAt)
            sooner(now + reopenEvery);

        pollfd fds[3];
        nfds_t count = 0;
        fds[count++] = {m_signalFd, POLLIN, 0};
        const int lineIndex = m_lineLostAt ? -1 : static_cast<int>(count);
        if (!m_lineLostAt)
            fds[count++] = {m_line.fd(), POLLIN, 0};
        const int stdinIndex = m_stdinOpen ? static_cast<int>(count) : -1;
        if (m_stdinOpen)
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
            if (::read(m_signalFd, &info, sizeof info) > 0)
                m_trace.note("signal " + std::to_string(info.ssi_signo) + ", exiting");
            break;
        }
        if (stdinIndex >= 0 && fds[stdinIndex].revents) {
            char buf[512];
            const ssize_t n = ::read(STDIN_FILENO, buf, sizeof buf);
            if (n <= 0) {
                m_stdinOpen = false; // no more commands; keep serving the line
            } else {
                m_stdinBuffer.append(buf, static_cast<std::size_t>(n));
                std::size_t eol;
                while ((eol = m_stdinBuffer.find('\n')) != std::string::npos) {
                    const std::string lineText = m_stdinBuffer.substr(0, eol);
                    m_stdinBuffer.erase(0, eol + 1);
                    onCommand(lineText);
                }
            }
        }
        if (lineIndex >= 0 && fds[lineIndex].revents) {
            std::uint8_t buf[512];
            bool lost = false;
            for (;;) {
                const ssize_t n = ::read(m_line.fd(), buf, sizeof buf);
                if (n > 0) {
                    // A late answer may have blocked for a while: bytes that came meanwhile
                    // are timed from now, so the next answer keeps its turnaround.
                    now = Clock::now();
                    if (m_rx.empty())
                        m_firstRx = now;
                    m_lastRx = now;
                    if (m_echo) // the adapter's echo, ahead of anything sent
                        m_echoBytes.insert(m_echoBytes.end(), buf, buf + n);
                    m_rx.insert(m_rx.end(), buf, buf + n);
                    if (m_rx.size() > 4096)
                        m_rx.erase(m_rx.begin(), m_rx.end() - 512); // endless noise: keep a tail
                    onBytes(now);
                    continue;
                }
                sendEcho(); // what is left of it once the bytes stop
                if (n < 0 && (errno == EAGAIN || errno == EINTR))
                    break;
                lost = true; // end of file, EIO or ENXIO: the device is gone
                break;
            }
            if (!lost && (fds[lineIndex].revents & (POLLHUP | POLLERR | POLLNVAL)))
                lost = true;
            if (lost) {
                if (m_line.isPty()) {
                    // We hold the slave side open, so this should not happen; never spin.
                    m_trace.note("pty reported a hang-up");
                    waitUntil(Clock::now() + milliseconds(100));
                } else {
                    m_trace.note("device lost: " + m_line.path());
                    std::fprintf(stderr, "k7310sim: %s went away\n", m_line.path().c_str());
                    m_line.close();
                    m_rx.clear();
                    m_lineLostAt = now;
                }
            }
        }
        if (m_lineLostAt && !m_quit) {
            const LineSettings ls = m_panels.front().slave.lineSettings();
            std::string error;
            if (m_line.openDevice(m_opt.device, ls.baud, ls.stopBits, error)) {
                m_trace.note("device back: " + m_line.path());
                m_lineLostAt.reset();
            } else if (now - *m_lineLostAt > giveUpAfter) {
                std::fprintf(stderr, "k7310sim: %s\n", error.c_str());
                status = 3;
                break;
            }
        }
        if (!m_rx.empty() && now - m_lastRx >= gap())
            onFrame(now);
    }
    removeLink();
    return status;
}

} // namespace k7310sim
