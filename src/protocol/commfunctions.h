#pragma once

#include "exchange.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <cstdint>
#include <functional>
#include <variant>

class ComCtrl;

// Frames of the line (slave, function, data, CRC-16 in Modbus-RTU form), the transactions
// that carry them, and the line's settings text.
//
// A frame is a QByteArray of unsigned bytes. Words inside a frame are high byte first; the
// CRC-16 closes the frame low byte first. A one-byte frame from FrameToSend is an error code.
namespace CommFunctions {

// ---- Shared values of the whole run -------------------------------------------------------

// Half-duplex line: RTS is raised for each request and dropped once it has been sent.
bool RtsHandshake(); // default false
void SetRtsHandshake(bool on);
int RtsDelay();                       // milliseconds between end of transmission and RTS off
void SetRtsDelay(int milliseconds);   // default 5
int FrameDelay();                     // milliseconds between consecutive transactions
void SetFrameDelay(int milliseconds); // default 50

// ---- Frame codec ------------------------------------------------------------------------

// The Modbus CRC-16 (reflected polynomial 0xA001, start 0xFFFF) of the first `length` bytes,
// returned as the signed 16-bit value with the same bits (0xFFFF comes back as -1). The
// array must have room for the CRC behind the covered bytes (length <= size - 2); otherwise
// the fault goes to the error report and 0 is returned.
std::int16_t CRC16(const QByteArray& bytes, std::int16_t length);
// The same CRC over a whole byte range, without the room rule; for checking answers.
std::uint16_t Crc16Of(const char* data, qsizetype size);

// Data argument of FrameToSend: absent, a single value, or a list of values.
using FrameData = std::variant<std::monostate, int, QList<int>>;

// Error codes returned as the single byte of an error frame, tested in this order.
enum FrameError : std::uint8_t {
    BadSlave = 1,         // slave outside 0..64
    BadAddress = 2,       // address outside 0..65535
    QuantityTooLarge = 3, // 1969 bits or more for 15, 124 words or more for 16
    MissingData = 4,      // a write function (above 4) without data
    DataNotList = 5,      // 15 or 16 with a single value
    TooFewItems = 6,      // 15 or 16 with fewer data items than the quantity
    QuantityNotOne = 7,   // 5 or 6 with a quantity other than 1
};

// A complete request frame for the function codes 1 to 6, 15 and 16, or a one-byte error
// frame. Frames for 15 and 16 are sized from the number of data items, not the quantity;
// surplus items leave zero bytes before the CRC, which covers them. Any other function code
// is reported as a fault and gives an empty array.
QByteArray FrameToSend(int slave, int function, std::int32_t address, int quantity,
                       const FrameData& data = {});

// Answer length that a request calls for: 8 for 5, 6, 15, 16 and unknown codes; 2q + 5 for
// 3 and 4; q / 16 rounded up + 5 for 1 and 2 (q = quantity of the request). Once two answer
// bytes are in and the second is above 128 (an exception answer), 5.
int ExpectedAnswerLength(const QByteArray& request, const QByteArray& answerSoFar = {});

// Sends the request (with the RTS cycle) and collects the answer until ExpectedAnswerLength
// bytes are in or `timeoutSeconds` have passed. Returns the bytes received, or the one byte
// 0 when nothing came. A closed or lost port goes to the error report.
QByteArray FrameReceived(ComCtrl& line, const QByteArray& frame, float timeoutSeconds);

// Text number of the description of an exception answer to `function` (233800 + function).
constexpr int ExceptionTextBase = 233800;
using TextLookup = std::function<QString(int textId)>;
// One display line: each byte as two hexadecimal digits and a blank; "(Time-out)" for the
// one byte 0; an exception answer ends with "(" + its text + ")". The default lookup is the
// text database.
QString FrameToText(const QByteArray& frame);
QString FrameToText(const QByteArray& frame, const TextLookup& lookup);

// ---- Line settings text ("9600,n,8,1"), changed field by field ---------------------------

std::int32_t GetCommBauds(const ComCtrl& line);
bool SetCommBauds(ComCtrl& line, std::int32_t bauds);
std::int16_t GetCommStops(const ComCtrl& line);
bool SetCommStops(ComCtrl& line, std::int16_t stops);
QString GetCommParity(const ComCtrl& line);
bool SetCommParity(ComCtrl& line, const QString& parity);
// The line now runs where a panel answered: the settings file's speed and stop bits follow,
// so that the next start opens the line there.
void StoreLineSettings(const ComCtrl& line);
// The same edits on a bare text; the Set functions above report a text the port refuses
// (and return false).
std::int32_t CommBaudsOf(const QString& settings);
QString WithCommBauds(const QString& settings, std::int32_t bauds);
std::int16_t CommStopsOf(const QString& settings);
QString WithCommStops(const QString& settings, std::int16_t stops);
QString CommParityOf(const QString& settings);
QString WithCommParity(const QString& settings, const QString& parity);

// ---- Device words -------------------------------------------------------------------------

// The requests that LitMots and EcritMots put on the line.
QByteArray ReadWordsRequest(std::uint8_t slave, std::int32_t address, int count);
QByteArray WriteWordRequest(std::uint8_t slave, std::int32_t address, std::int16_t value);

// Answer checks, pure functions of the request and the bytes received.
// A read answer is accepted when it has exactly 2 x count + 5 bytes, its CRC is right and it
// echoes the slave and function 3 (the byte count byte is not looked at).
bool ValidReadAnswer(const QByteArray& request, const QByteArray& answer);
// The words of an accepted read answer, high byte first, as signed 16-bit values.
QList<std::int16_t> AnswerWords(const QByteArray& answer);
// A write echo is accepted when it has exactly 8 bytes and echoes the slave and function 6;
// its CRC, address and value are deliberately not checked.
bool ValidWriteAnswer(const QByteArray& request, const QByteArray& answer);
// An exception answer (slave, function | 0x80, code, CRC) is complete at 5 bytes, whatever
// length the request called for: an answer wait can end there.
bool ExceptionAnswerIn(QByteArrayView waiting);

// Both waits (RTS off, answer) last at most this long.
constexpr int WordTimeoutMs = 2000;

// Reads words.size() words from `address` on: true and every element filled when the
// answer was complete and correct; false with words untouched otherwise. No retry.
bool LitMots(ComCtrl& line, std::uint8_t slave, std::int32_t address, QList<std::int16_t>& words);
// Writes one word with function 6: true when the device's echo came back.
bool EcritMots(ComCtrl& line, std::uint8_t slave, std::int32_t address, std::int16_t value);
// How the last LitMots or EcritMots transaction ended, by the frame rules (ClassifyAnswer);
// PortFault when the line failed. Complete with a false result means an answer of the right
// form from another slave or function. exceptionCode receives an exception answer's code.
Exchange::Outcome LastWordOutcome(int* exceptionCode = nullptr);

} // namespace CommFunctions
