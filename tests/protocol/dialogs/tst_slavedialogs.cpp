// The slave dialog (presets, what OK and Cancel store, help) and the search's progress
// dialog (labels, the modal wait once a panel answered, Cancel during a real scan).
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "helphook.h"
#include "ptypeer.h"
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

#include <functional>

using namespace CommFunctions;

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) >= 0;
}

// Once the modal dialog is up (the search blocks in it), lets `look` see it as the user
// does, then clicks one of its buttons.
void clickInModalDialog(const char* buttonName, std::function<void()> look)
{
    QTimer::singleShot(20, [buttonName, look] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal)
            return clickInModalDialog(buttonName, look);
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
    void askButtons_data();
    void askButtons();
    void askHelpButtonAndF1();
    void searchFoundWaitsForUser_data();
    void searchFoundWaitsForUser();
    void searchCancelledDuringProbe();

private:
    QTemporaryDir m_dir;
    QString m_ini;
};

void TestSlaveDialogs::initTestCase()
{
    QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
    m_ini = m_dir.filePath(QStringLiteral("k7310console.ini"));
    ZRBfonctions::SetIniFileName(m_ini);
}

void TestSlaveDialogs::init()
{
    QFile::remove(m_ini);
    HelpHook::Set({});
}

void TestSlaveDialogs::askPresets_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("openPort");
    QTest::addColumn<QString>("slave");
    QTest::addColumn<bool>("autoSearch");

    QTest::newRow("no settings file: slave 1, search on") << QByteArray() << "1"
                                                          << "1" << true;
    QTest::newRow("stored slave, search off, numbered port")
        << QByteArray("[Communication]\nLastSlave=12\nAutoSearch=0\n") << "3"
        << "12" << false;
    QTest::newRow("device path of the open port is offered")
        << QByteArray("[Communication]\nLastSlave=0\n") << "/dev/pts/9"
        << "0" << true;
}

void TestSlaveDialogs::askPresets()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, openPort);
    QFETCH(QString, slave);
    QFETCH(bool, autoSearch);

    if (!file.isEmpty())
        QVERIFY(writeFile(m_ini, file));
    wAskSlave dialog(openPort);
    QCOMPARE(dialog.slaveBox()->text(), slave);
    QCOMPARE(dialog.autoSearchBox()->isChecked(), autoSearch);
    QCOMPARE(dialog.port(), openPort);
    // The numbered ports are always there; the open port is selected, never listed twice.
    QCOMPARE(dialog.portList()->itemText(15), QStringLiteral("16"));
    QCOMPARE(dialog.portList()->findText(openPort), dialog.portList()->currentIndex());
    QCOMPARE(dialog.windowTitle(), DataFunctions7310::GetText(TextId::AskSlaveTitle));
}

void TestSlaveDialogs::askButtons_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("key"); // Return presses the default button, OK
    QTest::addColumn<bool>("accepted");

    QTest::newRow("0 asks the search for the number") << "0" << int(Qt::Key_Return) << true;
    QTest::newRow("64 is the last slave") << "64" << int(Qt::Key_Return) << true;
    QTest::newRow("65 beeps") << "65" << int(Qt::Key_Return) << false;
    QTest::newRow("empty beeps") << "" << int(Qt::Key_Return) << false;
    QTest::newRow("letters beep") << "ab" << int(Qt::Key_Return) << false;
    QTest::newRow("fraction beeps") << "1.5" << int(Qt::Key_Return) << false;
    QTest::newRow("Escape is Cancel") << "17" << int(Qt::Key_Escape) << false;
}

void TestSlaveDialogs::askButtons()
{
    QFETCH(QString, typed);
    QFETCH(int, key);
    QFETCH(bool, accepted);

    const QByteArray before("[General]\nLanguage=English\n\n[Communication]\nLastSlave=5\n");
    QVERIFY(writeFile(m_ini, before));
    wAskSlave dialog(QStringLiteral("2"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.portList()->setEditText(QStringLiteral("/dev/pts/42")); // typed over the list
    dialog.autoSearchBox()->setChecked(false);
    dialog.slaveBox()->clear();
    QTest::keyClicks(dialog.slaveBox(), typed);
    QTest::keyClick(dialog.slaveBox(), Qt::Key(key));

    QCOMPARE(dialog.Result(), accepted);
    // A refused slave keeps the dialog open; Cancel closes it; neither writes anything.
    QCOMPARE(dialog.isVisible(), !accepted && key == Qt::Key_Return);
    if (!accepted) {
        QCOMPARE(readFile(m_ini), before);
        return;
    }
    const auto stored = [](const char* name) {
        return ZRBfonctions::GetIniParam("Communication", QLatin1String(name), "<none>");
    };
    QCOMPARE(stored("LastSlave"), typed);
    QCOMPARE(stored("AutoSearch"), QStringLiteral("0"));
    QCOMPARE(stored("Port"), QStringLiteral("/dev/pts/42"));
    QCOMPARE(ZRBfonctions::GetIniParam("General", "Language", {}), QStringLiteral("English"));
    QCOMPARE(int(dialog.slave()), typed.toInt());
}

void TestSlaveDialogs::askHelpButtonAndF1()
{
    QList<int> asked;
    HelpHook::Set([&](QWidget* caller, int contextId) {
        QCOMPARE(caller->objectName(), QStringLiteral("wAskSlave"));
        asked << contextId;
    });
    wAskSlave dialog(QStringLiteral("1"));
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    dialog.button(wAskSlave::Help)->click();
    QTest::keyClick(dialog.slaveBox(), Qt::Key_F1);
    QCOMPARE(asked, (QList<int>{TextId::AskSlaveTitle, TextId::AskSlaveTitle}));
    QVERIFY(dialog.isVisible());
    QVERIFY(!QFile::exists(m_ini));
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
    observer.progress(0, 4800, 2);
    QCOMPARE(dialog.module()->text(), QStringLiteral("?"));
    QCOMPARE(dialog.speed()->text() + '/' + dialog.stops()->text(), QStringLiteral("4800/2"));
    QVERIFY(!dialog.okButton()->isEnabled()); // nothing to confirm yet

    QStringList seen;
    clickInModalDialog(button.constData(), [&] {
        seen << dialog.module()->text() << dialog.message()->text();
        seen << (dialog.okButton()->isEnabled() ? "enabled" : "disabled");
        seen << (dialog.focusWidget() == dialog.okButton() ? "focus" : "no focus");
    });
    QCOMPARE(observer.found(23), confirmed);
    QCOMPARE(seen, (QStringList{"23", DataFunctions7310::GetText(TextId::SearchFound), "enabled",
                                "focus"}));
    QCOMPARE(dialog.property("Result").toBool(), confirmed);
}

void TestSlaveDialogs::searchCancelledDuringProbe()
{
    // Nothing answers on this line. The click is queued while the first probe blocks; the
    // search lets it run before the second probe and stops there.
    PtyPair pty;
    QVERIFY(pty.ok());
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    wSearchSlave dialog;
    QTimer::singleShot(100, &dialog, [&dialog] { dialog.cancelButton()->click(); });
    QCOMPARE(DetectK9120(line, 1, true, &dialog), NothingFound);
    QCOMPARE(pty.readMaster(64, 200), ReadWordsRequest(1, 130, 1));
    QCOMPARE(line.settings(), QStringLiteral("9600,n,8,1"));
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(TestSlaveDialogs)
#include "tst_slavedialogs.moc"
