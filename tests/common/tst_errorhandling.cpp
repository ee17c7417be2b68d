#include "errorhandling.h"

#include <QTest>

class TestErrorHandling : public QObject
{
    Q_OBJECT

private slots:
    void message_data();
    void message();
    void presenterReceivesText();
};

void TestErrorHandling::message_data()
{
    QTest::addColumn<QString>("procedure");
    QTest::addColumn<QString>("tail");

    QTest::newRow("event handler splits object and event")
        << "wMain.MDIForm_Load"
        << "Module : wMain\r\nObject : MDIForm\r\nEvent : Load";
    QTest::newRow("module procedure gives a function line")
        << "DataFunctions.GetText"
        << "Module : DataFunctions\r\nFunction : GetText";
    QTest::newRow("no dot shows the whole name") << "Start_Up"
                                                 << "Module : Start_Up";
    QTest::newRow("dot first gives an empty module")
        << ".cmdRead_Click"
        << "Module : \r\nObject : cmdRead\r\nEvent : Click";
    QTest::newRow("underscore before the dot is ignored") << "w_Main.Load"
                                                          << "Module : w_Main\r\nFunction : Load";
    QTest::newRow("only the first underscore after the dot splits")
        << "wPanelTools.cmd_Tools_Click"
        << "Module : wPanelTools\r\nObject : cmd\r\nEvent : Tools_Click";
}

void TestErrorHandling::message()
{
    QFETCH(QString, procedure);
    QFETCH(QString, tail);
    const QString text = ErrorReport::Message(procedure, ErrorNumber::IndexOutOfRange);
    QCOMPARE(text, "Error Nr 9 : " + ErrorReport::Description(9) + "\r\n\r\n" + tail);
}

void TestErrorHandling::presenterReceivesText()
{
    QString shown;
    auto previous = ErrorReport::SetPresenter([&](const QString& m) { shown = m; });
    ErrorHandling("wMain.MDIForm_Load", RunTimeError(ErrorNumber::PortPermissionDenied, "dialout"));
    ErrorReport::SetPresenter(previous);
    QVERIFY(shown.startsWith("Error Nr 8006 : Permission denied on the port (dialout)\r\n\r\n"));
    QVERIFY(shown.endsWith("Event : Load"));
}

QTEST_GUILESS_MAIN(TestErrorHandling)
#include "tst_errorhandling.moc"
