// The meaning of exchanges, the ring of the last exchanges and its CSV. What the line tells its
// observers is tested in tst_line.
#include "comctrl.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "exchangelog.h"
#include "ptypeer.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace CommFunctions;

namespace {

QString text(int id)
{
    return DataFunctions7310::GetText(id);
}

// Request and answer in hexadecimal without their CRC (none: no answer).
Exchange made(const char* request, const char* answer, Exchange::Outcome outcome)
{
    Exchange e;
    e.request = Frame(request);
    e.answer = answer ? Frame(answer) : QByteArray();
    e.outcome = outcome;
    return e;
}

} // namespace

class TestExchanges : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
        DataFunctions7310::SetCurrentLanguage("English");
    }

    void meaning_data()
    {
        columns<Exchange, QString>("exchange", "meaning");
        using O = Exchange::Outcome;
        row("speed word read", made("010300800002", "01030400FE0001", O::Complete),
            "word 128 Line speed = 254 (9600); word 129 Stop bits = 1");
        row("configuration word written", made("010600820005", "010600820005", O::Complete),
            "word 130 Slave number = 5");
        row("horn", made("010600400001", "010600400001", O::Complete), "horn on");
        row("all off", made("010600000000", "010600000000", O::Complete), "all LEDs off");
        row("lamp test", made("010600420001", "010600420001", O::Complete), "lamp test");
        // LEDs 0, 3 and 15 in state 2, horn bit 12 of the last word: a field read one bit
        // or one word off counts another number of LEDs.
        row("panel image written with the horn",
            made("0110001900050A04020000000000021000", nullptr, O::TimeOut),
            "panel image written: 3 LEDs lit; horn on - time-out");
        row("acknowledgement", made("010300440001", "0103020001", O::Complete),
            "acknowledgement: acknowledged");
        row("other word, exception", made("0103012C0001", nullptr, O::Exception),
            "03 Read holding registers: address 300, count 1 - exception 0");
        Exchange probe;
        probe.request = ProbeRequest();
        probe.answer = Hex("41010208");
        probe.outcome = O::Complete;
        row("probe", probe, "probe: slave 1, firmware 2.8");
    }
    void meaning()
    {
        const auto [exchange, meaning] = fetch<Exchange, QString>("exchange", "meaning");
        QCOMPARE(ExchangeText::Meaning(exchange, text), meaning);
    }

    // A port fault recorded in one language reads in the language shown later.
    void portFaultFollowsTheLanguage_data()
    {
        columns<QString, QString>("language", "meaning");
        row("English", "English",
            "03 Read holding registers: address 128, count 1 - port fault: The port was lost "
            "(adapter removed?) (/dev/ttyUSB0)");
        row("French", "Français",
            "03 Lecture de mots : adresse 128, nombre 1 - défaut du port : Le port a été perdu "
            "(adaptateur débranché ?) (/dev/ttyUSB0)");
        row("German", "Deutsch",
            "03 Halteregister lesen: Adresse 128, Anzahl 1 - Schnittstellenfehler: Die "
            "Schnittstelle ist verloren gegangen (Adapter abgezogen?) (/dev/ttyUSB0)");
    }
    void portFaultFollowsTheLanguage()
    {
        const auto [language, meaning] = fetch<QString, QString>("language", "meaning");
        ComCtrl line;
        Exchange seen;
        line.addObserver([&seen](const Exchange& exchange) { seen = exchange; });
        ExchangeRecorder(line, WithCrc(Hex("010300800001")))
            .failed(RunTimeError(ErrorNumber::PortLost, "/dev/ttyUSB0"));
        DataFunctions7310::SetCurrentLanguage(language);
        const QString shown = ExchangeText::Meaning(seen, text);
        DataFunctions7310::SetCurrentLanguage("English");
        QCOMPARE(shown, meaning);
    }

    // The ring keeps the newest exchanges.
    void ring()
    {
        ExchangeLog log;
        const QDateTime t0 = QDateTime::currentDateTime();
        for (int i = 0; i < ExchangeLog::DefaultCapacity + 5; ++i) {
            Exchange e = made("010300800001", "01030200FE", Exchange::Outcome::Complete);
            e.startedMs = t0.addMSecs(i).toMSecsSinceEpoch();
            log.append(e);
        }
        QCOMPARE(log.size(), ExchangeLog::DefaultCapacity);
        QCOMPARE(log.at(0).started(), t0.addMSecs(5));
        QCOMPARE(log.at(log.size() - 1).started(), t0.addMSecs(ExchangeLog::DefaultCapacity + 4));
    }

    // The CSV is written for the spreadsheet of the language: it reads back through Python's
    // csv module with the separator and the mark that spreadsheet expects.
    void csvForTheLanguage_data()
    {
        columns<QString, QString, bool, QStringList>("language", "separator", "mark", "fields");
        const QString time =
            QDateTime::fromMSecsSinceEpoch(1'700'000'000'123).toString(Qt::ISODateWithMs);
        row("English: commas, decimal point, no mark", "English", ",", false,
            QStringList{time, "", "Panel configuration", "/dev/ttyUSB0", "9600,n,8,1",
                        "01 03 00 80 00 01 85 E2", "01 03 02 00 FE 39 C4", "1.500", "complete",
                        "word 128 Line speed = 254 (9600)"});
        row("French: semicolons, decimal comma, byte-order mark", "Français", ";", true,
            QStringList{time, "", "Configuration du panneau", "/dev/ttyUSB0", "9600,n,8,1",
                        "01 03 00 80 00 01 85 E2", "01 03 02 00 FE 39 C4", "1,500", "complète",
                        "mot 128 Vitesse de communication = 254 (9600)"});
        row("German: the same as French", "Deutsch", ";", true, QStringList());
    }
    void csvForTheLanguage()
    {
        const auto [language, separator, mark, fields] =
            fetch<QString, QString, bool, QStringList>("language", "separator", "mark", "fields");
        DataFunctions7310::SetCurrentLanguage(language);
        ExchangeLog few(4);
        for (int i = 0; i < 3; ++i) {
            Exchange e = made("010300800001", "01030200FE", Exchange::Outcome::Complete);
            e.startedMs = 1'700'000'000'123 + i;
            e.durationUs = 1500;
            e.origin = 231000;
            e.port = QStringLiteral("/dev/ttyUSB0");
            e.settings = QStringLiteral("9600,n,8,1");
            few.append(e);
        }
        few.append(made("0106000A0001", nullptr, Exchange::Outcome::TimeOut));
        // Fields holding either separator, a quote or a line break survive the round trip.
        const QStringList header{"Time",          "Δ ms",     "Origin, window", "Port",
                                 "Set;tings",     "Request",  "Answer",         "Duration",
                                 "Outcome \"x\"", "Mean\ning"};
        // The line's modes go first, as one field whatever separators it holds.
        const QString preface = "Direction: RTS; Echo: Automatic, echo found";
        const QByteArray csv = ExchangeText::Csv(few, header, text, CsvFormat::Current(), preface);
        DataFunctions7310::SetCurrentLanguage("English");
        QCOMPARE(csv.startsWith("\xEF\xBB\xBF"), mark);
        QCOMPARE(csv.count("\xEF\xBB\xBF"), mark ? 1 : 0);

        QTemporaryDir dir;
        const QString file = dir.filePath("log.csv");
        QString error;
        QVERIFY(ExchangeText::SaveAtomically(file, csv, &error));
        QVERIFY(!ExchangeText::SaveAtomically(dir.filePath("no/such/folder.csv"), "x", &error));
        QVERIFY(error.contains("no/such/folder.csv"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList("log.csv"));

        QProcess python;
        python.start("/usr/bin/python3",
                     {"-c",
                      "import csv,json,sys; print(json.dumps(list(csv.reader(open(sys.argv[1],"
                      " newline='', encoding='utf-8-sig'), delimiter=sys.argv[2]))))",
                      file, separator});
        QVERIFY(python.waitForFinished(10000));
        const QJsonArray rows = QJsonDocument::fromJson(python.readAllStandardOutput()).array();
        QCOMPARE(rows.size(), 6);
        QCOMPARE(rows[0].toVariant().toStringList(), QStringList(preface));
        QCOMPARE(rows[1].toVariant().toStringList(), header);
        if (!fields.isEmpty())
            QCOMPARE(rows[2].toVariant().toStringList(), fields);
        QCOMPARE(rows[3].toArray()[1].toString(), "1");
        QCOMPARE(rows[5].toArray().size(), 10);
    }
};

QTEST_GUILESS_MAIN(TestExchanges)
#include "tst_exchanges.moc"
