// The parameter coding of the configuration words and the configuration files, without
// widgets or a line.
#include "../common/datarow.h"
#include "configfile.h"
#include "configmap.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace ConfigMap;

namespace {

// A valid file; a row's edit "key=value" replaces that key's line, "key" alone drops it.
const QString validFile = QStringLiteral("[K7310]\nDevice=K7310\nFormat=1\n"
                                         "Saved=2026-11-24 09:30:00\nFirmware=2.7\n"
                                         "Port=/dev/ttyS0\nLine=19200,n,8,2\n[Words]\n"
                                         "128=255\n129=2\n130=7\n131=3\n65=1\n67=0\n69=1\n70=\n");

} // namespace

class TestConfigMap : public QObject
{
    Q_OBJECT

private slots:
    void wordCoding_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("word");
        QTest::addColumn<int>("value"); // what the control shows, -1: nothing selected
        QTest::addColumn<bool>("writable");
        row("speed FE is the 9600 item", int(Speed), 0xFE, 3, true);
        row("speed FF is the 19200 item", int(Speed), 0xFF, 4, true);
        row("speed word 0 selects nothing", int(Speed), 0, -1, false);
        row("speed word 250 selects nothing", int(Speed), 250, -1, false);
        row("2 stop bits are position 1", int(Stops), 2, 1, true);
        row("stop bits 0 select nothing", int(Stops), 0, -1, false);
        row("stop bits 3 select nothing", int(Stops), 3, -1, false);
        row("slave 64 is the last writable", int(Slave), 64, 64, true);
        row("slave 200 is shown but not written", int(Slave), 200, 200, false);
        row("bus mode 3 is the last item", int(BusMode), 3, 3, true);
        row("bus mode 4 selects nothing", int(BusMode), 4, -1, false);
        row("synchronisation 1", int(Synchro), 1, 1, true);
        row("LED test with K/L 2 selects nothing", int(LedTestKL), 2, -1, false);
    }

    void wordCoding()
    {
        QFETCH(int, index);
        QFETCH(int, word);
        QFETCH(int, value);
        QFETCH(bool, writable);
        const Parameter& parameter = ParameterAt(index);
        QCOMPARE(ValueOfWord(parameter, std::int16_t(word)), value);
        QCOMPARE(Acceptable(parameter, value), writable);
        if (writable)
            QCOMPARE(int(WordOfValue(parameter, value)), word);
    }

    void files_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::addColumn<int>("refusal");
        QTest::addColumn<QString>("detail"); // key at fault, device named, or control index
        QTest::addColumn<QString>("values"); // opened values, -1 for an empty list
        const auto none = int(ConfigFile::Refusal::None);
        const auto malformed = int(ConfigFile::Refusal::Malformed);
        const auto range = int(ConfigFile::Refusal::OutOfRange);
        row("valid, LED test list empty", "", none, "", "4 1 7 3 1 0 1 -1");
        row("no such file", "missing", int(ConfigFile::Refusal::Unreadable), "", "");
        row("not such a file at all", "binary", malformed, "Device", "");
        row("another device", "Device=K9120", int(ConfigFile::Refusal::OtherDevice), "K9120", "");
        row("a newer format", "Format=2", malformed, "Format", "");
        row("unknown firmware", "Firmware=3.1", malformed, "Firmware", "");
        row("word 131 missing", "131", malformed, "131", "");
        row("word 65 not a number", "65=yes", malformed, "65", "");
        row("slave number empty", "130=", malformed, "130", "");
        row("speed code outside the table", "128=250", range, "0", "");
        row("slave 65", "130=65", range, "2", "");
        row("bus mode 4", "131=4", range, "3", "");
    }

    void files()
    {
        QFETCH(QString, edit);
        QFETCH(int, refusal);
        QFETCH(QString, detail);
        QFETCH(QString, values);
        QTemporaryDir dir;
        const QString path = dir.filePath("panel.k7310");
        QString text = validFile;
        if (edit == "binary")
            text = QString::fromLatin1(QByteArray(300, '\x07'));
        const QString key = edit.section('=', 0, 0);
        const QRegularExpression line("^" + QRegularExpression::escape(key) + "=.*\\n",
                                      QRegularExpression::MultilineOption);
        if (edit.contains('='))
            text.replace(line, edit + '\n');
        else if (!edit.isEmpty())
            text.remove(line);
        QFile file(path);
        QVERIFY(edit == "missing" ||
                (file.open(QIODevice::WriteOnly) && file.write(text.toUtf8())));
        file.close();

        const ConfigFile::Opened opened = ConfigFile::Open(path);
        QCOMPARE(int(opened.refusal), refusal);
        QCOMPARE(opened.refusal == ConfigFile::Refusal::OutOfRange ? QString::number(opened.index)
                                                                   : opened.detail,
                 detail);
        if (refusal != int(ConfigFile::Refusal::None))
            return;
        QStringList shown;
        for (const int value : opened.contents.values)
            shown << QString::number(value);
        QCOMPARE(shown.join(' '), values);

        // Saved again, it opens to the same contents, the words stored as the panel codes them.
        const QString copy = dir.filePath("copy.k7310");
        ConfigFile::Save(copy, opened.contents);
        const ConfigFile::Opened again = ConfigFile::Open(copy);
        QCOMPARE(int(again.refusal), refusal);
        QCOMPARE(again.contents.values, opened.contents.values);
        QCOMPARE((QStringList{again.contents.firmware, again.contents.line, again.contents.saved}),
                 (QStringList{"2.7", "19200,n,8,2", "2026-11-24 09:30:00"}));
        QFile saved(copy);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QVERIFY(saved.readAll().contains(
            "[Words]\n128=255\n129=2\n130=7\n131=3\n65=1\n67=0\n70=\n69=1"));
    }
};

QTEST_GUILESS_MAIN(TestConfigMap)
#include "tst_configmap.moc"
