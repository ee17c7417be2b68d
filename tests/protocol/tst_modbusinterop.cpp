// Our frames and transactions against libmodbus, an independent implementation of the protocol:
// the same requests must put the same bytes on the line, and a libmodbus slave must be read
// and written through LitMots, EcritMots and FrameReceived.
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "modbuspeer.h"
#include "ptypeer.h"

#include <QRandomGenerator>
#include <QTest>

#include <modbus.h>

using namespace CommFunctions;

namespace {

// A libmodbus master on the slave side of a pty; what it writes is read from the master.
class ModbusMaster
{
public:
    explicit ModbusMaster(const PtyPair& pty, int slave)
    {
        m_context = modbus_new_rtu(pty.slavePath().toLocal8Bit().constData(), 9600, 'N', 8, 1);
        if (!m_context)
            return;
        modbus_set_slave(m_context, slave);
        // Nobody answers: give up at once, only the request matters here.
        modbus_set_response_timeout(m_context, 0, 1000);
        if (modbus_connect(m_context) != 0) {
            modbus_free(m_context);
            m_context = nullptr;
        }
    }
    ~ModbusMaster()
    {
        if (m_context) {
            modbus_close(m_context);
            modbus_free(m_context);
        }
    }
    modbus_t* context() const { return m_context; }

private:
    modbus_t* m_context = nullptr;
};

QList<int> patternItems(int count, int seed, bool bits)
{
    QList<int> items;
    QRandomGenerator random(static_cast<quint32>(seed));
    for (int i = 0; i < count; ++i)
        items.append(bits ? int(random.bounded(2)) : int(random.bounded(65536)) - 32768);
    return items;
}

} // namespace

class TestModbusInterop : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void requestBytes_data();
    void requestBytes();
    void crcOfAnyBytes();
    void transactions_data();
    void transactions();
};

void TestModbusInterop::requestBytes_data()
{
    QTest::addColumn<int>("slave");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("quantity");
    QTest::newRow("f1") << 1 << 1 << 0x13 << 0x25;
    QTest::newRow("f2") << 9 << 2 << 0xC4 << 0x16;
    QTest::newRow("f3 slave 64, top address") << 64 << 3 << 65535 << 125;
    QTest::newRow("f3 one word") << 17 << 3 << 130 << 1;
    QTest::newRow("f4") << 3 << 4 << 0x1000 << 7;
    QTest::newRow("f5 on") << 1 << 5 << 0xAC << 1;
    QTest::newRow("f5 off") << 1 << 5 << 0xAD << 0;
    QTest::newRow("f6 negative") << 33 << 6 << 66 << -2;
    QTest::newRow("f6 0x8000") << 33 << 6 << 67 << -32768;
    QTest::newRow("f15 ten bits") << 17 << 15 << 0x13 << 10;
    QTest::newRow("f15 one bit") << 2 << 15 << 0 << 1;
    QTest::newRow("f15 1968 bits") << 2 << 15 << 100 << 1968;
    QTest::newRow("f16 one word") << 5 << 16 << 0 << 1;
    QTest::newRow("f16 123 words") << 5 << 16 << 300 << 123;
}

void TestModbusInterop::requestBytes()
{
    QFETCH(int, slave);
    QFETCH(int, function);
    QFETCH(int, address);
    QFETCH(int, quantity);
    PtyPair pty;
    QVERIFY(pty.ok());
    ModbusMaster master(pty, slave);
    QVERIFY(master.context());
    modbus_t* context = master.context();

    // For 5 and 6 the quantity column is the value; for 15 and 16 the data is a pattern.
    QByteArray ours;
    std::uint8_t bits[2000] = {};
    std::uint16_t words[130] = {};
    std::uint16_t sink[130] = {};
    std::uint8_t bitSink[2000] = {};
    switch (function) {
    case 1:
        modbus_read_bits(context, address, quantity, bitSink);
        ours = FrameToSend(slave, 1, address, quantity);
        break;
    case 2:
        modbus_read_input_bits(context, address, quantity, bitSink);
        ours = FrameToSend(slave, 2, address, quantity);
        break;
    case 3:
        modbus_read_registers(context, address, quantity, sink);
        ours = FrameToSend(slave, 3, address, quantity);
        break;
    case 4:
        modbus_read_input_registers(context, address, quantity, sink);
        ours = FrameToSend(slave, 4, address, quantity);
        break;
    case 5:
        modbus_write_bit(context, address, quantity);
        ours = FrameToSend(slave, 5, address, 1, quantity);
        break;
    case 6:
        modbus_write_register(context, address, static_cast<std::uint16_t>(quantity));
        ours = FrameToSend(slave, 6, address, 1, quantity);
        break;
    case 15: {
        const QList<int> items = patternItems(quantity, address, true);
        for (int i = 0; i < quantity; ++i)
            bits[i] = static_cast<std::uint8_t>(items[i]);
        modbus_write_bits(context, address, quantity, bits);
        ours = FrameToSend(slave, 15, address, quantity, items);
        break;
    }
    case 16: {
        const QList<int> items = patternItems(quantity, address, false);
        for (int i = 0; i < quantity; ++i)
            words[i] = static_cast<std::uint16_t>(items[i]);
        modbus_write_registers(context, address, quantity, words);
        ours = FrameToSend(slave, 16, address, quantity, items);
        break;
    }
    }
    QVERIFY(ours.size() > 1);
    const QByteArray theirs = pty.readMaster(int(ours.size()), 500);
    QCOMPARE(theirs.toHex(' '), ours.toHex(' '));
}

void TestModbusInterop::crcOfAnyBytes()
{
    PtyPair pty;
    QVERIFY(pty.ok());
    ModbusMaster master(pty, 1);
    QVERIFY(master.context());
    QRandomGenerator random(7310);
    for (int round = 0; round < 300; ++round) {
        const int length = 2 + int(random.bounded(200));
        QByteArray bytes(length, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random.bounded(256));
        const int sent = modbus_send_raw_request(
            master.context(), reinterpret_cast<const std::uint8_t*>(bytes.constData()), length);
        QCOMPARE(sent, length + 2);
        const QByteArray theirs = pty.readMaster(length + 2, 500);
        QCOMPARE(theirs.size(), length + 2);
        QCOMPARE(theirs.left(length), bytes);
        // Our CRC16, with its room for the CRC behind the covered bytes.
        const auto crc = static_cast<std::uint16_t>(
            CRC16(bytes + QByteArray(2, '\0'), static_cast<std::int16_t>(length)));
        QCOMPARE(std::uint8_t(theirs[length]), std::uint8_t(crc & 0xFF));
        QCOMPARE(std::uint8_t(theirs[length + 1]), std::uint8_t(crc >> 8));
    }
}

void TestModbusInterop::transactions_data()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("f3 LitMots") << "read";
    QTest::newRow("f6 EcritMots") << "write";
    QTest::newRow("f16 FrameReceived") << "write several";
    QTest::newRow("exception answer") << "exception";
}

void TestModbusInterop::transactions()
{
    QFETCH(QString, operation);
    constexpr int Slave = 7;
    PtyPair pty;
    QVERIFY(pty.ok());
    ModbusServer server(pty.master(), Slave, 200);
    QVERIFY(server.ok());
    for (int i = 0; i < server.registerCount(); ++i)
        server.setReg(i, static_cast<std::uint16_t>(0x0100 * i + 0x80 + i));
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();

    if (operation == QLatin1String("read")) {
        QList<std::int16_t> words(4, 0);
        QVERIFY(LitMots(line, Slave, 65, words));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(std::uint16_t(words[i]), server.reg(65 + i));
        // A 125-word read, the most one answer can carry.
        QList<std::int16_t> many(125, 0);
        QVERIFY(LitMots(line, Slave, 0, many));
        QCOMPARE(std::uint16_t(many[124]), server.reg(124));
    } else if (operation == QLatin1String("write")) {
        QVERIFY(EcritMots(line, Slave, 130, -2));
        QCOMPARE(server.reg(130), std::uint16_t(0xFFFE));
        QList<std::int16_t> words(1, 0);
        QVERIFY(LitMots(line, Slave, 130, words));
        QCOMPARE(words.first(), std::int16_t(-2));
    } else if (operation == QLatin1String("write several")) {
        const QByteArray request = FrameToSend(Slave, 16, 20, 3, QList<int>{1, -1, 0x7FFF});
        const QByteArray answer = FrameReceived(line, request, 1.0f);
        QCOMPARE(answer.size(), 8);
        QCOMPARE(answer.left(6), request.left(6));
        QCOMPARE(std::uint16_t(CRC16(answer, 6)),
                 std::uint16_t(std::uint8_t(answer[6]) | std::uint8_t(answer[7]) << 8));
        QCOMPARE(server.reg(20), std::uint16_t(1));
        QCOMPARE(server.reg(21), std::uint16_t(0xFFFF));
        QCOMPARE(server.reg(22), std::uint16_t(0x7FFF));
    } else {
        // Beyond the server's registers: illegal data address.
        const QByteArray request = FrameToSend(Slave, 3, 190, 20);
        const QByteArray answer = FrameReceived(line, request, 1.0f);
        QCOMPARE(answer.size(), 5);
        QCOMPARE(std::uint8_t(answer[1]), std::uint8_t(0x83));
        QCOMPARE(int(answer[2]), 2);
        QCOMPARE(std::uint16_t(CRC16(answer, 3)),
                 std::uint16_t(std::uint8_t(answer[3]) | std::uint8_t(answer[4]) << 8));
        QVERIFY(!ValidReadAnswer(request, answer));
        QVERIFY(FrameToText(answer).endsWith(QLatin1Char('(') + DataFunctions7310::GetText(233803) +
                                             QLatin1Char(')')));
    }
}

// Exception answers are described by texts of the data file built beside the program.
void TestModbusInterop::initTestCase()
{
    QString detail;
    QCOMPARE(
        DataFunctions7310::OpenDataFile(QStringLiteral(K7310_BIN_DIR "/k7310console.dat"), &detail),
        0);
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
    const QString text = DataFunctions7310::GetText(233803);
    QVERIFY2(!text.isEmpty() && !text.startsWith(QLatin1Char('#')), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestModbusInterop)
#include "tst_modbusinterop.moc"
