// The line settings a slave search tries, and their order, from the line's current ones.
#include "detectk9120.h"

#include <QTest>

using namespace CommFunctions;

class TestSearchOrder : public QObject
{
    Q_OBJECT

private slots:
    void order_data();
    void order();
};

void TestSearchOrder::order_data()
{
    QTest::addColumn<int>("speed");
    QTest::addColumn<int>("stops");
    QTest::addColumn<bool>("autoSearch");
    QTest::addColumn<QString>("expected");

    QTest::newRow("9600/1: 9600/2 is never tried")
        << 9600 << 1 << true << "9600/1 19200/1 19200/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
    QTest::newRow("9600/2: 2 stop bits before 1")
        << 9600 << 2 << true << "9600/2 19200/2 19200/1 4800/2 4800/1 2400/2 2400/1 1200/2 1200/1";
    QTest::newRow("19200/1: current speed first, skipped where it comes again")
        << 19200 << 1 << true << "19200/1 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
    QTest::newRow("1200/2: the last fixed speed skipped at the end")
        << 1200 << 2 << true << "1200/2 19200/2 19200/1 9600/2 9600/1 4800/2 4800/1 2400/2 2400/1";
    QTest::newRow("speed outside the fixed list: every fixed speed with both")
        << 38400 << 1 << true
        << "38400/1 19200/1 19200/2 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
    QTest::newRow("without automatic search: the current settings only")
        << 4800 << 2 << false << "4800/2";
}

void TestSearchOrder::order()
{
    QFETCH(int, speed);
    QFETCH(int, stops);
    QFETCH(bool, autoSearch);
    QFETCH(QString, expected);

    QStringList tried;
    for (const LineCombination& c :
         SearchOrder(speed, static_cast<std::int16_t>(stops), autoSearch))
        tried << QStringLiteral("%1/%2").arg(c.speed).arg(c.stops);
    QCOMPARE(tried.join(QLatin1Char(' ')), expected);
}

QTEST_GUILESS_MAIN(TestSearchOrder)
#include "tst_searchorder.moc"
