// DF1 full-duplex frames as the controller's side sends and reads them
// (publication 1770-6.5.16, chapters 2 to 4). Kept apart from the drivers'
// framing on purpose: two ends that shared one mistake would still understand
// each other.
#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace simulator {

namespace symbol {
constexpr char DLE = 0x10;
constexpr char STX = 0x02;
constexpr char ETX = 0x03;
constexpr char ENQ = 0x05;
constexpr char ACK = 0x06;
constexpr char NAK = 0x15;
}

/// What closes a frame: a CRC-16, two bytes, low byte first, over the message and
/// ETX; or a BCC, one byte, the two's complement of the message's sum. Both count
/// a doubled DLE once and are themselves sent as they are.
enum class CheckMethod
{
    Crc,
    Bcc,
};

/// DLE and @p code: a link answer or enquiry.
QByteArray controlPair(char code);

/// DLE STX, the message with every DLE doubled, DLE ETX and the check.
QByteArray encodeFrame(const QByteArray& message, CheckMethod check);

/// Reads a stream one byte at a time, so that it does not matter how the bytes
/// arrive.
///
/// How it finds its feet again: outside a frame a DLE always begins a symbol,
/// whatever stands before it, and DLE STX opens a frame wherever it is met; one
/// that is open at that moment counts as damaged. So after any noise a sound
/// frame is understood at once, or, when the noise has ended in half a pair or
/// inside a check, is reported as damaged and understood when it is sent again.
class FrameDecoder
{
public:
    enum class Event
    {
        Nothing, ///< inside a symbol or a frame
        Message, ///< a frame with the right check; message() has it
        Damaged, ///< wrong check, too long, or a symbol that no frame may hold
        Ack,     ///< also from inside a frame, which goes on
        Nak,     ///< likewise
        Enq,
        Noise, ///< outside a frame, and no symbol that may stand there
    };

    /// Longest message kept, in bytes; a longer one is read to its end, forgotten
    /// and reported as damaged. The longest legal request is an echo, 250 bytes.
    static constexpr int longestMessage = 256;

    explicit FrameDecoder(CheckMethod check);

    Event take(char byte);
    /// The message of the last Event::Message.
    const QByteArray& message() const { return m_message; }
    /// Whether no symbol and no frame is open.
    bool isAtRest() const { return m_state == State::Outside; }

private:
    enum class State
    {
        Outside,
        OutsideDle,
        Inside,
        InsideDle,
        Check,
    };

    Event takeSymbolOutside(char code);
    Event takeSymbolInside(char code);
    Event takeCheck(char byte);
    void open();
    void store(char byte);

    CheckMethod m_check;
    State m_state = State::Outside;
    QByteArray m_message;
    QByteArray m_checkBytes;
    bool m_tooLong = false;
};

}
