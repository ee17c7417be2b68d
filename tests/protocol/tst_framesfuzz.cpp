// Randomised answers (fixed seed) against the answer checks and the frame text: nothing may be
// accepted that is not a valid answer to its request, every valid answer must be accepted, and
// no input may crash or read out of bounds (the core tests also run under ASan and UBSan).
// The checker below is written from the protocol rules, not from the product's code.
#include "commfunctions.h"

#include <QRandomGenerator>
#include <QTest>

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

QByteArray& appendCrc(QByteArray& bytes)
{
    const quint16 crc = crcOf(bytes, bytes.size());
    return bytes.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

} // namespace

class TestFramesFuzz : public QObject
{
    Q_OBJECT

private slots:
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

            const bool readOk =
                request.size() == 8 && function == 3 && answer.size() == 2 * quantity + 5 &&
                answer[0] == request[0] && at(answer, 1) == 3 &&
                crcOf(answer, answer.size() - 2) ==
                    (at(answer, answer.size() - 2) | at(answer, answer.size() - 1) << 8);
            const bool writeOk = request.size() == 8 && function == 6 && answer.size() == 8 &&
                                 answer[0] == request[0] && at(answer, 1) == 6;
            const bool exception = answer.size() >= 2 && at(answer, 1) > 128;
            const int length = exception                        ? 5
                               : function == 3 || function == 4 ? 2 * quantity + 5
                               : function == 1 || function == 2 ? (quantity + 15) / 16 + 5
                                                                : 8;
            const QString text =
                answer == QByteArray(1, '\0') ? QStringLiteral("(Time-out)")
                : answer.isEmpty()
                    ? QString()
                    : QString::fromLatin1(answer.toHex(' ').toUpper() + ' ') +
                          (exception ? QStringLiteral("(%1)").arg(233800 + at(answer, 1) - 128)
                                     : QString());

            const bool read = ValidReadAnswer(request, answer);
            const bool write = ValidWriteAnswer(request, answer);
            if (read != readOk || write != writeOk ||
                ExpectedAnswerLength(request, answer) != length ||
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
        // Small values near the limits most of the time, now and then any int at all.
        const auto anyInt = [&random](int low, int high) {
            return random.bounded(4) == 0 ? int(random.generate())
                                          : low + int(random.bounded(quint32(high - low + 1)));
        };
        int frames = 0, errors = 0;
        for (int n = 0; n < Cases / 5; ++n) {
            const int slave = anyInt(-2, 66);
            const int functions[] = {1, 2, 3, 4, 5, 6, 15, 16};
            const int function = functions[random.bounded(8)];
            const int address = anyInt(-2, 65537);
            const int quantity = anyInt(-3, 2000);
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
            const bool right = error ? frame == QByteArray(1, char(error))
                                     : frame.size() == size && at(frame, 0) == slave &&
                                           at(frame, 1) == function &&
                                           (at(frame, 2) << 8 | at(frame, 3)) == address &&
                                           crcOf(frame, size - 2) ==
                                               (at(frame, size - 2) | at(frame, size - 1) << 8);
            if (!right)
                QFAIL(qPrintable(QStringLiteral("slave %1 function %2 address %3 quantity %4 "
                                                "items %5: %6")
                                     .arg(slave)
                                     .arg(function)
                                     .arg(address)
                                     .arg(quantity)
                                     .arg(count)
                                     .arg(QLatin1String(frame.toHex(' ')))));
            (error ? errors : frames) += 1;
        }
        QVERIFY(frames > Cases / 50);
        QVERIFY(errors > Cases / 50);
    }
};

QTEST_GUILESS_MAIN(TestFramesFuzz)
#include "tst_framesfuzz.moc"
