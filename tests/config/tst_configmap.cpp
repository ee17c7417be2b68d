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
};

QTEST_GUILESS_MAIN(TestConfigMap)
#include "tst_configmap.moc"
