// The frame codec and the order of the slave search: known frames where the product has a rule
// of its own, then randomised answers and arguments (fixed seeds) against a checker written
// from the protocol rules, not from the product's code. Nothing may be accepted that is not a
// valid answer to its request, every valid answer must be accepted, and no input may crash or
// read out of bounds (the core tests also run under ASan and UBSan).
#include "../common/datarow.h"
#include "../common/testkit.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "exchange.h"

#include <QRandomGenerator>

using namespace CommFunctions;

namespace {

constexpr int Cases = 1'000'000;

int at(const QByteArray& bytes, qsizetype index)
{
    return static_cast<quint8>(bytes[index]);
}

// The Modbus CRC-16, bit by bit.
quint16 crcOf(const QByteArray& bytes, qsizetype length)
{
    quint16 crc = 0xFFFF;
    for (qsizetype i = 0; i < length; ++i) {
        crc ^= at(bytes, i);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return crc;
}

// The last two bytes are the CRC of the others, low byte first.
bool crcRight(const QByteArray& frame)
{
    const qsizetype n = frame.size();
    return n >= 3 && crcOf(frame, n - 2) == (at(frame, n - 2) | at(frame, n - 1) << 8);
}

QByteArray& appendCrc(QByteArray& bytes)
{
    const quint16 crc = crcOf(bytes, bytes.size());
    return bytes.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    // The data bytes and the product's own rules; the header, the CRC and the error codes of
    // every function are checked by requestsFromAnyArguments, the bytes of each function
    // against libmodbus by tst_modbusinterop.
    void frameToSend_data()
    {
        // frame in hex; empty: none, the fault is reported
        columns<int, int, FrameData, QByteArray>("function", "quantity", "data", "frame");
        using L = QList<int>;
        row("f5 non-zero is FF 00", 5, 1, FrameData(7), QByteArray("01050013FF007DFF"));
        row("f5 first list item", 5, 1, FrameData(L{0, 1}), QByteArray("0105001300003C0F"));
        row("f15 bits packed lsb first", 15, 10, FrameData(L{1, 0, 1, 1, 0, 0, 1, 1, 1, 0}),
            QByteArray("010F0013000A02CD0172CB"));
        row("f15 surplus items leave zero padding", 15, 3,
            FrameData(L{1, 1, 1, 0, 0, 0, 0, 0, 1, 1}), QByteArray("010F001300030107001637"));
        row("f16 four items for two words: four zero bytes", 16, 2,
            FrameData(L{0x1234, 0x5678, 9, 9}), QByteArray("0110001300020412345678000000009FB4"));
        row("unknown function", 7, 1, FrameData(1), QByteArray());
        row("missing data comes before the unknown function", 7, 1, FrameData(), QByteArray("04"));
    }
    void frameToSend()
    {
        const auto [function, quantity, data, frame] =
            fetch<int, int, FrameData, QByteArray>("function", "quantity", "data", "frame");
        ReportCapture report;
        QCOMPARE(FrameToSend(1, function, 0x13, quantity, data).toHex(), frame.toLower());
        QCOMPARE(report.faults(), frame.isEmpty() ? QStringList{"9 FrameToSend"} : QStringList());
    }

    void searchOrder_data()
    {
        columns<int, int, bool, QString>("speed", "stops", "autoSearch", "expected");
        row("9600/2: 2 stop bits before 1, 9600/1 never tried", 9600, 2, true,
            "9600/2 19200/2 19200/1 4800/2 4800/1 2400/2 2400/1 1200/2 1200/1");
        row("19200/1: current speed first, skipped where it comes again", 19200, 1, true,
            "19200/1 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2");
        row("speed outside the fixed list: every fixed speed with both", 38400, 1, true,
            "38400/1 19200/1 19200/2 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 "
            "1200/2");
        row("without automatic search: the current settings only", 4800, 2, false, "4800/2");
    }
    void searchOrder()
    {
        const auto [speed, stops, autoSearch, expected] =
            fetch<int, int, bool, QString>("speed", "stops", "autoSearch", "expected");
        QStringList tried;
        for (const LineCombination& c : SearchOrder(speed, std::int16_t(stops), autoSearch))
            tried << QStringLiteral("%1/%2").arg(c.speed).arg(c.stops);
        QCOMPARE(tried.join(QLatin1Char(' ')), expected);
    }

    // Randomised answers against the answer checks, the outcome an observer is told and the
    // frame text.
    void answersAgainstRequests()
    {
        QRandomGenerator random(0x7310);
        const auto below = [&random](qsizetype bound) {
            return int(random.bounded(int(bound)));
        };
        const auto noise = [&below](QByteArray& bytes, int count) {
            while (count-- > 0)
                bytes.append(static_cast<char>(below(256)));
        };
        const TextLookup lookup = [](int id) {
            return QString::number(id);
        };

        QByteArray request;
        QByteArray answer;
        int acceptedRead = 0, acceptedWrite = 0, rejected = 0, exceptions = 0;
        for (int n = 0; n < Cases; ++n) {
            // The request: mostly the console's own short reads and writes, now and then up to
            // the 125-word maximum, sometimes anything at all.
            const int kind = below(20);
            const int count = below(50) == 0 ? 1 + below(125) : 1 + below(8);
            request.resize(0);
            if (kind < 13)
                request = ReadWordsRequest(quint8(below(256)), below(65536), count);
            else if (kind < 19)
                request =
                    WriteWordRequest(quint8(below(256)), below(65536), std::int16_t(below(65536)));
            else
                noise(request, below(12));
            if (kind == 19 && request.size() > 1 && below(2) == 0) // functions 0 to 7 more often
                request[1] = static_cast<char>(below(8));
            const int quantity = request.size() >= 6 ? at(request, 4) * 256 + at(request, 5) : 0;
            const int function = request.size() >= 2 ? at(request, 1) : -1;

            // A healthy answer to it, then perhaps damaged.
            answer.resize(0);
            if (request.size() == 8 && function == 3) {
                answer.append(request[0]).append(char(3));
                answer.append(below(8) == 0 ? char(below(256)) : static_cast<char>(2 * count));
                noise(answer, 2 * count);
                appendCrc(answer);
            } else {
                if (request.size() == 8)
                    answer = request;
                else
                    noise(answer, 8);
                if (below(4) == 0) // the echo's CRC is not looked at
                    answer[6] = answer[7] = static_cast<char>(below(256));
            }
            switch (below(10)) {
            case 3:
                answer[below(answer.size())] ^= static_cast<char>(1 + below(255));
                break;
            case 4:
                answer.chop(1 + below(answer.size()));
                break;
            case 5:
                noise(answer, 1 + below(4));
                break;
            case 6: // random contents and length, perhaps with a good CRC
                answer.resize(0);
                noise(answer, below(2 * count + 8));
                if (below(2) == 0)
                    appendCrc(answer);
                break;
            case 7: // an exception answer
                answer = request.isEmpty() ? QByteArray(1, '\1') : request.left(1);
                answer.append(static_cast<char>(0x80 | below(128))).append(char(below(256)));
                appendCrc(answer);
                break;
            case 8: // another slave or function, CRC made right
                answer.chop(2);
                answer[below(2)] ^= static_cast<char>(1 + below(255));
                appendCrc(answer);
                break;
            case 9:
                answer = QByteArray(below(2), '\0');
                break;
            default:
                break; // left healthy
            }

            const bool readOk = request.size() == 8 && function == 3 &&
                                answer.size() == 2 * quantity + 5 && answer[0] == request[0] &&
                                at(answer, 1) == 3 && crcRight(answer);
            const bool writeOk = request.size() == 8 && function == 6 && answer.size() == 8 &&
                                 answer[0] == request[0] && at(answer, 1) == 6;
            const bool exception = answer.size() >= 2 && at(answer, 1) > 128;
            const int length = exception                        ? 5
                               : function == 3 || function == 4 ? 2 * quantity + 5
                               : function == 1 || function == 2 ? (quantity + 15) / 16 + 5
                                                                : 8;
            // Bit reads answer one byte per 8 bits, whatever the shorter wait above.
            const int expected = function == 1 || function == 2 ? (quantity + 7) / 8 + 5 : length;
            using O = Exchange::Outcome;
            const O outcome = answer.isEmpty() ? O::TimeOut
                              : answer.size() == 5 && at(answer, 1) >= 128 && crcRight(answer)
                                  ? O::Exception
                              : answer.size() < expected ? O::Short
                              : answer.size() > expected ? O::TooLong
                              : crcRight(answer)         ? O::Complete
                                                         : O::CrcError;
            const QString text =
                answer == QByteArray(1, '\0') ? QStringLiteral("(Time-out)")
                : answer.isEmpty()
                    ? QString()
                    : QString::fromLatin1(answer.toHex(' ').toUpper() + ' ') +
                          (exception ? QStringLiteral("(%1)").arg(233800 + at(answer, 1) - 128)
                                     : QString());

            const bool read = ValidReadAnswer(request, answer);
            const bool write = ValidWriteAnswer(request, answer);
            int code = -1;
            if (read != readOk || write != writeOk ||
                ExpectedAnswerLength(request, answer) != length ||
                ClassifyAnswer(request, answer, &code) != outcome ||
                code != (outcome == O::Exception ? at(answer, 2) : -1) ||
                FrameToText(answer, lookup) != text)
                QFAIL(qPrintable(QStringLiteral("case %1: request %2, answer %3")
                                     .arg(QString::number(n), QLatin1String(request.toHex(' ')),
                                          QLatin1String(answer.toHex(' ')))));
            if (read) {
                const QList<std::int16_t> words = AnswerWords(answer);
                QCOMPARE(words.size(), qsizetype(count));
                const int i = below(count);
                QCOMPARE(words[i],
                         std::int16_t(at(answer, 3 + 2 * i) << 8 | at(answer, 4 + 2 * i)));
            }
            acceptedRead += read;
            acceptedWrite += write;
            rejected += !read && !write;
            exceptions += exception;
        }
        // Every class of outcome was reached often.
        QVERIFY(acceptedRead > Cases / 10);
        QVERIFY(acceptedWrite > Cases / 20);
        QVERIFY(rejected > Cases / 3);
        QVERIFY(exceptions > Cases / 20);
    }

    // Requests from arguments anywhere in the int range: the first broken rule gives its
    // one-byte error, anything else a whole frame with its CRC; no argument may overflow.
    void requestsFromAnyArguments()
    {
        QRandomGenerator random(0x9120);
        // Values near the limits most of the time, now and then any int at all.
        const auto anyInt = [&random](int low, int high) {
            const int spread = int(random.bounded(5));
            switch (random.bounded(4)) {
            case 0:
                return int(random.generate());
            case 1:
                return low + spread - 2;
            case 2:
                return high + spread - 2;
            default:
                return low + int(random.bounded(quint32(high - low + 1)));
            }
        };
        int frames = 0, errors = 0;
        for (int n = 0; n < Cases / 5; ++n) {
            const int slave = anyInt(0, 64);
            const int functions[] = {1, 2, 3, 4, 5, 6, 15, 16};
            const int function = functions[random.bounded(8)];
            const int address = anyInt(0, 65535);
            const int quantity = anyInt(1, function == 15 ? 1968 : function == 16 ? 123 : 2000);
            FrameData data;
            QList<int> items;
            switch (random.bounded(3)) {
            case 1:
                data = anyInt(-70000, 70000);
                break;
            case 2:
                for (int i = random.bounded(130); i > 0; --i)
                    items.append(anyInt(-70000, 70000));
                data = items;
                break;
            default:
                break;
            }
            const bool list = data.index() == 2;
            const int count = list ? int(items.size()) : data.index();
            const int error =
                slave < 0 || slave > 64          ? BadSlave
                : address < 0 || address > 65535 ? BadAddress
                : (function == 15 && quantity >= 1969) || (function == 16 && quantity >= 124)
                    ? QuantityTooLarge
                : function > 4 && count == 0                             ? MissingData
                : (function == 15 || function == 16) && !list            ? DataNotList
                : (function == 15 || function == 16) && quantity > count ? TooFewItems
                : (function == 5 || function == 6) && quantity != 1      ? QuantityNotOne
                                                                         : 0;
            const QByteArray frame = FrameToSend(slave, function, address, quantity, data);
            const int size = function == 15   ? (count + 7) / 8 + 9
                             : function == 16 ? 2 * count + 9
                                              : 8;
            const bool right =
                error ? frame == QByteArray(1, char(error))
                      : frame.size() == size && at(frame, 0) == slave && at(frame, 1) == function &&
                            (at(frame, 2) << 8 | at(frame, 3)) == address && crcRight(frame);
            if (!right)
                QFAIL(qPrintable(QString::asprintf("slave %d function %d address %d quantity %d "
                                                   "items %d: %s",
                                                   slave, function, address, quantity, count,
                                                   frame.toHex(' ').constData())));
            (error ? errors : frames) += 1;
        }
        QVERIFY(frames > Cases / 50);
        QVERIFY(errors > Cases / 50);
    }
};

QTEST_GUILESS_MAIN(TestFrames)
#include "tst_frames.moc"
