#include "simulator.h"

#include "statefile.h"

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

namespace k7310sim {

using namespace std::chrono;

namespace {
// Time one character takes on the wire: start bit, 8 data bits, no parity, stop bits.
duration<double> charTime(int baud, int stopBits)
{
    return duration<double>((1.0 + 8.0 + stopBits) / (baud > 0 ? baud : 9600));
}
} // namespace

bool Simulator::setUp()
{
    Config cfg;
    if (!m_opt.stateFile.empty()) {
        std::string warnings;
        if (loadState(m_opt.stateFile, cfg, warnings))
            std::fputs(warnings.c_str(), stderr);
    }
    if (m_opt.speed)
        cfg.speedCode = static_cast<std::uint16_t>(speedCodeForBaud(*m_opt.speed));
    if (m_opt.stop)
        cfg.stopBits = static_cast<std::uint16_t>(*m_opt.stop);
    if (m_opt.slave)
        cfg.slave = static_cast<std::uint16_t>(*m_opt.slave);
    m_slave.setConfig(cfg);
    if (m_opt.autoAckSeconds)
        m_slave.setAutoAck(
            milliseconds(static_cast<std::int64_t>(*m_opt.autoAckSeconds * 1000.0 + 0.5)));
    m_slave.setLampTestDuration(
        milliseconds(static_cast<std::int64_t>(m_opt.lampTestSeconds * 1000.0 + 0.5)));

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

    const LineSettings ls = m_slave.lineSettings();
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
    std::fprintf(stderr, "k7310sim: panel on %s%s%s, %s\n", m_line.path().c_str(),
                 m_linkMade ? " (link " : "", m_linkMade ? (m_opt.link + ")").c_str() : "",
                 status().c_str());
    m_trace.note("start " + status());
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

std::string Simulator::status() const
{
    const LineSettings ls = m_slave.lineSettings();
    const Config& c = m_slave.config();
    std::ostringstream s;
    s << "firmware " << firmwareMajor(m_slave.firmware()) << '.'
      << firmwareMinor(m_slave.firmware()) << " line " << ls.baud << '/' << ls.stopBits << " slave "
      << ls.slave << " bus-mode " << c.busMode << " words 65=" << c.synchro
      << " 67=" << c.ackAuthorised << " 69=" << c.busControlKL << " 70=" << c.ledTestKL << " fault "
      << faultName(m_opt.every) << " next " << faultName(m_opt.next) << " line-timing "
      << (m_opt.lineTiming ? "on" : "off");
    return s.str();
}

Clock::duration Simulator::gap() const
{
    if (m_opt.gapMs)
        return duration_cast<Clock::duration>(duration<double, std::milli>(*m_opt.gapMs));
    const LineSettings ls = m_slave.lineSettings();
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
    for (const std::string& note : m_slave.tick(now))
        m_trace.note(note);
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
    const LineSettings ls = m_slave.lineSettings();
    if (seen.baud != ls.baud || seen.stopBits != ls.stopBits) {
        m_trace.frame("IGNORED", seen.baud, seen.stopBits, frame);
        return;
    }
    const Reply reply = m_slave.handle(frame, now);
    if (reply.kind == Reply::Kind::Dropped) {
        m_trace.frame("DROPPED", seen.baud, seen.stopBits, frame, reply.reason);
    } else {
        m_trace.frame("RX", seen.baud, seen.stopBits, frame, reply.reason);
        // With line timing, the request is taken to have ended when its last byte would
        // have arrived on the wire.
        Clock::time_point requestEnd = now;
        if (m_opt.lineTiming)
            requestEnd =
                m_firstRx + duration_cast<Clock::duration>(static_cast<double>(frame.size()) *
                                                           charTime(ls.baud, ls.stopBits));
        send(reply, requestEnd, requestsFaultWord(frame));
    }
    if (reply.configChanged || m_slave.storedLineSettings() != m_slave.lineSettings())
        saveState();
    if (m_slave.applyLineSettings()) {
        const LineSettings now2 = m_slave.lineSettings();
        m_line.configure(now2.baud, now2.stopBits);
        m_trace.note("line now " + std::to_string(now2.baud) + "/" + std::to_string(now2.stopBits) +
                     " slave " + std::to_string(now2.slave));
    }
}

bool Simulator::requestsFaultWord(const Bytes& frame) const
{
    // Reads (3) name their first word, writes (6, 16) the word written first.
    if (!m_opt.faultWord || frame.size() < 4 || (frame[1] != 3 && frame[1] != 6 && frame[1] != 16))
        return false;
    return ((unsigned{frame[2]} << 8) | frame[3]) == *m_opt.faultWord;
}

void Simulator::send(const Reply& reply, Clock::time_point requestEnd, bool onFaultWord)
{
    Fault fault = onFaultWord ? m_opt.faultOnWord : m_opt.every;
    if (m_opt.next.kind != Fault::Kind::Off) {
        fault = m_opt.next;
        m_opt.next = Fault{};
    }
    const FaultedAnswer out =
        applyFault(fault, reply.answer, reply.kind == Reply::Kind::Answer, m_random);
    const LineSettings ls = m_slave.lineSettings();
    const std::string reason = fault.kind == Fault::Kind::Off ? "" : "fault " + faultName(fault);
    if (out.bytes.empty()) {
        m_trace.note("answer withheld (" + reason + ")");
        return;
    }
    const auto start =
        requestEnd +
        duration_cast<Clock::duration>(duration<double, std::milli>(m_opt.turnaroundMs)) +
        milliseconds(out.delayMs);
    if (!waitUntil(start))
        return;
    if (m_opt.lineTiming) {
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
    m_line.drain();
    m_trace.frame("TX", ls.baud, ls.stopBits, out.bytes, reason);
}

void Simulator::saveState()
{
    if (m_opt.stateFile.empty())
        return;
    if (!k7310sim::saveState(m_opt.stateFile, m_slave.config()))
        std::fprintf(stderr, "k7310sim: cannot write %s: %s\n", m_opt.stateFile.c_str(),
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
        m_slave.acknowledge();
        m_trace.note("acknowledged (stdin)");
        std::printf("ack 1\n");
    } else if (command == "show" || command == "panel") {
        std::printf("%s\n", m_slave.picture().c_str());
    } else if (command == "status") {
        std::printf("%s\n", status().c_str());
    } else if (command == "fault" || command == "fault-next") {
        const auto f = parseFault(arg);
        if (!f) {
            std::printf("? unknown fault '%s'\n", arg.c_str());
        } else {
            if (command == "fault") {
                m_opt.every = *f;
                if (f->kind == Fault::Kind::Off)
                    m_opt.next = *f;
            } else {
                m_opt.next = *f;
            }
            m_trace.note(command + " " + faultName(*f));
            std::printf("fault %s next %s\n", faultName(m_opt.every).c_str(),
                        faultName(m_opt.next).c_str());
        }
    } else if (command == "quit" || command == "exit") {
        m_quit = true;
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
        duration_cast<Clock::duration>(duration<double>(m_opt.reopenWaitSeconds));
    int status = 0;
    while (!m_quit) {
        auto now = Clock::now();
        std::optional<Clock::time_point> deadline = m_slave.nextDeadline();
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
                    m_rx.insert(m_rx.end(), buf, buf + n);
                    if (m_rx.size() > 4096)
                        m_rx.erase(m_rx.begin(), m_rx.end() - 512); // endless noise: keep a tail
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
            const LineSettings ls = m_slave.lineSettings();
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
