#include "host/diagnosticframes.h"

#include <QStringList>
#include <QtEndian>

#include "drivers/df1/framing.h"
#include "drivers/tools/checksums.h"
#include "drivers/tools/packing.h"

namespace host {

namespace {

const char DLE = 0x10;
const char ETX = 0x03;
const int PAIR_SIZE = 2;
const int CRC_SIZE = 2;
const int BCC_SIZE = 1;
const int HEADER_SIZE = 6;
const int DIAGNOSTIC_COMMAND = 0x06;
const int REPLY_FLAG = 0x40;

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

QByteArray pairOf(const unsigned char* pair)
{
    return QByteArray(reinterpret_cast<const char*>(pair), PAIR_SIZE);
}

int byteAt(const QByteArray& data, int at)
{
    return static_cast<quint8>(data.at(at));
}

int wordAt(const QByteArray& data, int at)
{
    return qFromLittleEndian<quint16>(data.constData() + at);
}

QByteArray diagnosticRequest(const Envelope& envelope, int function)
{
    return ByteArrayPack("CCCCvC", envelope.destination, envelope.source, DIAGNOSTIC_COMMAND, 0,
                         envelope.transaction, function);
}

/// The two's complement of the sum, a doubled DLE counted once.
char bccOf(const QByteArray& message)
{
    return static_cast<char>(-UInt8CheckSum(bytesOf(message), static_cast<int>(message.size())));
}

/// Bytes of the check of this method that @p check begins with; 0 when it is wrong.
int rightCheck(const QByteArray& message, const QByteArray& check, CheckMethod method)
{
    if (method == CheckMethod::Bcc)
        return check.startsWith(bccOf(message)) ? BCC_SIZE : 0;
    const QByteArray covered = message + ETX + check.left(CRC_SIZE);
    const bool isRight = check.size() >= CRC_SIZE
                         && DF1CRC16(bytesOf(covered), static_cast<int>(covered.size())) == 0;
    return isRight ? CRC_SIZE : 0;
}

/// Goes through received bytes from front to back.
class Reader
{
public:
    Reader(const QByteArray& received, const QByteArray& sent, CheckMethod check)
        : m_bytes(received)
        , m_sent(sent)
        , m_check(check)
    {
        if (!received.startsWith(sent))
            return;
        m_answer.isEchoed = true;
        m_at = static_cast<int>(sent.size());
    }

    LineAnswer read()
    {
        while (m_at < m_bytes.size())
            readSymbol();
        return m_answer;
    }

private:
    void readSymbol()
    {
        const QByteArray pair = m_bytes.mid(m_at, PAIR_SIZE);
        if (pair == pairOf(DF1_DLE_STX)) {
            m_at += PAIR_SIZE;
            readFrame();
        } else if (countLinkAnswer(pair)) {
            m_at += PAIR_SIZE;
        } else {
            ++m_answer.strays;
            ++m_at;
        }
    }

    bool countLinkAnswer(const QByteArray& pair)
    {
        if (pair == pairOf(DF1_DLE_ACK))
            ++m_answer.acks;
        else if (pair == pairOf(DF1_DLE_NAK))
            ++m_answer.naks;
        else if (pair == pairOf(DF1_DLE_ENQ))
            ++m_answer.enqs;
        else
            return false;
        return true;
    }

    /// A frame's data may hold a link answer; any other pair but DLE DLE breaks it off.
    void readFrame()
    {
        QByteArray message;
        while (m_at < m_bytes.size()) {
            if (m_bytes.at(m_at) != DLE) {
                message += m_bytes.at(m_at++);
                continue;
            }
            const QByteArray pair = m_bytes.mid(m_at, PAIR_SIZE);
            if (pair == pairOf(DF1_DLE_ETX)) {
                m_at += PAIR_SIZE;
                return closeFrame(message);
            }
            if (pair == QByteArray(PAIR_SIZE, DLE))
                message += DLE;
            else if (!countLinkAnswer(pair))
                break;
            m_at += PAIR_SIZE;
        }
        ++m_answer.strays;
    }

    void closeFrame(const QByteArray& message)
    {
        const CheckMethod other = m_check == CheckMethod::Crc ? CheckMethod::Bcc : CheckMethod::Crc;
        for (const CheckMethod method : {m_check, other}) {
            const int size = rightCheck(message, m_bytes.mid(m_at, CRC_SIZE), method);
            if (size == 0)
                continue;
            m_at += size;
            // Noise may stand in front of what comes back.
            if (framed(message, method) == m_sent)
                m_answer.isEchoed = true;
            else
                m_answer.messages.push_back({message, method});
            return;
        }
        ++m_answer.strays;
        m_at += m_check == CheckMethod::Crc ? CRC_SIZE : BCC_SIZE;
    }

    const QByteArray& m_bytes;
    const QByteArray& m_sent;
    CheckMethod m_check;
    int m_at = 0;
    LineAnswer m_answer;
};

QString hexadecimal(int number, int digits)
{
    return QString::number(number, 16).toUpper().rightJustified(digits, QLatin1Char('0'))
           + QLatin1Char('h');
}

QString modeName(int modeWord)
{
    const int mode = modeWord & 0x1F;
    switch (mode) {
    case 0x01:
        return QStringLiteral("PROGRAM (remote)");
    case 0x03:
        return QStringLiteral("SUSPENDED");
    case 0x06:
        return QStringLiteral("RUN (remote)");
    case 0x07:
        return QStringLiteral("TEST (continuous)");
    case 0x08:
        return QStringLiteral("TEST (single scan)");
    case 0x11:
        return QStringLiteral("PROGRAM (switch)");
    case 0x1E:
        return QStringLiteral("RUN (switch)");
    default:
        return hexadecimal(mode, 2);
    }
}

}

QByteArray echoRequest(const Envelope& envelope, const QByteArray& data)
{
    return diagnosticRequest(envelope, 0x00) + data;
}

QByteArray statusRequest(const Envelope& envelope)
{
    return diagnosticRequest(envelope, 0x03);
}

QByteArray framed(const QByteArray& message, CheckMethod check)
{
    QByteArray frame = message;
    if (check == CheckMethod::Crc) {
        DF1ToDataLinkLayerPacket(frame);
        return frame;
    }
    DF1EscapeDLE(frame, 0, static_cast<int>(frame.size()));
    return pairOf(DF1_DLE_STX) + frame + pairOf(DF1_DLE_ETX) + bccOf(message);
}

bool isSoundWithEither(const QByteArray& message)
{
    return framed(message, CheckMethod::Crc).startsWith(framed(message, CheckMethod::Bcc));
}

bool LineAnswer::isEmpty() const
{
    return !isEchoed && acks == 0 && naks == 0 && enqs == 0 && strays == 0 && messages.empty();
}

LineAnswer answerIn(const QByteArray& received, const QByteArray& sent, CheckMethod check)
{
    return Reader(received, sent, check).read();
}

std::optional<Reply> replyTo(const QByteArray& request, const QByteArray& message)
{
    if (message.size() < HEADER_SIZE || request.size() < HEADER_SIZE)
        return std::nullopt;
    if (message.at(0) != request.at(1) || byteAt(message, 2) != (byteAt(request, 2) | REPLY_FLAG)
        || message.mid(4, 2) != request.mid(4, 2))
        return std::nullopt;
    return Reply{byteAt(message, 1), byteAt(message, 3), message.mid(HEADER_SIZE)};
}

std::optional<ControllerStatus> controllerStatus(const QByteArray& data)
{
    const int leastSize = 23;
    const int extendedType = 0xEE;
    if (data.size() < leastSize || byteAt(data, 1) != extendedType)
        return std::nullopt;
    ControllerStatus status;
    for (const char letter : data.mid(5, 11)) {
        if (letter >= ' ' && letter <= '~')
            status.name += QLatin1Char(letter);
    }
    status.name = status.name.trimmed();
    status.series = static_cast<char>('A' + (byteAt(data, 4) >> 5));
    status.firmware = byteAt(data, 4) & 0x1F;
    status.majorError = wordAt(data, 16);
    status.mode = wordAt(data, 18);
    status.programId = wordAt(data, 20);
    status.ramKilobytes = byteAt(data, 22);
    return status;
}

QString identityText(const ControllerStatus& status)
{
    return QStringLiteral("%1 series %2 firmware %3")
        .arg(status.name.isEmpty() ? QStringLiteral("a controller without a name") : status.name)
        .arg(QLatin1Char(status.series))
        .arg(status.firmware);
}

QString modeText(const ControllerStatus& status)
{
    const int forcesEnabled = 1 << 5;
    const int forcesInstalled = 1 << 6;
    QStringList parts(QStringLiteral("mode ") + modeName(status.mode));
    if ((status.mode & forcesEnabled) != 0)
        parts << QStringLiteral("forces enabled");
    else if ((status.mode & forcesInstalled) != 0)
        parts << QStringLiteral("forces installed");
    if (status.majorError != 0)
        parts << QStringLiteral("major error ") + hexadecimal(status.majorError, 4);
    return parts.join(QStringLiteral(", "));
}

}
