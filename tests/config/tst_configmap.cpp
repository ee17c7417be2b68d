// The coding of the configuration words, without widgets or a line.
#include "../common/datarow.h"
#include "configmap.h"

using namespace ConfigMap;

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
        // The codings in range are read and written through the window's tests; here the
        // words no control item matches and the slave numbers a write refuses.
        row("stop bits 0 select nothing", int(Stops), 0, -1, false);
        row("stop bits 3 select nothing", int(Stops), 3, -1, false);
        row("slave 0 is shown but not written", int(Slave), 0, 0, false);
        row("slave 64 is the last writable", int(Slave), 64, 64, true);
        row("slave 200 is shown but not written", int(Slave), 200, 200, false);
        row("bus mode 4 selects nothing", int(BusMode), 4, -1, false);
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
};

QTEST_GUILESS_MAIN(TestConfigMap)
#include "tst_configmap.moc"
