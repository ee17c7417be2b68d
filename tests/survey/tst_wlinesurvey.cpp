// The line survey window against a line of simulated panels: the table, Cancel and the events
// that run between probes, Export, and a row opened in the configuration window.
#include "linelock.h"
#include "shelltestkit.h"
#include "textids.h"
#include "wlinesurvey.h"
#include "wpanelconfig.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QProgressBar>
#include <QTableWidget>

namespace {

// The window on a simulated line, its settings file and data file in a scratch folder.
struct SurveyRig
{
    explicit SurveyRig(const QStringList& panels)
    {
        QStringList arguments;
        for (const QString& panel : panels)
            arguments << "--panel" << panel;
        started = sim.start(arguments) && fixture.openData();
        port.setPortName(sim.path());
        port.setSettings("9600,n,8,1");
        if (started)
            port.open();
    }
    ShellFixture fixture{};
    SimProcess sim;
    ComCtrl port;
    bool started = false;
};

QStringList column(const QTableWidget* table, int column)
{
    QStringList cells;
    for (int row = 0; row < table->rowCount(); ++row)
        cells << table->item(row, column)->text();
    return cells;
}

// Only the settings whose text is listed stay ticked.
void tickOnly(wLineSurvey& window, const QStringList& settings)
{
    for (QCheckBox* box : window.findChildren<QCheckBox*>(QRegularExpression("^chkSetting_")))
        box->setChecked(settings.contains(box->property("setting").toString()));
}

} // namespace

class TestWLineSurvey : public QObject
{
    Q_OBJECT

private slots:
    // Two panels at 9600/1 and one at 4800/2: one row each, sortable by slave; the events of the
    // window ran while the survey did; the selected rows go to the commissioning; Export writes
    // the rows in the order shown.
    void surveyFillsTheTable()
    {
        SurveyRig rig({"slave=12", "slave=5,version=2.7", "slave=40,speed=4800,stop=2"});
        QVERIFY(rig.started);
        wLineSurvey window(rig.port);
        window.show();
        tickOnly(window, {"9600/1", "4800/2"});
        int ticks = 0;
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, &timer, [&ticks] { ++ticks; });
        timer.start(20);
        window.cmdSurvey_Click();
        QVERIFY2(ticks > 10, "the window's events ran during the survey");
        QCOMPARE(window.result().end, LineSurvey::Result::End::Done);

        QTableWidget* table = window.table();
        table->sortByColumn(0, Qt::AscendingOrder);
        QCOMPARE(column(table, 0), (QStringList{"5", "12", "40"}));
        QCOMPARE(column(table, 1), (QStringList{"9600", "9600", "4800"}));
        QCOMPARE(column(table, 3), (QStringList{"2.7", "2.8", "2.8"}));
        QCOMPARE(window.findChild<QProgressBar*>("prgSurvey")->value(), 1000);
        QCOMPARE(rig.port.settings(), "9600,n,8,1");

        // The rows selected in the sorted table go to the commissioning as the panels they show.
        QList<LineSurvey::Row> handed;
        window.setCommissionOpener(
            [&handed](const QList<LineSurvey::Row>& rows) { handed = rows; });
        table->setSelectionMode(QAbstractItemView::MultiSelection);
        table->selectRow(0);
        table->selectRow(2);
        window.cmdCommission_Click();
        QCOMPARE(handed.size(), 2);
        QCOMPARE(handed[0].slave, 5);
        QCOMPARE(handed[1].slave, 40);
        QCOMPARE(handed[1].setting, (LineSurvey::Setting{4800, 2}));

        const QString csv = rig.fixture.dir.filePath("survey.csv");
        QVERIFY(window.exportCsv(csv));
        QFile file(csv);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList lines =
            QString::fromUtf8(file.readAll()).split("\r\n", Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines[0].startsWith("Slave,Found at (baud),Stop bits found,Version,"));
        QVERIFY(lines[3].startsWith("40,4800,2,2.8,4800,2,40,"));
    }

    // Cancel, clicked from a timer while the survey runs, stops it before the next probe; the
    // rows so far stay; a second survey while one runs is refused by the line lock.
    void cancelWhileRunning()
    {
        SurveyRig rig({"slave=1", "slave=2"});
        QVERIFY(rig.started);
        wLineSurvey window(rig.port);
        window.show();
        tickOnly(window, {"9600/1"});
        QStringList during;
        QTimer::singleShot(800, &window, [&] {
            during << QString::number(window.running());
            // Another survey on the same line is refused while this one runs.
            during << QString::number(int(LineSurvey::Run(rig.port, {}, nullptr, 0).end));
            window.findChild<QPushButton*>("cmdCancel")->click();
        });
        window.cmdSurvey_Click();
        QCOMPARE(during,
                 (QStringList{"1", QString::number(int(LineSurvey::Result::End::LineBusy))}));
        QCOMPARE(window.result().end, LineSurvey::Result::End::Cancelled);
        QCOMPARE(column(window.table(), 0), (QStringList{"1", "2"}));
        QVERIFY(window.findChild<QPushButton*>("cmdSurvey")->isEnabled());
    }

    // A row opened in the configuration window: the line moves to the panel's setting and the
    // panel is read there, with no slave dialog.
    void openInConfiguration()
    {
        SurveyRig rig({"slave=23,speed=19200,stop=2,version=2.6"});
        QVERIFY(rig.started);
        wLineSurvey window(rig.port);
        wPanelConfig config(rig.port);
        window.setConfigOpener([&config](int slave) { config.readSlave(std::uint8_t(slave)); });
        tickOnly(window, {"9600/1", "19200/2"});
        window.cmdSurvey_Click();
        QCOMPARE(window.table()->rowCount(), 1);
        window.table()->selectRow(0);

        ModalUser user([](QWidget* other) { other->close(); }); // the slave dialog would be one
        window.cmdOpenConfig_Click();
        QCOMPARE(rig.port.settings(), "19200,n,8,2");
        const ConfigMap::Values values = config.values();
        QCOMPARE(values[ConfigMap::Slave], 23);
        QCOMPARE(ConfigMap::SpeedItems().value(values[ConfigMap::Speed]), "19200");
        // Only the configuration window's own word on the version: no dialog was answered.
        QCOMPARE(user.messages.size(), 1);
        QVERIFY(user.messages[0].contains("2.6"));
        QCOMPARE(rig.fixture.iniText().contains("Bauds=19200"), true);
    }
};

QTEST_MAIN(TestWLineSurvey)
#include "tst_wlinesurvey.moc"
