// Our frames and transactions against libmodbus, an independent implementation of the protocol:
// the same requests must put the same bytes on the line, and a libmodbus slave must be read
// and written through LitMots, EcritMots and FrameReceived.
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "modbuspeer.h"
#include "ptypeer.h"

#include <QRandomGenerator>

#include <modbus.h>

using namespace CommFunctions;

class TestModbusInterop : public QObject
{
    Q_OBJECT

private slots:
    // Exception answers are described by texts of the data file built beside the program.
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
    }

    void requestBytes_data()
    {
        // quantity: for 5 and 6, the value written
        columns<int, int, int, int>("slave", "function", "address", "quantity");
        row("f1", 1, 1, 0x13, 0x25);
        row("f2", 9, 2, 0xC4, 0x16);
        row("f3 slave 64, top address, 125 words", 64, 3, 65535, 125);
        row("f4", 3, 4, 0x1000, 7);
        row("f5 on", 1, 5, 0xAC, 1);
        row("f5 off", 1, 5, 0xAD, 0);
        row("f6 0x8000", 33, 6, 67, -32768);
        row("f15 ten bits", 17, 15, 0x13, 10);
        row("f15 1968 bits", 2, 15, 100, 1968);
        row("f16 123 words", 5, 16, 300, 123);
    }
    void requestBytes()
    {
        const auto [slave, function, address, quantity] =
            fetch<int, int, int, int>("slave", "function", "address", "quantity");
        // A libmodbus master on the slave side of a pty; nobody answers, only the request matters.
        PtyPair pty;
        ModbusMaster master(pty.slavePath(), 9600, 1, slave, 1);
        QVERIFY(master.ctx);

        // The data: the value for 5 and 6, a pattern for 15 and 16; the reads must ignore it.
        const bool single = function == 5 || function == 6;
        QList<int> items;
        std::uint8_t bits[2000] = {};
        std::uint16_t words[2000] = {};
        QRandomGenerator random(static_cast<quint32>(address));
        for (int i = 0; !single && i < quantity; ++i) {
            items.append(function == 15 ? int(random.bounded(2))
                                        : int(random.bounded(65536)) - 32768);
            bits[i] = static_cast<std::uint8_t>(items[i]);
            words[i] = static_cast<std::uint16_t>(items[i]);
        }
        modbus_t* c = master.ctx;
        static_cast<void>(function == 1   ? modbus_read_bits(c, address, quantity, bits)
                          : function == 2 ? modbus_read_input_bits(c, address, quantity, bits)
                          : function == 3 ? modbus_read_registers(c, address, quantity, words)
                          : function == 4 ? modbus_read_input_registers(c, address, quantity, words)
                          : function == 5 ? modbus_write_bit(c, address, quantity)
                          : function == 6
                              ? modbus_write_register(c, address, std::uint16_t(quantity))
                          : function == 15 ? modbus_write_bits(c, address, quantity, bits)
                                           : modbus_write_registers(c, address, quantity, words));
        const QByteArray ours = single ? FrameToSend(slave, function, address, 1, quantity)
                                       : FrameToSend(slave, function, address, quantity, items);
        QVERIFY(ours.size() > 1);
        QCOMPARE(pty.readMaster(int(ours.size()) + 1, 100).toHex(' '), ours.toHex(' '));
    }

    // A libmodbus server with words 0x0101 * n + 0x80: 125 words read, one word and three
    // words written, and its exception answer beyond its 200 words.
    void transactions()
    {
        constexpr int Slave = 7;
        PtyPair pty;
        ModbusServer server(pty.master(), Slave, 200);
        QVERIFY(pty.ok() && server.ok());
        for (int i = 0; i < 200; ++i)
            server.setReg(i, static_cast<std::uint16_t>(0x0101 * i + 0x80));
        ComCtrl line;
        line.setPortName(pty.slavePath());
        line.open();

        QList<std::int16_t> words(125, 0);
        QVERIFY(LitMots(line, Slave, 65, words));
        for (int i = 0; i < 125; ++i)
            QCOMPARE(std::uint16_t(words[i]), server.reg(65 + i));

        QVERIFY(EcritMots(line, Slave, 130, -2));
        QCOMPARE(server.reg(130), std::uint16_t(0xFFFE));

        const QByteArray several = FrameToSend(Slave, 16, 20, 3, QList<int>{1, -1, 0x7FFF});
        QCOMPARE(FrameReceived(line, several, 1.0f), WithCrc(several.left(6)));
        QCOMPARE((QList<int>{server.reg(20), server.reg(21), server.reg(22)}),
                 (QList<int>{1, 0xFFFF, 0x7FFF}));

        // Beyond the server's registers: illegal data address.
        const QByteArray beyond = FrameToSend(Slave, 3, 190, 20);
        const QByteArray answer = FrameReceived(line, beyond, 1.0f);
        QCOMPARE(answer, Frame("078302"));
        QVERIFY(!ValidReadAnswer(beyond, answer));
        QCOMPARE(FrameToText(answer),
                 "07 83 02 " + QString::fromLatin1(answer.right(2).toHex(' ').toUpper()) + " (" +
                     DataFunctions7310::GetText(233803) + ')');
    }
};

QTEST_GUILESS_MAIN(TestModbusInterop)
#include "tst_modbusinterop.moc"
