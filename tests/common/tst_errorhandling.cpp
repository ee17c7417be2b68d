#include "errorhandling.h"
#include "testkit.h"

#include <QTest>

class TestErrorHandling : public QObject
{
    Q_OBJECT

private slots:
    void message_data()
    {
        QTest::addColumn<QString>("procedure");
        QTest::addColumn<QString>("tail");
        row("event handler splits object and event", "wMain.MDIForm_Load",
            "Module : wMain\r\nObject : MDIForm\r\nEvent : Load");
        row("module procedure gives a function line", "DataFunctions.GetText",
            "Module : DataFunctions\r\nFunction : GetText");
        row("no dot shows the whole name", "Start_Up", "Module : Start_Up");
        row("only the first underscore after the dot splits", "wPanelTools.cmd_Tools_Click",
            "Module : wPanelTools\r\nObject : cmd\r\nEvent : Tools_Click");
    }
    void message()
    {
        QFETCH(QString, procedure);
        QFETCH(QString, tail);
        QCOMPARE(ErrorReport::Message(procedure, ErrorNumber::IndexOutOfRange),
                 "Error Nr 9 : " + ErrorReport::Description(9) + "\r\n\r\n" + tail);
    }

    void presenterReceivesText()
    {
        QString shown;
        auto previous = ErrorReport::SetPresenter([&](const QString& m) { shown = m; });
        ErrorHandling("wMain.MDIForm_Load",
                      RunTimeError(ErrorNumber::PortPermissionDenied, "dialout"));
        ErrorReport::SetPresenter(previous);
        QVERIFY(
            shown.startsWith("Error Nr 8006 : Permission denied on the port (dialout)\r\n\r\n"));
        QVERIFY(shown.endsWith("Event : Load"));
    }
};

QTEST_GUILESS_MAIN(TestErrorHandling)
#include "tst_errorhandling.moc"
