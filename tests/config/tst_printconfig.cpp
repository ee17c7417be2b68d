// The print settings dialog against its settings file, and the PDF print-out read back with
// pdftotext -bbox: what is on the page and where, in points (1 mm = 2.8346 pt).
#include "comctrl.h"
#include "shelltestkit.h"
#include "wpanelconfig.h"
#include "wprintconfig.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPrinterInfo>
#include <QProcess>
#include <QXmlStreamReader>

namespace {

constexpr double ptPerMm = 72 / 25.4;
constexpr double tolerance = 0.5 * ptPerMm;

// Closes every message box that comes up and keeps its text.
struct Boxes
{
    QStringList texts;
    QTimer timer;
    Boxes()
    {
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                texts << box->text();
                box->done(QMessageBox::Ok);
            }
        });
        timer.start(10);
    }
};

struct Word
{
    QString text;
    double xMin, yMin, xMax, yMax;
};

} // namespace

class TestPrintConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_fixture.openData());
        DataFunctions7310::SetCurrentLanguage("English");
    }
    void cleanup()
    {
        QFile::remove(m_fixture.iniFile);
        QFile::remove(m_fixture.dir.filePath("out.pdf"));
        DataFunctions7310::SetCurrentLanguage("English");
    }

    // The dialog's rules: what it shows from the file, what Ok and Cancel store.
    void dialog_data()
    {
        QTest::addColumn<QString>("before"); // section "Print", "key=value" separated by ";"
        QTest::addColumn<bool>("mask");
        QTest::addColumn<QStringList>("typed"); // the five boxes; empty: left as shown
        QTest::addColumn<int>("button");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("after"); // the six keys, "-" when absent
        QTest::addColumn<int>("refused");   // the box named and focused, or -1
        QTest::addColumn<QString>("keys");  // typed into the left box once it has the focus
        const QString pdf = "PrinterName=PDF file";
        const int ok = wPrintConfig::Ok;
        QTest::newRow("fresh file: defaults; Ok stores them as typed and the PDF entry")
            << "" << false << QStringList() << ok << "20 10 20 20 120"
            << "20 10 20 20 120 PDF file" << -1 << "";
        QTest::newRow("typed text stored exactly, decimals and spaces kept")
            << "" << false << QStringList{"15", "12.5", " 25", "18", "90"} << ok
            << "20 10 20 20 120"
            << "15 12.5  25 18 90 PDF file" << -1 << "";
        QTest::newRow("masked margins: only the printer, stored margins untouched")
            << "TopMargin=5;ValueMargin=x" << true << QStringList{"1", "1", "1", "1", "1"} << ok
            << "5 10 20 20 x"
            << "5 - - - x PDF file" << -1 << "";
        QTest::newRow("focus selects all; sign and digits pass, letters and point do not")
            << "" << false << QStringList() << ok << "20 10 20 20 120"
            << "20 10 +35 20 120 PDF file" << -1 << "+3a.5";
        QTest::newRow("cancel stores nothing")
            << "" << false << QStringList{"1", "1", "1", "1", "1"} << int(wPrintConfig::Cancel)
            << "20 10 20 20 120"
            << "- - - - - -" << -1 << "";
        QTest::newRow("empty top refused")
            << pdf << false << QStringList{"", "", "", "", ""} << ok << "20 10 20 20 120"
            << "- - - - - PDF file" << int(wPrintConfig::Top) << "";
        QTest::newRow("bottom not a number refused")
            << pdf << false << QStringList{"20", "1O", "20", "20", "120"} << ok << "20 10 20 20 120"
            << "- - - - - PDF file" << int(wPrintConfig::Bottom) << "";
        QTest::newRow("left + right fill the A4 width: refused")
            << pdf << false << QStringList{"20", "10", "110", "100", "10"} << ok
            << "20 10 20 20 120"
            << "- - - - - PDF file" << int(wPrintConfig::Right) << "";
        QTest::newRow("value column beyond the right margin: refused")
            << pdf << false << QStringList{"20", "10", "20", "20", "170"} << ok << "20 10 20 20 120"
            << "- - - - - PDF file" << int(wPrintConfig::Value) << "";
    }

    void dialog()
    {
        QFETCH(QString, keys);
        QFETCH(QString, before);
        QFETCH(bool, mask);
        QFETCH(QStringList, typed);
        QFETCH(int, button);
        QFETCH(QString, shown);
        QFETCH(QString, after);
        QFETCH(int, refused);
        for (const QString& pair : before.split(';', Qt::SkipEmptyParts))
            ZRBfonctions::SetIniParam("Print", pair.section('=', 0, 0), pair.section('=', 1));

        wPrintConfig dialog;
        dialog.setMaskMargins(mask);
        dialog.show();
        QStringList margins;
        for (int i = 0; i < 5; ++i)
            margins << dialog.margin(i)->text();
        QCOMPARE(margins.join(' '), shown);
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
        Boxes boxes;
        dialog.Bouton_Click(button);

        QStringList stored;
        const QStringList settingKeys{"TopMargin",   "BottomMargin", "LeftMargin",
                                      "RightMargin", "ValueMargin",  "PrinterName"};
        for (const QString& key : settingKeys)
            stored << ZRBfonctions::GetIniParam("Print", key, "-");
        QCOMPARE(stored.join(' '), after);
        QCOMPARE(dialog.confirmed(), button == wPrintConfig::Ok && refused < 0);
        if (refused >= 0) {
            QCOMPARE(boxes.texts.size(), 1);
            const QStringList names{"Top", "Bottom", "Left", "Right", "Values"};
            QVERIFY2(boxes.texts[0].contains('"' + names[refused] + '"'),
                     qPrintable(boxes.texts[0]));
            QCOMPARE(dialog.focusWidget(), dialog.margin(refused));
        } else {
            QVERIFY(boxes.texts.isEmpty());
        }
    }

    // The PDF: every label and value, the columns where the margins put them, nothing
    // outside the margins, in the window's language.
    void pdf_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("margins");
        QTest::addColumn<QString>("title");
        QTest::newRow("English, default margins")
            << "English" << QStringList{"20", "10", "20", "20", "120"}
            << "K7310 panel configuration";
        QTest::newRow("French, default margins")
            << "Français" << QStringList{"20", "10", "20", "20", "120"}
            << "Configuration du panneau K7310";
        QTest::newRow("German, wide margins, narrow value column")
            << "Deutsch" << QStringList{"45", "60", "50.5", "40", "60"}
            << "Konfiguration des Tableaus K7310";
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
        for (const Word& word : words) {
            QVERIFY2(word.xMin >= left - tolerance && word.xMax <= right + tolerance &&
                         word.yMin >= top - tolerance && word.yMax <= bottom + tolerance,
                     qPrintable(word.text));
        }
        QString all;
        for (const Word& word : words)
            all += word.text + ' ';
        QVERIFY2(all.startsWith(title + ' '), qPrintable(all));
        QVERIFY(all.contains("/dev/ttyUSB0"));

        const PrintOut::Content content = window.printContent();
        QCOMPARE(content.lines.size(), 8);
        for (const PrintOut::Line& line : content.lines) {
            QVERIFY2(all.contains(' ' + line.label.simplified() + ' '), qPrintable(line.label));
            QVERIFY2(all.contains(' ' + line.value.simplified() + ' '), qPrintable(line.value));
            // The label's first word at the left margin, its value's first word in the value
            // column, on the same line.
            const QString labelWord = line.label.simplified().section(' ', 0, 0);
            const QString valueWord = line.value.simplified().section(' ', 0, 0);
            const auto lines = [&words](const QString& text, double x) {
                QList<int> tops;
                for (const Word& word : words) {
                    if (word.text == text && std::abs(word.xMin - x) <= tolerance)
                        tops << qRound(word.yMin * 10);
                }
                return tops;
            };
            const QList<int> labelTops = lines(labelWord, left);
            const QList<int> valueTops = lines(valueWord, valueX);
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
        Boxes boxes;
        QVERIFY(!window.printPdf(path));
        QCOMPARE(boxes.texts.size(), 1);
        QVERIFY2(boxes.texts[0].contains(QDir::toNativeSeparators(path)),
                 qPrintable(boxes.texts[0]));
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(QDir(m_fixture.dir.path()).entryList({"*.pdf"}, QDir::Files).size(), 0);
    }

private:
    static QList<Word> bbox(const QString& pdf, double& width, double& height)
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
                words.append({QString(), a.value("xMin").toDouble(), a.value("yMin").toDouble(),
                              a.value("xMax").toDouble(), a.value("yMax").toDouble()});
                // Ligatures such as "fi" come back as one character.
                words.last().text = xml.readElementText().normalized(QString::NormalizationForm_KC);
            }
        }
        return words;
    }

    ShellFixture m_fixture;
};

QTEST_MAIN(TestPrintConfig)
#include "tst_printconfig.moc"
