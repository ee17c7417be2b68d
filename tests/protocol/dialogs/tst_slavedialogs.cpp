// The slave dialog (presets, what OK and Cancel store, the up-down control, help) and the
// search's progress dialog (labels, the continue flag, the modal wait once a panel answered),
// the latter also driving a real search against k7310sim.
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "helphook.h"
#include "simprocess.h"
#include "textids.h"
#include "waskslave.h"
#include "wsearchslave.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <functional>

using namespace CommFunctions;

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QString ini(const QString& key)
{
    return ZRBfonctions::GetIniParam(QStringLiteral("Communication"), key,
                                     QStringLiteral("<none>"));
}

// Clicks a button of the modal dialog once it is up (the search blocks in it), after
// letting `look` see the dialog as the user sees it.
void clickInModalDialog(const char* buttonName, std::function<void()> look = {})
{
    QTimer::singleShot(20, [buttonName, look] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal) {
            clickInModalDialog(buttonName, look);
            return;
        }
        if (look)
            look();
        if (auto* button = modal->findChild<QPushButton*>(QLatin1String(buttonName)))
            button->click();
    });
}

} // namespace

class TestSlaveDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void askPresets_data();
    void askPresets();
    void askOkStoresOnlyValidSlave_data();
    void askOkStoresOnlyValidSlave();
    void askCancelStoresNothing_data();
    void askCancelStoresNothing();
    void askUpDownStaysWithinRange_data();
    void askUpDownStaysWithinRange();
    void askHelpButtonAndF1();

    void searchProgressLabels_data();
    void searchProgressLabels();
    void searchFoundWaitsForUser_data();
    void searchFoundWaitsForUser();
    void searchCancelClearsContinueFlag();

    void searchWithDialogFoundAndConfirmed();
    void searchWithDialogCancelledDuringProbe();

private:
    QTemporaryDir m_dir;
    QString m_ini;
};

void TestSlaveDialogs::initTestCase()
{
    QString detail;
    QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat", &detail), 0);
    m_ini = m_dir.filePath(QStringLiteral("k7310console.ini"));
    ZRBfonctions::SetIniFileName(m_ini);
}

void TestSlaveDialogs::init()
{
    QFile::remove(m_ini);
    HelpHook::Set({});
    SetFrameDelay(50);
}

void TestSlaveDialogs::askPresets_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("openPort");
    QTest::addColumn<QString>("slave");
    QTest::addColumn<bool>("autoSearch");
    QTest::addColumn<QString>("port");

    QTest::newRow("no settings file: slave 1, search on") << QByteArray() << "1"
                                                          << "1" << true << "1";
    QTest::newRow("stored slave and search off, numbered port")
        << QByteArray("[Communication]\nLastSlave=12\nAutoSearch=0\n") << "3"
        << "12" << false << "3";
    QTest::newRow("typed device path of the open port is offered")
        << QByteArray("[Communication]\nLastSlave=0\nAutoSearch=1\n") << "/dev/pts/9"
        << "0" << true << "/dev/pts/9";
}

void TestSlaveDialogs::askPresets()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, openPort);
    QFETCH(QString, slave);
    QFETCH(bool, autoSearch);
    QFETCH(QString, port);

    if (!file.isEmpty())
        writeFile(m_ini, file);
    wAskSlave dialog(openPort);
    QCOMPARE(dialog.slaveBox()->text(), slave);
    QCOMPARE(dialog.autoSearchBox()->isChecked(), autoSearch);
    QCOMPARE(dialog.port(), port);
    QCOMPARE(dialog.portList()->currentText(), port);
    // The numbered ports are always offered, and an open port among them is not repeated.
    QCOMPARE(dialog.portList()->itemText(0), QStringLiteral("1"));
    QCOMPARE(dialog.portList()->itemText(15), QStringLiteral("16"));
    QCOMPARE(dialog.portList()->findText(port), dialog.portList()->currentIndex());
    QVERIFY(dialog.portList()->isEditable());
    QVERIFY(!dialog.Result());
    // Captions come from the text database by tag.
    QCOMPARE(dialog.windowTitle(), DataFunctions7310::GetText(TextId::AskSlaveTitle));
    QCOMPARE(dialog.button(wAskSlave::Ok)->text(), DataFunctions7310::GetText(TextId::Ok));
}

void TestSlaveDialogs::askOkStoresOnlyValidSlave_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("0 asks the search for the number") << "0" << true;
    QTest::newRow("64 is the last slave") << "64" << true;
    QTest::newRow("65 beeps") << "65" << false;
    QTest::newRow("negative beeps") << "-1" << false;
    QTest::newRow("empty beeps") << "" << false;
    QTest::newRow("letters beep") << "ab" << false;
    QTest::newRow("fraction beeps") << "1.5" << false;
}

void TestSlaveDialogs::askOkStoresOnlyValidSlave()
{
    QFETCH(QString, typed);
    QFETCH(bool, accepted);

    const QByteArray before("[General]\nLanguage=English\n\n[Communication]\nLastSlave=5\n");
    writeFile(m_ini, before);
    wAskSlave dialog(QStringLiteral("2"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    // A device typed over the list, as for a pty.
    dialog.portList()->setEditText(QStringLiteral("/dev/pts/42"));
    dialog.autoSearchBox()->setChecked(false);
    dialog.slaveBox()->selectAll();
    QTest::keyClick(dialog.slaveBox(), Qt::Key_Delete);
    QTest::keyClicks(dialog.slaveBox(), typed);
    QTest::keyClick(dialog.slaveBox(), Qt::Key_Return); // OK is the default button

    QCOMPARE(dialog.Result(), accepted);
    QCOMPARE(dialog.isVisible(), !accepted);
    if (accepted) {
        QCOMPARE(ini(QStringLiteral("LastSlave")), typed);
        QCOMPARE(ini(QStringLiteral("AutoSearch")), QStringLiteral("0"));
        QCOMPARE(ini(QStringLiteral("Port")), QStringLiteral("/dev/pts/42"));
        QCOMPARE(ZRBfonctions::GetIniParam("General", "Language", {}), QStringLiteral("English"));
        QCOMPARE(int(dialog.slave()), typed.toInt());
        QVERIFY(!dialog.autoSearch());
    } else {
        QCOMPARE(readFile(m_ini), before);
        QCOMPARE(dialog.slaveBox()->text(), typed);
    }
}

void TestSlaveDialogs::askCancelStoresNothing_data()
{
    QTest::addColumn<bool>("byEscape");
    QTest::newRow("Cancel button") << false;
    QTest::newRow("Escape key") << true;
}

void TestSlaveDialogs::askCancelStoresNothing()
{
    QFETCH(bool, byEscape);

    const QByteArray before("[Communication]\nLastSlave=5\nAutoSearch=1\nPort=1\n");
    writeFile(m_ini, before);
    wAskSlave dialog(QStringLiteral("1"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.portList()->setCurrentIndex(4);
    dialog.autoSearchBox()->setChecked(false);
    dialog.slaveBox()->setText(QStringLiteral("17"));
    if (byEscape)
        QTest::keyClick(dialog.slaveBox(), Qt::Key_Escape);
    else
        dialog.button(wAskSlave::Cancel)->click();

    QVERIFY(!dialog.Result());
    QVERIFY(!dialog.isVisible());
    QCOMPARE(readFile(m_ini), before);
}

void TestSlaveDialogs::askUpDownStaysWithinRange_data()
{
    QTest::addColumn<QString>("start");
    QTest::addColumn<int>("step"); // +1 up, -1 down
    QTest::addColumn<int>("clicks");
    QTest::addColumn<QString>("end");

    QTest::newRow("up stops at 64") << "63" << 1 << 3 << "64";
    QTest::newRow("down stops at 0") << "2" << -1 << 4 << "0";
    QTest::newRow("a text that is no number starts from 0") << "x" << 1 << 1 << "0";
}

void TestSlaveDialogs::askUpDownStaysWithinRange()
{
    QFETCH(QString, start);
    QFETCH(int, step);
    QFETCH(int, clicks);
    QFETCH(QString, end);

    wAskSlave dialog(QStringLiteral("1"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.slaveBox()->setText(start);
    QToolButton* arrow = step > 0 ? dialog.slaveUp() : dialog.slaveDown();
    for (int i = 0; i < clicks; ++i)
        arrow->click();
    QCOMPARE(dialog.slaveBox()->text(), end);
    // The arrow keys in the slave text step the same way.
    dialog.slaveBox()->setText(start);
    dialog.slaveBox()->setFocus();
    for (int i = 0; i < clicks; ++i)
        QTest::keyClick(dialog.slaveBox(), step > 0 ? Qt::Key_Up : Qt::Key_Down);
    QCOMPARE(dialog.slaveBox()->text(), end);
}

void TestSlaveDialogs::askHelpButtonAndF1()
{
    QList<int> asked;
    QList<QWidget*> callers;
    HelpHook::Set([&](QWidget* caller, int contextId) {
        callers << caller;
        asked << contextId;
    });
    writeFile(m_ini, "[Communication]\nLastSlave=5\n");
    wAskSlave dialog(QStringLiteral("1"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.button(wAskSlave::Help)->click();
    QTest::keyClick(dialog.slaveBox(), Qt::Key_F1);

    QCOMPARE(asked, (QList<int>{TextId::AskSlaveTitle, TextId::AskSlaveTitle}));
    QCOMPARE(callers, (QList<QWidget*>{&dialog, &dialog}));
    // Help neither closes the dialog nor stores anything.
    QVERIFY(dialog.isVisible());
    QCOMPARE(readFile(m_ini), QByteArray("[Communication]\nLastSlave=5\n"));
}

void TestSlaveDialogs::searchProgressLabels_data()
{
    QTest::addColumn<int>("slave");
    QTest::addColumn<QString>("module");
    QTest::newRow("unknown slave shows ?") << 0 << "?";
    QTest::newRow("known slave shows its number") << 12 << "12";
}

void TestSlaveDialogs::searchProgressLabels()
{
    QFETCH(int, slave);
    QFETCH(QString, module);

    wSearchSlave dialog;
    SearchObserver& observer = dialog;
    observer.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    observer.progress(slave, 4800, 2);
    QCOMPARE(dialog.module()->text(), module);
    QCOMPARE(dialog.speed()->text(), QStringLiteral("4800"));
    QCOMPARE(dialog.stops()->text(), QStringLiteral("2"));
    QCOMPARE(dialog.message()->text(), DataFunctions7310::GetText(TextId::SearchRunning));
    // OK means nothing until a panel has answered.
    QVERIFY(!dialog.okButton()->isEnabled());
    QVERIFY(observer.keepGoing());
    observer.close();
    QVERIFY(!dialog.isVisible());
}

void TestSlaveDialogs::searchFoundWaitsForUser_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<bool>("confirmed");
    QTest::newRow("OK takes the panel") << QByteArray("cmdOk") << true;
    QTest::newRow("Cancel leaves it") << QByteArray("cmdCancel") << false;
}

void TestSlaveDialogs::searchFoundWaitsForUser()
{
    QFETCH(QByteArray, button);
    QFETCH(bool, confirmed);

    wSearchSlave dialog;
    SearchObserver& observer = dialog;
    observer.show();
    observer.progress(0, 9600, 1);
    bool okEnabledWhileWaiting = false;
    bool okHadFocus = false;
    QString messageWhileWaiting;
    QString moduleWhileWaiting;
    clickInModalDialog(button.constData(), [&] {
        okEnabledWhileWaiting = dialog.okButton()->isEnabled();
        okHadFocus = dialog.focusWidget() == dialog.okButton();
        messageWhileWaiting = dialog.message()->text();
        moduleWhileWaiting = dialog.module()->text();
    });
    QCOMPARE(observer.found(23), confirmed);
    QCOMPARE(dialog.Result(), confirmed);
    QCOMPARE(dialog.property("Result").toBool(), confirmed);
    QVERIFY(okEnabledWhileWaiting);
    QVERIFY(okHadFocus);
    QCOMPARE(messageWhileWaiting, DataFunctions7310::GetText(TextId::SearchFound));
    QCOMPARE(moduleWhileWaiting, QStringLiteral("23"));
}

void TestSlaveDialogs::searchCancelClearsContinueFlag()
{
    wSearchSlave dialog;
    SearchObserver& observer = dialog;
    observer.show();
    QVERIFY(observer.keepGoing());
    dialog.cancelButton()->click();
    QVERIFY(!observer.keepGoing());
    QVERIFY(!dialog.Result());
}

void TestSlaveDialogs::searchWithDialogFoundAndConfirmed()
{
    SimProcess sim;
    QVERIFY(sim.start({"--slave", "31", "--speed", "19200", "--stop", "1"}));
    ComCtrl line;
    line.setPortName(sim.path());
    line.open();

    wSearchSlave dialog;
    clickInModalDialog("cmdOk");
    QCOMPARE(int(DetectK9120(line, 0, true, &dialog)), 31);
    QCOMPARE(line.settings(), QStringLiteral("19200,n,8,1"));
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.speed()->text(), QStringLiteral("19200"));
}

void TestSlaveDialogs::searchWithDialogCancelledDuringProbe()
{
    SimProcess sim;
    QVERIFY(sim.start({"--slave", "1", "--speed", "1200", "--stop", "2"}));
    ComCtrl line;
    line.setPortName(sim.path());
    line.open();

    // The click is queued while the first probe blocks; the search lets it run before the
    // second probe and stops there.
    wSearchSlave dialog;
    QTimer::singleShot(100, &dialog, [&dialog] { dialog.cancelButton()->click(); });
    QCOMPARE(DetectK9120(line, 1, true, &dialog), NothingFound);
    QCOMPARE(sim.settingsTried(), QStringList{QStringLiteral("9600/1")});
    QCOMPARE(line.settings(), QStringLiteral("9600,n,8,1"));
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(TestSlaveDialogs)
#include "tst_slavedialogs.moc"
