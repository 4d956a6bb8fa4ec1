// The bytes of one direction of a DF1 full-duplex line, taken apart into frames,
// link answers and noise (publication 1770-6.5.16, chapters 2 to 4).
#pragma once

#include <QByteArray>
#include <functional>

namespace host {

/// What closes a frame.
enum class Check
{
    None, ///< no frame, or one that was cut off before its check
    Crc,  ///< a CRC, and it is right
    Bcc,  ///< a BCC, and it is right
    WrongCrc,
    WrongBcc,
};

/// One thing that went over a line. A plain value.
struct LineToken
{
    enum class Kind
    {
        Frame,
        Ack,
        Nak,
        Enq,
        Noise,   ///< bytes outside a frame that are no symbol
        Silence, ///< no bytes at all: a wait that ended before everything had come
    };

    /// A frame that came whole, with a right check and nothing in it that may not be.
    bool isSound() const;
    /// A frame without its end.
    bool isCutOff() const { return kind == Kind::Frame && check == Check::None; }

    Kind kind = Kind::Noise;
    QByteArray raw = {};     ///< as on the line, but for answers embedded in a frame
    QByteArray message = {}; ///< of a frame: the application bytes, doubled DLEs folded
    Check check = Check::None;
    bool isEmbedded = false; ///< an ACK or NAK inside a frame
    bool hasLoneDle = false; ///< a frame with a DLE in its data that has no partner
};

/// What a check over @p message would be: two CRC bytes, low byte first, over the
/// message and ETX; one BCC byte over the message.
QByteArray crcOf(const QByteArray& message);
QByteArray bccOf(const QByteArray& message);

/// Takes bytes as they come, in pieces of any size.
///
/// Whether a frame closes with a CRC or a BCC is seen from the bytes. A BCC can fit a
/// damaged frame by chance, so after one right CRC it is only believed where nothing
/// follows it; without either, a wrong check is taken for a CRC.
///
/// A frame ends early where another one opens, where DLE ENQ stands in it, and at
/// LONGEST_FRAME bytes. An embedded answer is handed out before its frame.
class LineReader
{
public:
    using Taker = std::function<void(const LineToken& token)>;
    static constexpr int LONGEST_FRAME = 1024;
    /// Longer noise comes in several tokens.
    static constexpr int LONGEST_NOISE = 256;

    explicit LineReader(Taker taker);

    void take(const QByteArray& bytes);
    /// Nothing follows for now: hands out what is held back, a frame without an end as
    /// cut off.
    void finish();

private:
    enum class State
    {
        Outside,
        OutsideDle,
        Inside,
        InsideDle,
        InCheck,
    };

    void take(char byte);
    void takeOutside(char byte);
    void takeSymbolOutside(char code);
    void takeInside(char byte);
    void takeSymbolInside(char code);
    void takeCheck(char byte);
    void open();
    void store(char byte);
    void close(Check check, int checkSize);
    void cutOff();
    void addNoise(char byte);
    void handOutNoise();
    void handOutSymbol(LineToken::Kind kind, char code, bool isEmbedded);

    Taker m_taker;
    State m_state = State::Outside;
    LineToken m_frame;
    QByteArray m_check;
    QByteArray m_noise;
    bool m_hasSeenCrc = false;
    bool m_hasSeenBcc = false;
};

}
