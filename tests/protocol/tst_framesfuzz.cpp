// Randomised answers (fixed seed) against the answer checks and the frame text: nothing may be
// accepted that is not a valid answer to its request, every valid answer must be accepted, and
// no input may crash or read out of bounds (the core tests also run under ASan and UBSan).
#include "commfunctions.h"

#include <QRandomGenerator>
#include <QTest>

#include <array>

using namespace CommFunctions;

namespace {

constexpr int Cases = 1'000'000;

// The Modbus CRC-16 computed with a lookup table, a different route from the product's.
class TableCrc
{
public:
    TableCrc()
    {
        for (unsigned i = 0; i < 256; ++i) {
            unsigned value = i;
            for (int bit = 0; bit < 8; ++bit)
                value = (value & 1u) ? (value >> 1) ^ 0xA001u : value >> 1;
            m_table[i] = static_cast<std::uint16_t>(value);
        }
    }
    std::uint16_t operator()(const QByteArray& bytes, qsizetype length) const
    {
        std::uint16_t crc = 0xFFFF;
        for (qsizetype i = 0; i < length; ++i)
            crc = static_cast<std::uint16_t>((crc >> 8) ^
                                             m_table[(crc ^ std::uint8_t(bytes[i])) & 0xFF]);
        return crc;
    }
    void append(QByteArray& bytes) const
    {
        const std::uint16_t crc = (*this)(bytes, bytes.size());
        bytes.append(static_cast<char>(crc & 0xFF));
        bytes.append(static_cast<char>(crc >> 8));
    }

private:
    std::array<std::uint16_t, 256> m_table{};
};

std::uint8_t byteAt(const QByteArray& bytes, qsizetype index)
{
    return static_cast<std::uint8_t>(bytes[index]);
}

// What a valid answer is, written from the protocol rules rather than from the product code.
struct Oracle
{
    const TableCrc& crc;

    static int quantity(const QByteArray& request)
    {
        return byteAt(request, 4) * 256 + byteAt(request, 5);
    }

    bool crcOk(const QByteArray& answer) const
    {
        if (answer.size() < 3)
            return false;
        const std::uint16_t value = crc(answer, answer.size() - 2);
        return byteAt(answer, answer.size() - 2) == (value & 0xFF) &&
               byteAt(answer, answer.size() - 1) == (value >> 8);
    }
    bool readOk(const QByteArray& request, const QByteArray& answer) const
    {
        return request.size() == 8 && byteAt(request, 1) == 3 &&
               answer.size() == 2 * quantity(request) + 5 && answer[0] == request[0] &&
               byteAt(answer, 1) == 3 && crcOk(answer);
    }
    static bool writeOk(const QByteArray& request, const QByteArray& answer)
    {
        return request.size() == 8 && byteAt(request, 1) == 6 && answer.size() == 8 &&
               answer[0] == request[0] && byteAt(answer, 1) == 6;
    }
    static int expectedLength(const QByteArray& request, const QByteArray& answer)
    {
        if (answer.size() >= 2 && byteAt(answer, 1) > 128)
            return 5;
        const int function = request.size() >= 2 ? byteAt(request, 1) : -1;
        const int q = request.size() >= 6 ? quantity(request) : 0;
        if (function == 3 || function == 4)
            return 2 * q + 5;
        if (function == 1 || function == 2)
            return (q + 15) / 16 + 5;
        return 8;
    }
};

class Generator
{
public:
    explicit Generator(quint32 seed)
        : m_random(seed)
    {}
    int below(int bound) { return static_cast<int>(m_random.bounded(bound)); }
    char byte() { return static_cast<char>(m_random.bounded(256)); }
    // Appends random bytes; the arrays are reused from case to case to keep allocations few.
    void append(QByteArray& bytes, int count)
    {
        for (int i = 0; i < count; ++i)
            bytes.append(byte());
    }

private:
    QRandomGenerator m_random;
};

} // namespace

class TestFramesFuzz : public QObject
{
    Q_OBJECT

private slots:
    void answersAgainstRequests();
};

void TestFramesFuzz::answersAgainstRequests()
{
    const TableCrc crc;
    const Oracle oracle{crc};
    Generator gen(0x7310);
    QStringList byteTexts;
    for (int i = 0; i < 256; ++i)
        byteTexts.append(QStringLiteral("%1 ").arg(i, 2, 16, QLatin1Char('0')).toUpper());
    const TextLookup lookup = [](int id) {
        return QString::number(id);
    };

    QByteArray request;
    QByteArray answer;
    int acceptedRead = 0, acceptedWrite = 0, rejected = 0, exceptions = 0;
    for (int n = 0; n < Cases; ++n) {
        // The request: mostly the console's own, sometimes anything at all.
        const int kind = gen.below(20);
        const auto slave = static_cast<std::uint8_t>(gen.below(256));
        // Mostly the short reads of the console, now and then up to the 125-word maximum.
        const int count = gen.below(50) == 0 ? 1 + gen.below(125) : 1 + gen.below(8);
        if (kind < 13) {
            request = ReadWordsRequest(slave, gen.below(65536), count);
        } else if (kind < 19) {
            request = WriteWordRequest(slave, gen.below(65536), std::int16_t(gen.below(65536)));
        } else {
            request.resize(0);
            gen.append(request, gen.below(12));
        }
        const bool readRequest = request.size() == 8 && request[1] == 3;

        // A healthy answer to it, then perhaps damaged.
        answer.resize(0);
        if (readRequest) {
            answer.append(request[0]).append(char(3));
            answer.append(gen.below(8) == 0 ? gen.byte() : static_cast<char>(2 * count));
            gen.append(answer, 2 * count);
            crc.append(answer);
        } else {
            if (request.size() == 8)
                answer.append(request);
            else
                gen.append(answer, 8);
            if (gen.below(4) == 0) { // the echo's CRC is not looked at
                answer[6] = gen.byte();
                answer[7] = gen.byte();
            }
        }
        switch (gen.below(10)) {
        case 0:
        case 1:
        case 2:
            break; // left healthy
        case 3:
            answer[gen.below(int(answer.size()))] ^= static_cast<char>(1 + gen.below(255));
            break;
        case 4:
            answer.chop(1 + gen.below(int(answer.size())));
            break;
        case 5:
            gen.append(answer, 1 + gen.below(4));
            break;
        case 6: // a frame with a good CRC but random contents and length
            answer.resize(0);
            gen.append(answer, gen.below(2 * count + 8));
            if (gen.below(2) == 0)
                crc.append(answer);
            break;
        case 7: { // an exception answer
            answer.resize(0);
            answer.append(request.isEmpty() ? char(1) : request[0]);
            answer.append(static_cast<char>(0x80 | gen.below(128))).append(gen.byte());
            crc.append(answer);
            break;
        }
        case 8: // a healthy body with another slave or function, CRC made right
            answer.chop(2);
            answer[gen.below(2)] ^= static_cast<char>(1 + gen.below(255));
            crc.append(answer);
            break;
        case 9:
            answer.resize(0);
            if (gen.below(2))
                answer.append('\0');
            break;
        }

        const bool read = ValidReadAnswer(request, answer);
        const bool write = ValidWriteAnswer(request, answer);
        if (read != oracle.readOk(request, answer) || write != Oracle::writeOk(request, answer)) {
            QFAIL(qPrintable(QStringLiteral("case %1: request %2 answer %3 read %4 write %5")
                                 .arg(n)
                                 .arg(QString::fromLatin1(request.toHex(' ')),
                                      QString::fromLatin1(answer.toHex(' ')))
                                 .arg(read)
                                 .arg(write)));
        }
        if (read) {
            ++acceptedRead;
            const QList<std::int16_t> words = AnswerWords(answer);
            QCOMPARE(words.size(), qsizetype(count));
            const int i = gen.below(count);
            QCOMPARE(words[i],
                     std::int16_t(byteAt(answer, 3 + 2 * i) << 8 | byteAt(answer, 4 + 2 * i)));
        } else if (write) {
            ++acceptedWrite;
        } else {
            ++rejected;
        }

        if (ExpectedAnswerLength(request, answer) != Oracle::expectedLength(request, answer))
            QFAIL(qPrintable(QStringLiteral("case %1: expected length").arg(n)));

        // The display text: three characters a byte, and the exception text's number.
        const QString text = FrameToText(answer, lookup);
        if (answer.size() == 1 && answer[0] == 0) {
            QCOMPARE(text, QStringLiteral("(Time-out)"));
            continue;
        }
        const bool exception = answer.size() > 1 && byteAt(answer, 1) >= 129;
        exceptions += exception;
        const QString suffix =
            exception ? QStringLiteral("(%1)").arg(233800 + (byteAt(answer, 1) & 0x7F)) : QString();
        if (text.size() != 3 * answer.size() + suffix.size() || !text.endsWith(suffix))
            QFAIL(qPrintable(QStringLiteral("case %1: text %2").arg(n).arg(text)));
        const qsizetype at = gen.below(int(answer.size()) + 1);
        if (at < answer.size() && QStringView(text).mid(3 * at, 3) != byteTexts[byteAt(answer, at)])
            QFAIL(qPrintable(QStringLiteral("case %1: byte %2 of %3").arg(n).arg(at).arg(text)));
        // The frame builder takes the text back as hexadecimal bytes.
        if (n % 64 == 0)
            QCOMPARE(QByteArray::fromHex(text.left(3 * answer.size()).toLatin1()), answer);
    }
    // Every class of outcome was reached often.
    QVERIFY(acceptedRead > Cases / 10);
    QVERIFY(acceptedWrite > Cases / 20);
    QVERIFY(rejected > Cases / 3);
    QVERIFY(exceptions > Cases / 20);
}

QTEST_GUILESS_MAIN(TestFramesFuzz)
#include "tst_framesfuzz.moc"
