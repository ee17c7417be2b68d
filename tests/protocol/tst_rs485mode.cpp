// The kernel's RS-485 direction control: refused on a pty, where the RTS cycle serves and the
// refusal is told; with the ioctl seam playing a driver, the mode asked for and put back.
#include "comctrl.h"
#include "commfunctions.h"
#include "linemodetext.h"
#include "ptypeer.h"

#include <cerrno>

using Direction = Rs485Mode::Direction;
using Step = ComCtrl::LineStep;

namespace {

// A driver behind the seam: its mode, the modes it was given, and how it takes them.
struct FakeDriver
{
    enum Kind { Accepts, DropsTheMode, Refuses };
    explicit FakeDriver(Kind kind)
        : previous(Rs485Mode::SetCalls(
              {[this](int, serial_rs485* m) { return answer([&] { *m = mode; }); },
               [this](int, const serial_rs485* m) {
                   given << *m;
                   return answer([&] {
                       mode = *m;
                       if (behaviour == DropsTheMode)
                           mode.flags &= ~static_cast<__u32>(SER_RS485_ENABLED);
                   });
               }}))
        , behaviour(kind)
    {
        mode.flags = SER_RS485_TERMINATE_BUS; // a flag of the driver's own, to be kept
    }
    ~FakeDriver() { Rs485Mode::SetCalls(previous); }
    int answer(const std::function<void()>& act)
    {
        if (behaviour == Refuses) {
            errno = ENOTTY;
            return -1;
        }
        act();
        return 0;
    }
    Rs485Mode::Calls previous;
    Kind behaviour;
    serial_rs485 mode = {};
    QList<serial_rs485> given;
};

} // namespace

class TestRs485Mode : public QObject
{
    Q_OBJECT

private slots:
    // A pty refuses the ioctl: the console's own RTS cycle serves, and says why.
    void ptyFallsBackToRts()
    {
        CommFunctions::SetRtsHandshake(true);
        CommFunctions::SetRtsDelay(3);
        ScriptedLine rig(Replying(Frame("010302000A")));
        QList<Step> steps;
        rig.line.setStepHook([&steps](Step step) { steps << step; });
        QList<std::int16_t> word(1);
        QVERIFY(CommFunctions::LitMots(rig.line, 1, 0, word));
        QCOMPARE(rig.line.direction(), Direction::Rts);
        QVERIFY(steps.contains(Step::RtsOn) && steps.contains(Step::RtsOff));
        QCOMPARE(rig.line.directionNote(),
                 "kernel RS-485 mode refused: " + QString::fromLocal8Bit(std::strerror(ENOTTY)));
        QCOMPARE(rig.line.kernelModeOffered().error, ENOTTY);
        // The status bar's tip and the export: the mode in force, the refusal, the echo found.
        const auto ids = [](int id) {
            return QString::number(id);
        };
        QCOMPARE(LineModeText::Summary(rig.line, ids),
                 "238903: 238901 (" + rig.line.directionNote() + "); 238904: 238906, 238910");
        CommFunctions::SetRtsHandshake(false);
        QCOMPARE(rig.line.direction(), Direction::Rts); // until the next request passes it on
        QVERIFY(CommFunctions::LitMots(rig.line, 1, 0, word));
        QCOMPARE(rig.line.direction(), Direction::Adapter);
        QVERIFY(rig.line.directionNote().isEmpty());
    }

    void driver_data()
    {
        columns<FakeDriver::Kind, Direction, bool>("driver", "direction", "noted");
        row("accepts and reads the mode back: kernel", FakeDriver::Accepts, Direction::Kernel,
            false);
        row("accepts but reads it back off: RTS", FakeDriver::DropsTheMode, Direction::Rts, true);
        row("refuses: RTS", FakeDriver::Refuses, Direction::Rts, true);
    }
    void driver()
    {
        const auto [kind, direction, noted] =
            fetch<FakeDriver::Kind, Direction, bool>("driver", "direction", "noted");
        FakeDriver driver(kind);
        ScriptedLine rig(Replying(Frame("010302000A")));
        QList<Step> steps;
        rig.line.setStepHook([&steps](Step step) { steps << step; });
        rig.line.setHalfDuplex(true, 7);
        QCOMPARE(rig.line.direction(), direction);
        QCOMPARE(rig.line.kernelModeOffered().offered, kind == FakeDriver::Accepts);
        QCOMPARE(!rig.line.directionNote().isEmpty(), noted);
        QList<std::int16_t> word(1);
        CommFunctions::SetRtsHandshake(true);
        CommFunctions::SetRtsDelay(12); // passed on by the request
        QVERIFY(CommFunctions::LitMots(rig.line, 1, 0, word));
        // The driver switches in kernel mode: the console leaves RTS alone.
        QCOMPARE(steps.contains(Step::RtsOn), direction == Direction::Rts);
        rig.line.close();
        CommFunctions::SetRtsHandshake(false);
        if (kind == FakeDriver::Refuses) {
            QVERIFY(driver.given.isEmpty());
            return;
        }

        // Asked: on, RTS high while sending and low after, no delay before, the RTS delay
        // after; the driver's own flag kept. Then, at close or on refusal, the mode found.
        const serial_rs485& asked = driver.given.first();
        QCOMPARE(asked.flags,
                 __u32(SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND | SER_RS485_TERMINATE_BUS));
        QCOMPARE(asked.delay_rts_before_send, 0u);
        QCOMPARE(asked.delay_rts_after_send, 7u);
        if (direction == Direction::Kernel)
            QCOMPARE(driver.given.at(1).delay_rts_after_send, 12u);
        QCOMPARE(driver.given.last().flags, __u32(SER_RS485_TERMINATE_BUS));
        QCOMPARE(driver.mode.flags, __u32(SER_RS485_TERMINATE_BUS));
    }

    void probeLeavesTheDriverAsFound()
    {
        FakeDriver driver(FakeDriver::Accepts);
        QVERIFY(Rs485Mode::KernelModeOffered(0).offered);
        QCOMPARE(driver.given.size(), 2);
        QCOMPARE(driver.mode.flags, __u32(SER_RS485_TERMINATE_BUS));
    }
};

QTEST_GUILESS_MAIN(TestRs485Mode)
#include "tst_rs485mode.moc"
