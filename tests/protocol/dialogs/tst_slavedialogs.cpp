// The slave dialog (presets, what OK and Cancel store) and the search's progress dialog's
// Cancel during a real scan. The progress dialog's OK on a found panel is clicked by the
// configuration window's test (tst_wpanelconfig).
#include "../../common/promptcapture.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "ptypeer.h"
#include "textids.h"
#include "waskslave.h"
#include "wsearchslave.h"
#include "zrbfonctions.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

using namespace CommFunctions;

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

} // namespace

class TestSlaveDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
        m_ini = m_dir.filePath(QStringLiteral("k7310console.ini"));
        ZRBfonctions::SetIniFileName(m_ini);
    }

    void init() { QFile::remove(m_ini); }

    void askSlave_data()
    {
        // preset: slave text and search box, "1 on"; Return presses the default button, OK
        columns<QByteArray, QString, QString, QString, int, bool>("file", "openPort", "preset",
                                                                  "typed", "key", "accepted");
        const QByteArray stored("[General]\nLanguage=English\n\n[Communication]\nLastSlave=12\n"
                                "AutoSearch=0\n");
        const int ok = Qt::Key_Return;
        row("no settings file; 0 asks the search for the number", QByteArray(), "1", "1 on", "0",
            ok, true);
        row("stored slave, search off; 64 is the last slave", stored, "3", "12 off", "64", ok,
            true);
        row("device path of the open port offered; 65 beeps",
            QByteArray("[Communication]\nLastSlave=0\n"), "/dev/pts/9", "0 on", "65", ok, false);
        row("fraction beeps", stored, "2", "12 off", "1.5", ok, false);
        row("Escape is Cancel", stored, "2", "12 off", "17", int(Qt::Key_Escape), false);
    }

    void askSlave()
    {
        const auto [file, openPort, preset, typed, key, accepted] =
            fetch<QByteArray, QString, QString, QString, int, bool>("file", "openPort", "preset",
                                                                    "typed", "key", "accepted");
        if (!file.isEmpty()) {
            QFile ini(m_ini);
            QVERIFY(ini.open(QIODevice::WriteOnly) && ini.write(file) == file.size());
        }
        const QByteArray before = readFile(m_ini);
        PromptCapture prompts;
        wAskSlave dialog(openPort);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        const bool autoSearch = dialog.autoSearchBox()->isChecked();
        QCOMPARE(dialog.slaveBox()->text() + (autoSearch ? " on" : " off"), preset);
        QCOMPARE(dialog.windowTitle(), DataFunctions7310::GetText(TextId::AskSlaveTitle));
        // The numbered ports are always there; the open port is selected, never listed twice.
        QCOMPARE(dialog.portList()->itemText(15), QStringLiteral("16"));
        QCOMPARE(dialog.portList()->findText(openPort), dialog.portList()->currentIndex());

        dialog.portList()->setEditText(QStringLiteral("/dev/pts/42")); // typed over the list
        dialog.autoSearchBox()->setChecked(!autoSearch);
        dialog.slaveBox()->clear();
        QTest::keyClicks(dialog.slaveBox(), typed);
        QTest::keyClick(dialog.slaveBox(), Qt::Key(key));
        QCOMPARE(dialog.Result(), accepted);
        // A refused slave keeps the dialog open, framed in red with the reason in the status
        // bar; Cancel closes it; neither writes anything.
        const bool refused = !accepted && key == Qt::Key_Return;
        QCOMPARE(dialog.isVisible(), refused);
        QCOMPARE(FramedRed(dialog.slaveBox()), refused);
        QCOMPARE(prompts.texts, refused
                                    ? QStringList{DataFunctions7310::GetText(TextId::AskSlaveRange)}
                                    : QStringList());
        QCOMPARE(readFile(m_ini) == before, !accepted);
        if (!accepted)
            return;
        QStringList stored;
        for (const char* name : {"LastSlave", "AutoSearch", "Port"})
            stored << ZRBfonctions::GetIniParam("Communication", QLatin1String(name), "<none>");
        QCOMPARE(stored, (QStringList{typed, autoSearch ? "0" : "1", "/dev/pts/42"}));
        QCOMPARE(int(dialog.slave()), typed.toInt());
        if (file.contains("Language"))
            QCOMPARE(ZRBfonctions::GetIniParam("General", "Language", {}),
                     QStringLiteral("English"));
    }

    void searchCancelledDuringProbe()
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

private:
    QTemporaryDir m_dir;
    QString m_ini;
};

QTEST_MAIN(TestSlaveDialogs)
#include "tst_slavedialogs.moc"
