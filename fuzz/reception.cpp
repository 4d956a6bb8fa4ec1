// A controller that answers anything, in any pieces, to read and write. The driver may
// hand out only what a well-formed reply in the received bytes says; otherwise it
// tells one of its errors and hands out nothing.
#include "harness.h"

#include <QThread>

#include "drivers/micrologix/micrologix.h"
#include "support/frames.h"
#include "support/requests.h"

// The pauses while a babbling controller is drained would leave a hundred runs a second.
void QThread::msleep(unsigned long) {}

namespace {

const int HEADER_SIZE = 6;
const int PLAIN_FRAME = 2 + 2 + HEADER_SIZE + 4; // no DLE in the header
const int LARGEST_DATA = 246;
const char DLE = 0x10;

/// The application bytes of a sound frame.
QByteArray messageOf(const QByteArray& frame)
{
    return frame.mid(2, frame.size() - 6).replace(QByteArray("\x10\x10"), QByteArray("\x10"));
}

/// DST SRC CMD STS TNS of the reply to @p request.
QByteArray replyHeader(const QByteArray& request)
{
    QByteArray header = request.left(HEADER_SIZE);
    header[0] = request.at(1);
    header[1] = request.at(0);
    header[2] = 0x4F;
    return header;
}

/// Takes @p count bytes from @p at, pairs of DLE as one; behind a DLE without its
/// partner everything counts as it is.
bool takeFolded(const QByteArray& line, int& at, int count, QByteArray& bytes)
{
    bool inPairs = true;
    for (; count > 0 && at < line.size(); --count) {
        bytes += line.at(at);
        if (line.at(at++) != DLE || !inPairs)
            continue;
        inPairs = at < line.size() && line.at(at) == DLE;
        at += inPairs ? 1 : 0;
    }
    return count == 0;
}

/// Whether a reply to @p request with status 0 and @p size bytes stands at @p start of
/// what was received; its data then. Its own decoder and check; the byte before ETX is
/// not looked at, as the contract has it.
bool isReplyAt(const QByteArray& line, int start, const QByteArray& request, int size,
               QByteArray& data)
{
    int at = start + 2;
    QByteArray header;
    data.clear();
    if (line.mid(start, 2) != hex("1002") || !takeFolded(line, at, HEADER_SIZE, header)
        || header != replyHeader(request) || !takeFolded(line, at, size, data))
        return false;
    const QByteArray sound = frameOf(header + data);
    return line.mid(at + 1, 3) == sound.right(3);
}

/// Answers every request as the input says.
class FuzzedPort : public AbstractDeviceInterface
{
public:
    explicit FuzzedPort(Input& input)
        : m_input(input)
        , m_retries(input.below(3))
    {}

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        REQUIRE(maxBytes > 0);
        // What a port may write to. The sanitizer knows the buffer's end.
        for (int i = 0; i < maxBytes; ++i)
            static_cast<volatile unsigned char*>(buffer)[i] ^= 0;
        if (m_pieces.isEmpty())
            return qMin(0, m_boast);
        QByteArray& piece = m_pieces.first();
        const QByteArray taken = piece.left(maxBytes);
        piece.remove(0, taken.size());
        if (piece.isEmpty())
            m_pieces.removeFirst();
        std::copy(taken.begin(), taken.end(), buffer);
        received += taken;
        isHonest = isHonest && m_boast <= 0;
        return static_cast<int>(taken.size()) + qMax(0, m_boast);
    }

    void sendData(const unsigned char* data, int length) override
    {
        const QByteArray bytes(reinterpret_cast<const char*>(data), length);
        if (bytes == hex("1006"))
            return;
        const QByteArray message = messageOf(bytes);
        REQUIRE(bytes == frameOf(message));
        requests << message;
        received.clear();
        answer(message);
    }

    void getParameter(int, QVariant& value) override { value = m_input.below(4) == 0 ? 1 : 0; }
    void setParameter(int, const QVariant&) override {}
    int retryCount() override { return m_retries; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

    /// Whether what was received holds a sound reply to the last request.
    bool repliedSoundly()
    {
        for (int start = 0; start < received.size(); ++start) {
            if (isReplyAt(received, start, requests.last(), dataSize(), data))
                return true;
        }
        return false;
    }

    QList<QByteArray> requests;
    QByteArray received;  ///< since the last request
    QByteArray data;      ///< of the sound reply found last
    bool isPlain = false; ///< the last request was answered soundly at once
    int plainSize = 0;    ///< data bytes of that reply, pairs of DLE as two
    bool isHonest = true; ///< no call told more bytes than it brought

private:
    /// Data bytes that the last request asks for.
    int dataSize() const
    {
        const QByteArray& request = requests.last();
        return request.at(6) == '\xA2' ? static_cast<unsigned char>(request.at(7)) : 0;
    }

    void answer(const QByteArray& request)
    {
        m_pieces.clear();
        m_boast = 0;
        isPlain = false;
        QByteArray piece;
        for (int parts = m_input.byte(); !m_input.atEnd() && parts > 0; parts /= 2)
            addPart(request, piece);
        if (!piece.isEmpty())
            m_pieces << piece;
    }

    void addPart(const QByteArray& request, QByteArray& piece)
    {
        static const char* const pairs[] = {"1006", "1015", "1005", "1002", "1003", "1010"};
        switch (m_input.below(8)) {
        case 0:
            piece += hex(pairs[m_input.below(6)]);
            return;
        case 1:
            piece += m_input.bytes(m_input.byte());
            return;
        case 2: // silence
            if (!piece.isEmpty())
                m_pieces << piece;
            piece.clear();
            return;
        case 3:
            isPlain = false;
            m_boast = m_input.byte() - 8;
            return;
        case 4:
            piece += soundReply(request);
            return;
        case 5:
            piece += damaged(soundReply(request));
            return;
        case 6:
            piece += frameOf(oddHeader(request) + m_input.bytes(m_input.below(16)));
            return;
        default:
            isPlain = m_pieces.isEmpty() && piece.isEmpty() && m_boast <= 0;
            piece += hex("1006") + soundReply(request);
            plainSize = static_cast<int>(piece.size()) - PLAIN_FRAME;
            return;
        }
    }

    QByteArray soundReply(const QByteArray& request)
    {
        QByteArray bytes = m_input.bytes(dataSize());
        bytes.append(QByteArray(dataSize() - bytes.size(), '\x10'));
        return frameOf(replyHeader(request) + bytes);
    }

    QByteArray oddHeader(const QByteArray& request)
    {
        QByteArray header = replyHeader(request);
        const int at = m_input.below(HEADER_SIZE);
        header[at] = static_cast<char>(header.at(at) ^ m_input.byte());
        return header;
    }

    QByteArray damaged(QByteArray frame)
    {
        const int at = m_input.byte() % static_cast<int>(frame.size());
        switch (m_input.below(4)) {
        case 0:
            frame[at] = static_cast<char>(frame.at(at) ^ (1 << m_input.below(8)));
            return frame;
        case 1:
            return frame.left(at);
        case 2:
            return frame.remove(at, 1 + m_input.below(3));
        default:
            return frame.insert(at, m_input.bytes(1 + m_input.below(3)));
        }
    }

    Input& m_input;
    int m_retries;
    QList<QByteArray> m_pieces;
    int m_boast = 0; ///< told beyond what is brought; below 0 told when nothing is left
};

/// Replies with fixed data, as a controller in good health does.
class SoundPort : public AbstractDeviceInterface
{
public:
    explicit SoundPort(const QByteArray& data)
        : m_data(data)
    {}

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        const QByteArray taken = m_line.left(maxBytes);
        m_line.remove(0, taken.size());
        std::copy(taken.begin(), taken.end(), buffer);
        return static_cast<int>(taken.size());
    }
    void sendData(const unsigned char* data, int length) override
    {
        const QByteArray bytes(reinterpret_cast<const char*>(data), length);
        if (bytes != hex("1006"))
            m_line = hex("1006") + frameOf(replyHeader(messageOf(bytes)) + m_data);
    }
    void getParameter(int, QVariant& value) override { value = 0; }
    void setParameter(int, const QVariant&) override {}
    int retryCount() override { return 0; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

private:
    QByteArray m_data;
    QByteArray m_line;
};

void requireKnownError(const QString& text, const QString& address)
{
    static const char* const known[] = {"PLC no response",
                                        "packet loss",
                                        "PLC no ack",
                                        "invalid PLC response",
                                        "invalid response from PLC",
                                        "invalid response from PLC1",
                                        "invalid response from PLC3",
                                        "read %1:request CRC error",
                                        "read %1:response CRC error",
                                        "invalid address:%1"};
    bool isKnown = false;
    for (const char* const one : known)
        isKnown = isKnown || text == QString::fromLatin1(one).replace("%1", address);
    REQUIRE(isKnown);
}

void checkRead(Input& input)
{
    static const char* const rows[] = {
        "2 %1 N7:0",     "1 %1 N7:3",    "2 %1 T4:0",    "2 %1 T4:0.ACC", "3 %1 F8:1",
        "0 %1 B3:2/5",   "0 %1 T4:0/DN", "0 %1 R6:0/EN", "0 %1 C5:0/14",  "0 %1 T4:1.PRE/3",
        "2 %1 R6:0.LEN", "2 %1 N16:16",  "5 %1 N7:0",    "6 %1 S2:1/15",  "2 %1 F8:0"};
    const QByteArray row = rows[input.below(15)];
    const CommunicatorCommand command =
        request(QByteArray(row).replace("%1", QByteArray::number(input.byte())));
    DriverABMicroLogix driver;
    FuzzedPort port(input);
    const QByteArray result = driver.read(&port, command);
    if (driver.hasError()) {
        REQUIRE(result.isEmpty());
        requireKnownError(driver.getLastError(), command.address);
        // What was whole and fits the driver's buffer has no reason to fail.
        REQUIRE(!port.isPlain || port.plainSize > LARGEST_DATA);
        return;
    }
    if (!port.isHonest)
        return;
    REQUIRE(port.repliedSoundly());
    DriverABMicroLogix other;
    SoundPort sound(port.data);
    REQUIRE(result == other.read(&sound, command) && !other.hasError());
}

void checkWrite(Input& input)
{
    static const char* const rows[] = {"2 1 N7:0",   "1 1 T4:0",     "2 1 T4:0.ACC",
                                       "3 1 F8:1",   "0 1 B3:2/5",   "0 1 T4:0/DN",
                                       "5 1 N16:16", "2 1 R6:1.LEN", "0 1 T4:1.PRE/3"};
    const CommunicatorCommand command = request(QByteArray(rows[input.below(9)]));
    const QByteArray data = input.bytes(input.below(12));
    DriverABMicroLogix driver;
    FuzzedPort port(input);
    const bool done = driver.write(&port, command, data);
    REQUIRE(done == !driver.hasError());
    if (!done) {
        requireKnownError(driver.getLastError(), command.address);
        REQUIRE(!port.isPlain);
        return;
    }
    REQUIRE(port.requests.isEmpty() || !port.isHonest || port.repliedSoundly());
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    if (input.below(2) == 0)
        checkRead(input);
    else
        checkWrite(input);
    return 0;
}
