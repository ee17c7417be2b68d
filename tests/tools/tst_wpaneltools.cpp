// The panel test window driven through its widgets against k7310sim over a pty: the frames the
// panel hears, the panel on screen, the frame log; inside the main frame for leaving it.
#include "../common/promptcapture.h"
#include "ledpanel.h"
#include "panelwidgets.h"
#include "shelltestkit.h"
#include "textids.h"
#include "wpaneltools.h"

#include <QElapsedTimer>
#include <QGroupBox>
#include <QLineEdit>
#include <QMdiArea>
#include <QPointer>
#include <QProxyStyle>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleFactory>
#include <QStyleOptionComboBox>
#include <QTreeWidget>

#include <memory>

namespace {

using Frames = QList<QByteArray>;

QByteArray hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

template<typename T = QWidget> T* control(const QWidget& window, const QString& name)
{
    return window.findChild<T*>(name);
}
void choose(wPanelTools& w, int sequence)
{
    control<QComboBox>(w, "cboToolsSequence")->setCurrentIndex(sequence);
}
void press(wPanelTools& w, int command)
{
    QTest::mouseClick(control<QPushButton>(w, QStringLiteral("cmdTools_%1").arg(command)),
                      Qt::LeftButton);
}
// Selects a state, then clicks LED n (or the horn for n = 24).
void clickLed(wPanelTools& w, int n, int state)
{
    control<QRadioButton>(w, QStringLiteral("optToolsLeds_%1").arg(state))->setChecked(true);
    QWidget* target = n < PanelCommands::LedCount ? w.panel()->lamp(n)
                                                  : static_cast<QWidget*>(w.panel()->hornImage());
    QTest::mouseClick(target, Qt::LeftButton, {}, target->rect().center());
}
// "<24 LED states> <horn>", e.g. "777770000000000000000000 0".
QString panelText(const wPanelTools& w)
{
    QString text;
    for (int n = 0; n < PanelCommands::LedCount; ++n)
        text += QString::number(w.panel()->state(n));
    return text + ' ' + QString::number(w.panel()->horn());
}
void setPanel(wPanelTools& w, const QString& text)
{
    PanelCommands::PanelImage image;
    for (int n = 0; n < PanelCommands::LedCount; ++n)
        image.leds[n] = text.at(n).digitValue();
    image.horn = text.section(' ', 1).toInt();
    w.panel()->setImage(image);
}
QTreeWidget* log(const wPanelTools& w)
{
    return control<QTreeWidget>(w, "lvwPanel");
}
QString lastOf(const QStringList& texts)
{
    return texts.isEmpty() ? QString() : texts.last();
}

// Contrast ratio of two colours (1 to 21), from their relative luminance.
double contrast(const QColor& a, const QColor& b)
{
    const auto luminance = [](const QColor& c) {
        const auto linear = [](double v) {
            return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
    };
    const double la = luminance(a);
    const double lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// Metrics wider than Fusion's, as desktop themes such as GTK's have them: more room around
// the text of buttons, lists, boxes and check marks.
class WideStyle : public QProxyStyle
{
public:
    WideStyle()
        : QProxyStyle(QStyleFactory::create("Fusion"))
    {}
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override
    {
        const QSize base = QProxyStyle::sizeFromContents(type, option, size, widget);
        const bool padded = type == CT_PushButton || type == CT_ComboBox || type == CT_LineEdit ||
                            type == CT_RadioButton || type == CT_CheckBox;
        return padded ? base + QSize(16, 8) : base;
    }
};

} // namespace

class TestPanelTools : public QObject
{
    Q_OBJECT

    enum Leaving { Closed, Quit, OtherWindow };

private slots:
    void initTestCase()
    {
        wSplash::SetCloseInterval(20);
        QVERIFY(m_sim.start());
        m_port.addObserver([this](const Exchange& exchange) { m_origins << exchange.origin; });
    }

    void init()
    {
        m_fixture = std::make_unique<ShellFixture>();
        QVERIFY(m_fixture->openData());
        m_port.setPortName(m_sim.path());
        m_port.open();
        m_window = new wPanelTools(m_port);
        m_window->show();
        m_window->panel()->blinkTimer()->stop();
        QTest::qWait(20);
        m_heard = m_sim.heardFrames().size();
        m_origins.clear();
        m_prompts = std::make_unique<PromptCapture>();
    }

    void cleanup()
    {
        delete m_window;
        m_port.setBusy(false);
        m_port.close();
        m_sim.command("fault off");
        m_prompts.reset();
        m_fixture.reset();
    }

    // One operation, played as steps: the frames the panel heard, the panel on screen and the
    // log afterwards, what the sequence chosen offers and what the status bar confirms. The
    // image words carry LED n at bit (3 n) mod 15 of word n div 5, the horn at bit 12 of the
    // last word.
    void operations_data()
    {
        // frames: heard by the panel, without their CRC; panel: on screen afterwards;
        // answered: the last exchange; offered: the state selector, Start, Stop, clicks on the
        // panel, TEST active, 1 offered, 0 not; confirmed: the last confirmation.
        columns<QString, Frames, QString, bool, QString, QString>(
            "steps", "frames", "panel", "answered", "offered", "confirmed");
        const QString off = "000000000000000000000000 0";
        row("sequence 0: a click sends the LED at once", "sequence 0, LED 5 in 3",
            Frames{hex("010600060003")}, "000003000000000000000000 0", true, "10010",
            "LED 5 sent to slave 1 (state 3)");
        row("sequence 0: the horn is word 64", "sequence 0, LED 24 in 1",
            Frames{hex("010600400001")}, "000000000000000000000000 1", true, "10010",
            "Horn sent to slave 1 (state 1)");
        row("sequence 1: clicks draw, Start sends; LED 23 in state 5 is 2560, the horn 4096",
            "sequence 1, show 000000000000000000000005 0, LED 0 in 2, LED 24 in 4, Start",
            Frames{hex("0110001900050A00020000000000001A00")}, "200000000000000000000005 4", true,
            "11010", "Panel image sent to slave 1");
        row("sequence 2: word 0x7FFF reads as state 7 for LEDs 0 to 4, bit 12 of word 4 as the "
            "horn",
            "show 777770000000000000000000 1, send, show " + off + ", sequence 2, Start",
            Frames{hex("0110001900050A7FFF0000000000001000"), hex("010300190005")},
            "777770000000000000000000 1", true, "01000", "Panel image read from slave 1");
        row("sequence 3: lamp test", "sequence 3, Start", Frames{hex("010600420001")}, off, true,
            "01000", "Lamp test sent to slave 1");
        row("panel off: word 0, then word 64", "show 123400000000000000000000 1, panel off",
            (Frames{hex("010600000000"), hex("010600400000")}), off, true, "10010",
            "Panel switched off (slave 1)");
        row("panel off unanswered: the horn is still switched off", "silent, panel off",
            (Frames{hex("010600000000"), hex("010600400000")}), off, true, "10010",
            "No valid answer from slave 1 (time-out)");
        row("TEST in the alarm sequence: blinking LEDs turn steady, the horn stops",
            "sequence 5, show 012345670123456701234567 3, TEST",
            Frames{hex("0110001900050A12481049124912410249")}, "011111110111111101111111 0", true,
            "01011", "Acknowledgement sent to slave 1");
        row("TEST in any other sequence: inactive, nothing",
            "sequence 1, show 012345670123456701234567 3, TEST", Frames{},
            "012345670123456701234567 3", true, "11010", "");
        row("slave 65 is refused by the codec: nothing sent", "slave 65, LED 2 in 1", Frames{},
            "001000000000000000000000 0", true, "10010", "Nothing sent to slave 65");
        row("sequence 2 unanswered: the screen keeps its image",
            "show 123000000000000000000000 1, silent, sequence 2, Start",
            Frames{hex("010300190005")}, "123000000000000000000000 1", false, "01000",
            "No valid answer from slave 1 (time-out)");
    }

    void operations()
    {
        const auto [steps, frames, panel, answered, offered, confirmed] =
            fetch<QString, Frames, QString, bool, QString, QString>(
                "steps", "frames", "panel", "answered", "offered", "confirmed");
        play(steps);
        QCOMPARE(heardSince(m_heard), frames);
        QCOMPARE(panelText(*m_window), panel);
        QCOMPARE(log(*m_window)->topLevelItemCount(), frames.size());
        QCOMPARE(m_window->LastFrameTimedOut(), !answered);
        const QString seen = QStringLiteral("%1%2%3%4%5")
                                 .arg(!control(*m_window, "frmToolsLeds")->isHidden())
                                 .arg(control(*m_window, "cmdTools_0")->isEnabled())
                                 .arg(control(*m_window, "cmdTools_1")->isEnabled())
                                 .arg(control(*m_window, "frmPanneau")->isEnabled())
                                 .arg(m_window->panel()->testLabel()->isEnabled());
        QCOMPARE(seen, offered);
        QCOMPARE(lastOf(m_prompts->confirmations), confirmed);
        // The line monitor sees every exchange as this window's.
        QCOMPARE(m_origins, QList<int>(frames.size(), TextId::PanelToolsTitle));
    }

    // The log keeps the last seven exchanges, an unanswered one shown as "(Time-out: no answer)";
    // the button clears it.
    void frameLog()
    {
        wPanelTools& w = *m_window;
        for (int i = 0; i < 9; ++i) {
            if (i == 8)
                QVERIFY(m_sim.command("fault-next none"));
            clickLed(w, i, 1);
        }
        QCOMPARE(log(w)->topLevelItemCount(), 7);
        QCOMPARE(log(w)->topLevelItem(0)->text(0),
                 CommFunctions::FrameToText(CommFunctions::FrameToSend(1, 6, 3, 1, 1)));
        QCOMPARE(log(w)->topLevelItem(6)->text(1), "(Time-out: no answer)");
        QVERIFY(w.LastFrameTimedOut());
        press(w, wPanelTools::cmdRazTableau);
        QCOMPARE(log(w)->topLevelItemCount(), 0);
        QCOMPARE(lastOf(m_prompts->confirmations), "Log cleared");
        QVERIFY(!w.LastFrameTimedOut());
    }

    // A sequence that waits, and an event during its run: it ends at its next step.
    void sequences_data()
    {
        // atMs: when the event comes, after Start; framesAfter: heard after the event; last: the
        // last frame heard, without its CRC; panel: on screen at the end; confirmed: the status
        // bar's confirmation at the end.
        columns<int, int, QString, int, QByteArray, QString, QString>(
            "sequence", "atMs", "event", "framesAfter", "last", "panel", "confirmed");
        const QByteArray ackRead = hex("010300440001");
        const QByteArray threeLit = hex("0110001900050A00490000000000000000");
        const QString stopped = "Sequence stopped";
        // The sweep sends an image at about 0, 0.5 and 1 s, the alarm polls every 50 ms.
        row("sweep stopped midway: LEDs 0 to 2 lit", 4, 1300, "Stop", 0, threeLit,
            "111000000000000000000000 0", stopped);
        row("alarm acknowledged on the panel", 5, 600, "ack", 2,
            hex("0110001900050A00080000000800000000"), "010000000001000000000000 0",
            "Alarm acknowledged on slave 1");
        row("alarm ends on a time-out", 5, 600, "silent", 1, ackRead, "040000000004000000000000 1",
            "No valid answer from slave 1 (time-out)");
        row("another window takes the line: the sweep ends at its next wait", 4, 700, "line busy",
            0, hex("0110001900050A00090000000000000000"), "110000000000000000000000 0", stopped);
    }

    void sequences()
    {
        const auto [sequence, atMs, event, framesAfter, last, panel, confirmed] =
            fetch<int, int, QString, int, QByteArray, QString, QString>(
                "sequence", "atMs", "event", "framesAfter", "last", "panel", "confirmed");
        wPanelTools& w = *m_window;
        choose(w, sequence);
        qsizetype atEvent = -1;
        QElapsedTimer clock;
        bool testActiveWhileRunning = true;
        QTimer::singleShot(atMs, &w, [&] {
            // A click on TEST does nothing while a sequence runs: it looks inactive.
            testActiveWhileRunning = w.panel()->testLabel()->isEnabled();
            atEvent = m_sim.heardFrames().size();
            play(event);
            clock.start();
        });
        press(w, wPanelTools::cmdStart); // returns when the sequence has ended
        // It ended at its next step: a wait (0.5 s, or the frame delay) or a 1 s time-out.
        QVERIFY(clock.isValid());
        QVERIFY2(clock.elapsed() < 1600, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(heardSince(atEvent).size(), framesAfter);
        QCOMPARE(heardSince(m_heard, 0).constLast(), last);
        QCOMPARE(panelText(w), panel);
        QVERIFY(!testActiveWhileRunning);
        QCOMPARE(lastOf(m_prompts->confirmations), confirmed);
        // The buttons are back as the sequence table has them.
        QVERIFY(!w.running());
        QVERIFY(control(w, "cmdTools_0")->isEnabled() && control(w, "cmdTools_2")->isEnabled() &&
                !control(w, "cmdTools_1")->isEnabled() && control(w, "frmFrames")->isEnabled());
    }

    // The console around the window while a sweep waits: the window closed, the console quit,
    // another tool window activated. The captions come from the settings file and go back
    // to it when the window is unloaded.
    void leavingDuringSweep_data()
    {
        columns<int>("how");
        row("test window closed", int(Closed));
        row("console quit", int(Quit));
        row("calculator activated: the window stays, the sweep ends", int(OtherWindow));
    }

    void leavingDuringSweep()
    {
        const auto [how] = fetch<int>("how");
        m_port.close();
        m_fixture->writeIni("English", "[Panneau]\nLabel1=Pump A\nLabel24=Door\n", m_sim.path());
        wMain frame(wMain::Files{m_fixture->dataFile, {}});
        QVERIFY(frame.load());
        QPointer<wPanelTools> w = qobject_cast<wPanelTools*>(frame.children().show(3));
        QVERIFY(w);
        QCOMPARE(w->panel()->caption(0) + '|' + w->panel()->caption(5) + '|' +
                     w->panel()->caption(23),
                 "Pump A||Door");
        QTest::keyClicks(control<QLineEdit>(*w, "txtPanneau_5"), "Boiler");
        choose(*w, 4);
        qsizetype atEvent = -1;
        QTimer::singleShot(700, &frame, [&] {
            atEvent = m_sim.heardFrames().size();
            if (how == Quit) {
                OnNextModal([](QWidget* modal) {
                    qobject_cast<QMessageBox*>(modal)->button(QMessageBox::Yes)->click();
                });
                frame.mnuFileQuit_Click();
            } else if (how == Closed) {
                w->frameWidget()->close();
            } else {
                frame.children().show(1);
            }
        });
        press(*w, wPanelTools::cmdStart);
        QTest::qWait(1);
        QCOMPARE(heardSince(atEvent, 600).size(), 0);
        QCOMPARE(frame.isVisible(), how != Quit);
        if (how == OtherWindow) {
            QVERIFY(w && !w->running() && control(*w, "cmdTools_0")->isEnabled());
            return;
        }
        QVERIFY(!w);
        // Unloaded as usual: the captions are in the settings file.
        QCOMPARE(ZRBfonctions::GetIniParamsList("Panneau").size(), 24);
        QCOMPARE(ZRBfonctions::GetIniParam("Panneau", "Label6", {}), "Boiler");
        QCOMPARE(ZRBfonctions::GetIniParam("Panneau", "Label24", {}), "Door");
        QVERIFY2(m_fixture->reports().isEmpty(), qPrintable(m_fixture->reports().join('\n')));
    }

    // Answers that are not complete and correct, from a scripted panel: the log marks them as
    // the line monitor does (bold, the palette's link colour, the reason in the tooltip) and
    // the screen does not take them as the panel's word.
    void faultyAnswers_data()
    {
        // answer: to every read (writes get their echo); reason: "" for a complete answer.
        columns<QString, QByteArray, QString, QString, QString>("steps", "answer", "reason",
                                                                "panel", "confirmed");
        const QString read = "show 123000000000000000000000 1, sequence 2, Start";
        const QString kept = "123000000000000000000000 1";
        const QByteArray image = Frame("01030A7FFF0000000000001000");
        QByteArray badCrc = image;
        badCrc[badCrc.size() - 1] = char(badCrc.back() ^ 0xFF);
        row("complete: shown", read, image, "", "777770000000000000000000 1",
            "Panel image read from slave 1");
        row("CRC error", read, badCrc, "CRC error", kept,
            "No valid answer from slave 1 (CRC error)");
        row("exception", read, Frame("018302"), "exception 2", kept,
            "No valid answer from slave 1 (exception 2)");
        row("one byte short", read, image.chopped(1), "answer too short", kept,
            "No valid answer from slave 1 (answer too short)");
        row("one byte too long", read, image + hex("55"), "answer too long", kept,
            "No valid answer from slave 1 (answer too long)");
        QByteArray ackBadCrc = Frame("0103020001");
        ackBadCrc[5] = char(ackBadCrc[5] ^ 0xFF);
        row("alarm: an acknowledgement with a wrong CRC is not taken",
            "sequence 5, stop in 400, Start", ackBadCrc, "CRC error", "040000000004000000000000 1",
            "Sequence stopped");
    }

    void faultyAnswers()
    {
        const auto [steps, answer, reason, panel, confirmed] =
            fetch<QString, QByteArray, QString, QString, QString>("steps", "answer", "reason",
                                                                  "panel", "confirmed");
        ScriptedLine scripted([answer](const QByteArray& request) {
            if (request.at(1) == 3)
                return FakeSlave::Reply{answer};
            return FakeSlave::Reply{request.at(1) == 6 ? request : WithCrc(request.left(6))};
        });
        delete m_window;
        m_window = new wPanelTools(scripted.line);
        m_window->show();
        play(steps);
        QCOMPARE(panelText(*m_window), panel);
        QCOMPARE(lastOf(m_prompts->confirmations), confirmed);
        QTreeWidgetItem* last =
            log(*m_window)->topLevelItem(log(*m_window)->topLevelItemCount() - 1);
        const bool marked = !reason.isEmpty();
        QCOMPARE(last->font(1).bold(), marked);
        QCOMPARE(last->foreground(1),
                 marked ? log(*m_window)->palette().brush(QPalette::Link) : QBrush());
        QCOMPARE(last->toolTip(1), marked ? last->text(1) + '\n' + reason : last->text(1));
        // Marked lines follow the palette.
        QPalette other = m_window->palette();
        other.setColor(QPalette::Link, Qt::darkGreen);
        m_window->setPalette(other);
        QCOMPARE(last->foreground(0).color() == Qt::darkGreen, marked);
        delete m_window;
        m_window = nullptr;
    }

    // The window inside the main frame of a 1024 x 768 screen: the desktop's panel and the
    // frame's title bar take 62 pixels, the menu bar, toolbar and status bar their own, the
    // rest is the area of the child windows. There the window fits, or at least scrolls
    // Start, Stop and the log into sight, and no text is cut, in every language, after a change
    // of language, and with a style whose metrics are wider.
    void smallScreen_data()
    {
        columns<QString, QString, bool>("language", "startedIn", "wide");
        for (const char* language : {"English", "Français", "Deutsch"}) {
            QTest::addRow("%s", language) << language << language << false;
            QTest::addRow("%s after English, wider style", language)
                << language << "English" << true;
        }
    }

    void smallScreen()
    {
        const auto [language, startedIn, wide] =
            fetch<QString, QString, bool>("language", "startedIn", "wide");
        const QString styleBefore = QApplication::style()->name();
        const QFont fontBefore = QApplication::font();
        const auto restore = qScopeGuard([&] {
            QApplication::setStyle(styleBefore);
            QApplication::setFont(fontBefore);
        });
        if (wide) {
            QApplication::setStyle(new WideStyle);
            QFont larger = fontBefore;
            larger.setPointSizeF(fontBefore.pointSizeF() + 1);
            QApplication::setFont(larger);
        }
        m_port.close();
        m_fixture->writeIni(startedIn, {}, m_sim.path());
        wMain frame(wMain::Files{m_fixture->dataFile, {}});
        frame.resize(1024, 768 - 62);
        QVERIFY(frame.load());
        auto* w = qobject_cast<wPanelTools*>(frame.children().show(3));
        QVERIFY(w);
        if (language != startedIn) {
            DataFunctions7310::SetCurrentLanguage(language);
            frame.nationality();
            w->nationality();
        }
        QTest::qWait(50);
        QWidget* area = frame.mdiArea()->viewport();
        QVERIFY2(area->rect().contains(w->frameWidget()->geometry()),
                 qPrintable(QStringLiteral("%1x%2 in %3x%4")
                                .arg(w->frameWidget()->width())
                                .arg(w->frameWidget()->height())
                                .arg(area->width())
                                .arg(area->height())));
        // At a first start the window shares the area with the three others: it fits or
        // scrolls, and Start, Stop and the log come into view, as much as the window holds.
        auto* scroll = control<QScrollArea>(*w, "scrToolsBody");
        const QRect view = scroll->viewport()->rect();
        for (QWidget* reachable :
             {control(*w, "cmdTools_0"), control(*w, "cmdTools_1"), control(*w, "lvwPanel")}) {
            scroll->ensureWidgetVisible(reachable, 0, 0);
            const QRect seen(reachable->mapTo(scroll->viewport(), QPoint()), reachable->size());
            const QRect shown = view.intersected(seen);
            QVERIFY2(shown.width() == std::min(seen.width(), view.width()) &&
                         shown.height() == std::min(seen.height(), view.height()),
                     qPrintable(reachable->objectName()));
        }
        // Every text fits its control.
        for (QWidget* c : w->findChildren<QWidget*>()) {
            int needed = 0;
            if (auto* box = qobject_cast<QComboBox*>(c)) {
                QStyleOptionComboBox option;
                option.initFrom(box);
                for (int i = 0; i < box->count(); ++i) {
                    const QSize text(box->fontMetrics().boundingRect(box->itemText(i)).width(), 1);
                    needed = std::max(
                        needed, box->style()
                                    ->sizeFromContents(QStyle::CT_ComboBox, &option, text, box)
                                    .width());
                }
            } else if (auto* label = qobject_cast<QLabel*>(c); label && label->wordWrap()) {
                QVERIFY2(label->heightForWidth(label->width()) <= label->height(),
                         qPrintable(label->objectName()));
            } else if (qobject_cast<QLabel*>(c) || qobject_cast<QAbstractButton*>(c) ||
                       qobject_cast<QGroupBox*>(c)) {
                needed = c->minimumSizeHint().width();
            }
            QVERIFY2(c->width() >= needed, qPrintable(QStringLiteral("%1: %2 < %3")
                                                          .arg(c->objectName())
                                                          .arg(c->width())
                                                          .arg(needed)));
        }
    }

    // Dark and light palettes: the horn keeps its contrast with the window; the LEDs keep
    // their fixed red and grey.
    void palettes_data()
    {
        columns<bool, int>("dark", "horn");
        for (const bool dark : {false, true}) {
            for (const int horn : {0, 1})
                QTest::addRow("%s palette, horn %s", dark ? "dark" : "light",
                              horn ? "sounding" : "silent")
                    << dark << horn;
        }
    }

    void palettes()
    {
        const auto [dark, horn] = fetch<bool, int>("dark", "horn");
        QPalette palette = QApplication::palette();
        if (dark) {
            for (const auto& [role, colour] : {std::pair{QPalette::Window, 0x2b2b2b},
                                               {QPalette::WindowText, 0xeeeeee},
                                               {QPalette::Base, 0x1e1e1e},
                                               {QPalette::Text, 0xeeeeee},
                                               {QPalette::Button, 0x353535},
                                               {QPalette::ButtonText, 0xeeeeee},
                                               {QPalette::Highlight, 0x3d7dd8}})
                palette.setColor(role, QColor::fromRgb(colour));
        }
        m_window->setPalette(palette);
        m_window->panel()->setHorn(horn);
        const QImage picture = m_window->panel()->hornImage()->grab().toImage();
        const QColor window = palette.color(QPalette::Window);
        int clear = 0; // pixels that stand out from the window: a contrast of 4.5 or more
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                clear += contrast(picture.pixelColor(x, y), window) >= 4.5 ? 1 : 0;
        }
        QVERIFY2(clear * 20 >= picture.width() * picture.height(),
                 qPrintable(QString::number(clear)));
        const QImage lamp = m_window->panel()->lamp(0)->grab().toImage();
        QCOMPARE(lamp.pixelColor(4 * lamp.devicePixelRatio(), lamp.height() / 2),
                 QColor::fromRgb(LedLamp::UnlitColour));
    }

    void blinkPhases_data()
    {
        // states: of LEDs 0, 1, ...
        columns<QString, int, QString>("states", "phase", "lit");
        // Per state 0 to 4, lit in phases 0 to 4.
        const QStringList rhythm{"00000", "11111", "10000", "10010", "11000"};
        for (int state = 0; state < 5; ++state) {
            for (int phase = 0; phase < 5; ++phase)
                QTest::addRow("state %d, phase %d", state, phase)
                    << QString::number(state) << phase << QString(rhythm[state][phase]);
        }
        // States 5 to 7 repeat the decision of the LED before them; LED 0 has none.
        row("5 to 7 follow their neighbour, phase 1", "5457706", 1, "0111100");
        row("5 to 7 follow their neighbour, phase 2", "5457706", 2, "0000000");
    }

    void blinkPhases()
    {
        const auto [states, phase, lit] = fetch<QString, int, QString>("states", "phase", "lit");
        LedPanel* panel = m_window->panel();
        setPanel(*m_window, states.leftJustified(24, '0') + " 0");
        while (panel->phase() != phase)
            panel->tmrCligno_Timer();
        QString seen;
        for (int n = 0; n < lit.size(); ++n)
            seen += panel->lamp(n)->lit() ? '1' : '0';
        QCOMPARE(seen, lit);
    }

private:
    // Plays steps on the window, ", " between: "sequence N", "LED n in s" (LED 24 is the
    // horn), "show <24 states> <horn>" (on screen only), a button ("Start", "Stop",
    // "panel off"), "stop in N" (Stop pressed N ms later), "TEST", "send" (the image on
    // screen), "slave N", "line busy",
    // and to the simulator "silent" (the next request goes unanswered) and "ack" (the panel's
    // acknowledgement).
    void play(const QString& steps)
    {
        const QStringList buttons{"Start", "Stop", "panel off"};
        for (const QString& step : steps.split(", ")) {
            const QString arg = step.section(' ', 1);
            if (step.startsWith("sequence"))
                choose(*m_window, arg.toInt());
            else if (step.startsWith("LED"))
                clickLed(*m_window, arg.section(' ', 0, 0).toInt(), arg.section(' ', 2).toInt());
            else if (step.startsWith("show"))
                setPanel(*m_window, arg);
            else if (step.startsWith("slave"))
                control<QLineEdit>(*m_window, "TxtToolsSlave")->setText(arg);
            else if (step.startsWith("line"))
                m_port.setBusy(arg == "busy");
            else if (step.startsWith("stop in"))
                QTimer::singleShot(step.section(' ', 2).toInt(), m_window,
                                   [this] { press(*m_window, wPanelTools::cmdStop); });
            else if (step == "TEST")
                QTest::mouseClick(m_window->panel()->testLabel(), Qt::LeftButton);
            else if (step == "send")
                m_window->SendWholePanel();
            else if (step == "silent" || step == "ack")
                QVERIFY(m_sim.command(step == "ack" ? "ack" : "fault-next none"));
            else
                press(*m_window, buttons.indexOf(step));
        }
    }

    // Frames the panel heard since the trace held `from` of them, without their CRC.
    Frames heardSince(qsizetype from, int settleMs = 100) const
    {
        QTest::qWait(settleMs);
        Frames frames;
        const QStringList heard = m_sim.heardFrames();
        for (qsizetype i = from; i < heard.size(); ++i)
            frames << QByteArray::fromHex(heard[i].section(' ', 2).toLatin1()).chopped(2);
        return frames;
    }

    SimProcess m_sim;
    ComCtrl m_port;
    std::unique_ptr<ShellFixture> m_fixture;
    std::unique_ptr<PromptCapture> m_prompts;
    QList<int> m_origins; // of every exchange on m_port
    wPanelTools* m_window = nullptr;
    qsizetype m_heard = 0;
};

QTEST_MAIN(TestPanelTools)
#include "tst_wpaneltools.moc"