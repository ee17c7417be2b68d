// The configuration print-out: the print settings dialog and what it stores, the PDF read back
// with pdftotext -bbox (what is on the page and where, in millimetres), and the preview's size
// on a 1024 x 768 screen.
#include "../common/promptcapture.h"
#include "shelltestkit.h"
#include "textids.h"
#include "wpanelconfig.h"
#include "wprintconfig.h"

#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPrintPreviewWidget>
#include <QProcess>
#include <QScreen>
#include <QXmlStreamReader>

namespace {

// Answers the modal windows of a print: the print settings get Ok, a preview is measured and
// closed, every message box is recorded and closed.
struct User : ModalUser
{
    QRect preview;   // the preview's frame, once it was shown
    QRect available; // the free area of its screen

    User()
        : ModalUser([this](QWidget* modal) { answer(modal); })
    {}
    void answer(QWidget* modal)
    {
        if (auto* settings = qobject_cast<wPrintConfig*>(modal)) {
            settings->button(wPrintConfig::Ok)->click();
        } else if (auto* dialog = qobject_cast<QDialog*>(modal);
                   dialog && dialog->findChild<QPrintPreviewWidget*>()) {
            preview = dialog->frameGeometry();
            available = dialog->screen()->availableGeometry();
            dialog->reject();
        }
    }
};

// A word of a PDF's page as pdftotext -bbox places it, in millimetres from the page's left,
// top, right and bottom edges. The text is as extracted: a ligature stays one character.
struct Word
{
    QString text;
    double left, top, right, bottom;
};

QList<Word> bbox(const QString& pdf)
{
    QProcess tool;
    tool.start("pdftotext", {"-bbox", pdf, "-"});
    tool.waitForFinished(30000);
    QXmlStreamReader xml(tool.readAllStandardOutput());
    QList<Word> words;
    double width = 0;
    double height = 0;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const auto mm = [&xml](const char* name) {
            return xml.attributes().value(name).toDouble() * 25.4 / 72;
        };
        if (xml.name() == QLatin1String("page")) {
            width = mm("width");
            height = mm("height");
        } else if (xml.name() == QLatin1String("word")) {
            words.append({{}, mm("xMin"), mm("yMin"), width - mm("xMax"), height - mm("yMax")});
            words.last().text = xml.readElementText();
        }
    }
    return words;
}

// The words from `x` millimetres rightwards, in reading order, joined by single blanks.
QString wordsFrom(const QList<Word>& words, double x)
{
    QStringList joined;
    for (const Word& word : words)
        if (word.left >= x - 0.5)
            joined << word.text;
    return joined.join(' ');
}

// The words on the line at `top` from x to below `to` millimetres, joined by single blanks.
QString lineText(const QList<Word>& words, double top, double x, double to)
{
    QStringList joined;
    for (const Word& word : words)
        if (std::abs(word.top - top) < 0.05 && word.left >= x - 0.5 && word.left < to - 0.5)
            joined << word.text;
    return joined.join(' ');
}

} // namespace

class TestPrintOut : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_fixture.openData()); }
    void init() { DataFunctions7310::SetCurrentLanguage("English"); }
    void cleanup()
    {
        QFile::remove(m_fixture.iniFile);
        QFile::remove(path());
    }

    // Print settings: Ok stores the margins as typed (defaults on a fresh file) and the printer,
    // masked margins keep their stored keys, Cancel stores nothing; a margin that cannot be used
    // is named, focused, and nothing is stored. Keys: top bottom left right value printer.
    void printSettings_data()
    {
        columns<QString, bool, int, QString, int>("typed", "mask", "button", "after", "refused");
        const int ok = wPrintConfig::Ok;
        row("fresh file: defaults stored", "", false, ok, "20 10 20 20 120 PDF file", -1);
        row("typed text stored exactly", "15|12.5| 25|18|90", false, ok,
            "15 12.5  25 18 90 PDF file", -1);
        row("masked margins: only the printer", "1|1|1|1|1", true, ok, "- - - - - PDF file", -1);
        row("cancel stores nothing", "1|1|1|1|1", false, int(wPrintConfig::Cancel), "- - - - - -",
            -1);
        row("empty top refused", "||||", false, ok, "- - - - - -", int(wPrintConfig::Top));
        row("bottom not a number", "20|1O|20|20|120", false, ok, "- - - - - -",
            int(wPrintConfig::Bottom));
        row("left + right fill the A4 width", "20|10|110|100|10", false, ok, "- - - - - -",
            int(wPrintConfig::Right));
        row("value column beyond the right margin", "20|10|20|20|170", false, ok, "- - - - - -",
            int(wPrintConfig::Value));
        row("500 mm top: no room left", "500|10|20|20|120", false, ok, "- - - - - -",
            int(wPrintConfig::Top));
        row("top + bottom fill the A4 height", "20|277|20|20|120", false, ok, "- - - - - -",
            int(wPrintConfig::Bottom));
        row("top + bottom leave 1 mm", "100|196|20|20|120", false, ok, "100 196 20 20 120 PDF file",
            -1);
    }

    void printSettings()
    {
        const auto [typed, mask, button, after, refused] =
            fetch<QString, bool, int, QString, int>("typed", "mask", "button", "after", "refused");
        wPrintConfig dialog;
        dialog.setMaskMargins(mask);
        dialog.show();
        QListWidget* list = dialog.printers();
        QCOMPARE(list->item(list->count() - 1)->text(), QString("PDF file"));
        list->setCurrentRow(list->count() - 1);
        const QStringList margins = typed.split('|');
        for (int i = 0; i < margins.size() && !typed.isEmpty(); ++i)
            dialog.margin(i)->setText(margins[i]);
        User user;
        dialog.Bouton_Click(button);
        QStringList stored;
        for (const char* key : {"TopMargin", "BottomMargin", "LeftMargin", "RightMargin",
                                "ValueMargin", "PrinterName"})
            stored << ZRBfonctions::GetIniParam("Print", key, "-");
        QCOMPARE(stored.join(' '), after);
        QCOMPARE(dialog.confirmed(), button == wPrintConfig::Ok && refused < 0);
        QCOMPARE(user.messages.size(), refused < 0 ? 0 : 1);
        if (refused >= 0) {
            const QStringList names{"Top", "Bottom", "Left", "Right", "Values"};
            QVERIFY2(user.messages[0].contains('"' + names[refused] + '"'),
                     qPrintable(user.messages[0]));
            QCOMPARE(dialog.focusWidget(), dialog.margin(refused));
        }
    }

    // The PDF of a panel at 19200 baud read over a console line at 9600: every label and every
    // value whole (a long value wraps inside its column; a word too wide for it moves the column
    // left, never over the labels), nothing outside the margins, the text searchable as typed,
    // the console's line apart from the panel's settings, the slave number once, the closing
    // lines to fill in, in the window's language.
    void pdf_data()
    {
        // Margins: top, bottom, left, right, value column; column: where the values stand,
        // "kept" at the value margin or "moved" left of it.
        columns<QString, QString, QString, QString, QString>("language", "margins", "column",
                                                             "title", "console");
        row("German, wide margins: long values wrap", "Deutsch", "45|60|50.5|40|60", "kept",
            "Konfiguration des Tableaus K7310",
            "Leitung der Konsole: /dev/ttyUSB0, 9600 Baud, 8N1");
        row("English, defaults", "English", "20|10|20|20|120", "kept", "K7310 panel configuration",
            "Console line: /dev/ttyUSB0, 9600 baud, 8N1");
        row("French, a word wider than the value room", "Français", "20|10|20|20|148", "moved",
            "Configuration du panneau K7310",
            "Ligne de la console : /dev/ttyUSB0, 9600 bauds, 8N1");
        row("German, value column beyond the right margin", "Deutsch", "20|10|20|20|175", "moved",
            "Konfiguration des Tableaus K7310",
            "Leitung der Konsole: /dev/ttyUSB0, 9600 Baud, 8N1");
    }

    void pdf()
    {
        const auto [language, typed, column, title, console] =
            fetch<QString, QString, QString, QString, QString>("language", "margins", "column",
                                                               "title", "console");
        const QStringList margins = typed.split('|');
        for (int i = 0; i < 5; ++i)
            ZRBfonctions::SetIniParam("Print", wPrintConfig::MarginKey(i), margins[i]);
        DataFunctions7310::SetCurrentLanguage(language);
        ComCtrl port;
        port.setPortName("/dev/ttyUSB0");
        port.setSettings("9600,n,8,1");
        wPanelConfig window(port);
        window.cmdConfigInit_Click();
        // The panel's own line and the longest choices, so that values must wrap.
        window.findChild<QComboBox*>("cboConfParam_0")->setCurrentText("19200");
        window.findChild<QLineEdit*>("txtConfParam_2")->setText("37");
        window.findChild<QComboBox*>("cboConfParam_3")->setCurrentIndex(2);
        window.findChild<QComboBox*>("cboConfParam_4")->setCurrentIndex(1);
        PromptCapture prompts;
        QVERIFY(window.printPdf(path()));
        const QString saved = DataFunctions7310::GetText(TextId::PrintPdfSaved);
        QCOMPARE(prompts.confirmations, QStringList{QString(saved).replace("$$", path())});

        const QList<Word> words = bbox(path());
        QVERIFY(!words.isEmpty());
        const auto margin = [&margins](int i) {
            return margins[i].toDouble();
        };
        QStringList all;
        for (const Word& word : words) {
            QVERIFY2(word.top >= margin(0) - 0.5 && word.bottom >= margin(1) - 0.5 &&
                         word.left >= margin(2) - 0.5 && word.right >= margin(3) - 0.5,
                     qPrintable(word.text));
            all << word.text;
        }
        const QString text = all.join(' ');
        // As typed: no ligature glyph stands for "fi" or "fl".
        QVERIFY2(text.startsWith(title + ' '), qPrintable(text));
        QVERIFY2(text.contains(' ' + console + ' '), qPrintable(text));
        QCOMPARE(all.count("37"), 1);

        const PrintOut::Content content = window.printContent();
        QCOMPARE(content.lines.size(), 9);
        const double left = margin(2);
        // The values' column: where the first value's first word stands.
        const auto first = std::find_if(words.begin(), words.end(), [&](const Word& word) {
            return word.text == content.lines[0].value.section(' ', 0, 0) && word.left > left + 1;
        });
        QVERIFY(first != words.end());
        const double valueColumn = first->left;
        double labelsEnd = 0;
        for (const PrintOut::Line& line : content.lines) {
            // A line of the page whose label part begins the label and whose value part, in
            // the value column, begins the value; the whole value in that column.
            const bool paired = std::any_of(words.begin(), words.end(), [&](const Word& word) {
                const QString label = lineText(words, word.top, 0, valueColumn);
                const QString value = lineText(words, word.top, valueColumn, 1000);
                return std::abs(word.left - left) <= 0.5 && !label.isEmpty() &&
                       line.label.startsWith(label) && !value.isEmpty() &&
                       line.value.startsWith(value);
            });
            QVERIFY2(paired, qPrintable(line.label + " / " + line.value));
            QVERIFY2((' ' + wordsFrom(words, valueColumn) + ' ').contains(' ' + line.value + ' '),
                     qPrintable(line.value + " in " + wordsFrom(words, valueColumn)));
        }
        // Where the widest label ends: the rightmost end of a word left of the values, from
        // the table's first line down.
        for (const Word& word : words)
            if (word.top >= first->top - 0.05 && word.left < valueColumn - 0.5)
                labelsEnd = std::max(labelsEnd, 210 - word.right);
        if (column == "kept") {
            QVERIFY2(std::abs(valueColumn - left - margin(4)) <= 0.5,
                     qPrintable(QString::number(valueColumn)));
        } else {
            QVERIFY2(valueColumn < left + margin(4) - 0.5,
                     qPrintable(QString::number(valueColumn)));
            QVERIFY2(valueColumn >= labelsEnd + PrintOut::LabelGapMm - 0.5,
                     qPrintable(QString::number(valueColumn) + " " + QString::number(labelsEnd)));
        }
        // The bus mode's value, the longest, wraps at this size onto a second line.
        const QString busMode = content.lines[3].value;
        QSet<int> lines;
        for (const Word& word : words)
            if (word.left >= valueColumn - 0.5 && busMode.split(' ').contains(word.text))
                lines.insert(qRound(word.top * 10));
        QVERIFY2(lines.size() >= 2 || column == "moved", qPrintable(busMode));

        // The closing lines below the table, at the left margin, in their order.
        QCOMPARE(content.closing.size(), 4);
        double below = 0;
        for (const Word& word : words)
            if (word.left >= valueColumn - 0.5)
                below = std::max(below, word.top);
        for (const QString& label : content.closing) {
            const auto found = std::find_if(words.begin(), words.end(), [&](const Word& word) {
                return word.text == label && std::abs(word.left - left) <= 0.5 &&
                       word.top > below + 5;
            });
            QVERIFY2(found != words.end(), qPrintable(label));
            below = found->top;
        }
    }

    // Margins that leave no room on the page: no file, and the reason, never a print-out with
    // the margins left out.
    void pdfMarginsNoRoom_data()
    {
        columns<QString>("margins");
        row("500 mm top", "500|10|20|20|120");
        row("left + right as wide as A4", "20|10|110|100|10");
    }

    void pdfMarginsNoRoom()
    {
        const auto [typed] = fetch<QString>("margins");
        const QStringList margins = typed.split('|');
        for (int i = 0; i < 5; ++i)
            ZRBfonctions::SetIniParam("Print", wPrintConfig::MarginKey(i), margins[i]);
        ComCtrl port;
        wPanelConfig window(port);
        User user;
        PromptCapture prompts;
        QVERIFY(!window.printPdf(path()));
        QVERIFY(!QFile::exists(path()));
        QCOMPARE(user.messages.size(), 1);
        const QString why =
            DataFunctions7310::GetText(TextId::PrintMarginsNoRoom).section('|', 0, 0);
        QVERIFY2(user.messages[0].contains(why), qPrintable(user.messages[0]));
        QVERIFY(prompts.confirmations.isEmpty());
    }

    // The preview before a PDF is saved stands whole on the screen's free area.
    void previewFitsScreen()
    {
        ZRBfonctions::SetIniParam("Print", "PrinterName", "PDF file");
        ComCtrl port;
        wPanelConfig window(port);
        window.show();
        User user;
        window.cmdPrint_Click();
        QVERIFY(!user.preview.isEmpty());
        QVERIFY2(user.available.contains(user.preview),
                 qPrintable(QString("%1x%2+%3+%4 on %5x%6")
                                .arg(user.preview.width())
                                .arg(user.preview.height())
                                .arg(user.preview.x())
                                .arg(user.preview.y())
                                .arg(user.available.width())
                                .arg(user.available.height())));
    }

private:
    QString path() const { return m_fixture.dir.filePath("out.pdf"); }

    ShellFixture m_fixture;
};

// Offscreen, the screen is the one a technician's laptop has: 1024 x 768.
int main(int argc, char* argv[])
{
    QTemporaryDir dir;
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen") {
        QFile screens(dir.filePath("screens.json"));
        if (screens.open(QIODevice::WriteOnly))
            screens.write(R"({"screens": [{"name": "laptop", "x": 0, "y": 0, "width": 1024,
                               "height": 768, "logicalDpi": 96, "logicalBaseDpi": 96,
                               "dpr": 1}]})");
        screens.close();
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.fileName().toUtf8());
    }
    QApplication app(argc, argv);
    TestPrintOut test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_printout.moc"
