// The print settings dialog against its settings file, and the PDF print-out read back with
// pdftotext -bbox: what is on the page and where, in points (1 mm = 2.8346 pt).
#include "configtestkit.h"
#include "wprintconfig.h"

#include <QGroupBox>
#include <QListWidget>
#include <QPrinterInfo>
#include <QProcess>
#include <QXmlStreamReader>

namespace {

constexpr double ptPerMm = 72 / 25.4;
constexpr double tolerance = 0.5 * ptPerMm;

struct Word
{
    QString text;
    double xMin, yMin, xMax, yMax;
};

// The words of a PDF's page and the page's size, as pdftotext -bbox gives them.
QList<Word> bbox(const QString& pdf, double& width, double& height)
{
    QProcess tool;
    tool.start("pdftotext", {"-bbox", pdf, "-"});
    tool.waitForFinished(30000);
    QXmlStreamReader xml(tool.readAllStandardOutput());
    QList<Word> words;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const auto a = xml.attributes();
        if (xml.name() == QLatin1String("page")) {
            width = a.value("width").toDouble();
            height = a.value("height").toDouble();
        } else if (xml.name() == QLatin1String("word")) {
            // Ligatures such as "fi" come back as one character.
            words.append({xml.readElementText().normalized(QString::NormalizationForm_KC),
                          a.value("xMin").toDouble(), a.value("yMin").toDouble(),
                          a.value("xMax").toDouble(), a.value("yMax").toDouble()});
        }
    }
    return words;
}

} // namespace

class TestPrintConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_fixture.openData()); }
    void init() { DataFunctions7310::SetCurrentLanguage("English"); }
    void cleanup()
    {
        QFile::remove(m_fixture.iniFile);
        QFile::remove(m_fixture.dir.filePath("out.pdf"));
    }

    // The dialog's rules: what it shows from the file, what Ok and Cancel store.
    void dialog_data()
    {
        QTest::addColumn<QString>("before"); // section "Print", "key=value" separated by ";"
        QTest::addColumn<bool>("mask");
        QTest::addColumn<QStringList>("typed"); // the five boxes; empty: left as shown
        QTest::addColumn<QString>("keys");      // typed into the left box once it has the focus
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("stored"); // the boxes shown, then the six keys ("-": absent)
        QTest::addColumn<int>("refused");    // the box named and focused, or -1
        const QString pdf = "PrinterName=PDF file";
        const QStringList ones{"1", "1", "1", "1", "1"};
        const int ok = wPrintConfig::Ok;
        row("fresh file: defaults; Ok stores them as typed and the PDF entry", QString(), false,
            QStringList(), QString(), ok, QString("20 10 20 20 120 | 20 10 20 20 120 PDF file"),
            -1);
        row("typed text stored exactly, decimals and spaces kept", QString(), false,
            QStringList{"15", "12.5", " 25", "18", "90"}, QString(), ok,
            QString("20 10 20 20 120 | 15 12.5  25 18 90 PDF file"), -1);
        row("masked margins: only the printer, stored margins untouched",
            QString("TopMargin=5;ValueMargin=x"), true, ones, QString(), ok,
            QString("5 10 20 20 x | 5 - - - x PDF file"), -1);
        row("focus selects all; sign and digits pass, letters and point do not", QString(), false,
            QStringList(), QString("+3a.5"), ok,
            QString("20 10 20 20 120 | 20 10 +35 20 120 PDF file"), -1);
        row("cancel stores nothing", QString(), false, ones, QString(), int(wPrintConfig::Cancel),
            QString("20 10 20 20 120 | - - - - - -"), -1);
        row("empty top refused", pdf, false, QStringList{"", "", "", "", ""}, QString(), ok,
            QString("20 10 20 20 120 | - - - - - PDF file"), int(wPrintConfig::Top));
        row("bottom not a number refused", pdf, false, QStringList{"20", "1O", "20", "20", "120"},
            QString(), ok, QString("20 10 20 20 120 | - - - - - PDF file"),
            int(wPrintConfig::Bottom));
        row("left + right fill the A4 width: refused", pdf, false,
            QStringList{"20", "10", "110", "100", "10"}, QString(), ok,
            QString("20 10 20 20 120 | - - - - - PDF file"), int(wPrintConfig::Right));
        row("value column beyond the right margin: refused", pdf, false,
            QStringList{"20", "10", "20", "20", "170"}, QString(), ok,
            QString("20 10 20 20 120 | - - - - - PDF file"), int(wPrintConfig::Value));
    }

    void dialog()
    {
        QFETCH(QString, before);
        QFETCH(bool, mask);
        QFETCH(QStringList, typed);
        QFETCH(QString, keys);
        QFETCH(int, button);
        QFETCH(QString, stored);
        QFETCH(int, refused);
        for (const QString& pair : before.split(';', Qt::SkipEmptyParts))
            ZRBfonctions::SetIniParam("Print", pair.section('=', 0, 0), pair.section('=', 1));

        wPrintConfig dialog;
        dialog.setMaskMargins(mask);
        dialog.show();
        QStringList seen;
        for (int i = 0; i < 5; ++i)
            seen << dialog.margin(i)->text();
        QCOMPARE(dialog.marginsFrame()->title(), QString("Margins (mm)"));
        QListWidget* list = dialog.printers();
        QCOMPARE(list->item(list->count() - 1)->text(), QString("PDF file"));
        QCOMPARE(list->count(), QPrinterInfo::availablePrinterNames().size() + 1);
        if (before.isEmpty()) {
            const QString selected = list->currentItem() ? list->currentItem()->text() : "";
            QCOMPARE(selected, QPrinterInfo::defaultPrinterName());
        }

        list->setCurrentRow(list->count() - 1);
        for (int i = 0; i < typed.size(); ++i)
            dialog.margin(i)->setText(typed[i]);
        if (!keys.isEmpty()) {
            dialog.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&dialog));
            dialog.margin(wPrintConfig::Left)->setFocus();
            QTest::keyClicks(dialog.margin(wPrintConfig::Left), keys);
        }
        User user;
        dialog.Bouton_Click(button);

        seen << "|";
        for (const char* key : {"TopMargin", "BottomMargin", "LeftMargin", "RightMargin",
                                "ValueMargin", "PrinterName"})
            seen << ZRBfonctions::GetIniParam("Print", key, "-");
        QCOMPARE(seen.join(' '), stored);
        QCOMPARE(dialog.confirmed(), button == wPrintConfig::Ok && refused < 0);
        if (refused < 0) {
            QVERIFY(user.messages.isEmpty());
            return;
        }
        QCOMPARE(user.messages.size(), 1);
        const QStringList names{"Top", "Bottom", "Left", "Right", "Values"};
        QVERIFY2(user.messages[0].contains('"' + names[refused] + '"'),
                 qPrintable(user.messages[0]));
        QCOMPARE(dialog.focusWidget(), dialog.margin(refused));
    }

    // The PDF: every label and value, the columns where the margins put them, nothing
    // outside the margins, in the window's language.
    void pdf_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("margins");
        QTest::addColumn<QString>("title");
        const QStringList defaults{"20", "10", "20", "20", "120"};
        row("English, default margins", QString("English"), defaults,
            QString("K7310 panel configuration"));
        row("French, default margins", QString("Français"), defaults,
            QString("Configuration du panneau K7310"));
        row("German, wide margins, narrow value column", QString("Deutsch"),
            QStringList{"45", "60", "50.5", "40", "60"},
            QString("Konfiguration des Tableaus K7310"));
    }

    void pdf()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, margins);
        QFETCH(QString, title);
        for (int i = 0; i < 5; ++i)
            ZRBfonctions::SetIniParam("Print", wPrintConfig::MarginKey(i), margins[i]);
        DataFunctions7310::SetCurrentLanguage(language);
        ComCtrl port;
        port.setPortName("/dev/ttyUSB0");
        port.setSettings("19200,n,8,2");
        wPanelConfig window(port);
        window.cmdConfigInit_Click();
        const QString path = m_fixture.dir.filePath("out.pdf");
        QVERIFY(window.printPdf(path));

        double width = 0;
        double height = 0;
        const QList<Word> words = bbox(path, width, height);
        QVERIFY(!words.isEmpty());
        const double top = margins[0].toDouble() * ptPerMm;
        const double bottom = height - margins[1].toDouble() * ptPerMm;
        const double left = margins[2].toDouble() * ptPerMm;
        const double right = width - margins[3].toDouble() * ptPerMm;
        const double valueX = left + margins[4].toDouble() * ptPerMm;
        QString all;
        for (const Word& word : words) {
            QVERIFY2(word.xMin >= left - tolerance && word.xMax <= right + tolerance &&
                         word.yMin >= top - tolerance && word.yMax <= bottom + tolerance,
                     qPrintable(word.text));
            all += word.text + ' ';
        }
        QVERIFY2(all.startsWith(title + ' '), qPrintable(all));
        QVERIFY(all.contains("/dev/ttyUSB0"));

        // The lines of a word that starts at x, as tenths of a point from the top.
        const auto lines = [&words](const QString& text, double x) {
            QList<int> tops;
            for (const Word& word : words) {
                if (word.text == text && std::abs(word.xMin - x) <= tolerance)
                    tops << qRound(word.yMin * 10);
            }
            return tops;
        };
        const PrintOut::Content content = window.printContent();
        QCOMPARE(content.lines.size(), 8);
        for (const PrintOut::Line& line : content.lines) {
            QVERIFY2(all.contains(' ' + line.label.simplified() + ' '), qPrintable(line.label));
            QVERIFY2(all.contains(' ' + line.value.simplified() + ' '), qPrintable(line.value));
            // The label's first word at the left margin, its value's first word in the value
            // column, on the same line.
            const QString labelWord = line.label.simplified().section(' ', 0, 0);
            const QString valueWord = line.value.simplified().section(' ', 0, 0);
            const QList<int> valueTops = lines(valueWord, valueX);
            const QList<int> labelTops = lines(labelWord, left);
            QVERIFY2(std::any_of(labelTops.begin(), labelTops.end(),
                                 [&](int y) { return valueTops.contains(y); }),
                     qPrintable(labelWord + " / " + valueWord));
        }
    }

    // A file that cannot be written: false, told why, nothing left behind.
    void pdfWriteFails()
    {
        ComCtrl port;
        wPanelConfig window(port);
        const QString path = m_fixture.dir.filePath("missing/out.pdf");
        User user;
        QVERIFY(!window.printPdf(path));
        QCOMPARE(user.messages.size(), 1);
        QVERIFY2(user.messages[0].contains(QDir::toNativeSeparators(path)),
                 qPrintable(user.messages[0]));
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(QDir(m_fixture.dir.path()).entryList({"*.pdf"}, QDir::Files).size(), 0);
    }

private:
    ShellFixture m_fixture;
};

QTEST_MAIN(TestPrintConfig)
#include "tst_printconfig.moc"