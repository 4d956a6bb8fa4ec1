#include "host/linereader.h"

#include <utility>

#include "drivers/df1/framing.h"
#include "drivers/tools/checksums.h"

namespace host {

namespace {

const char DLE = 0x10;
const char STX = 0x02;
const char ETX = 0x03;
const char ENQ = 0x05;
const char ACK = 0x06;
const char NAK = 0x15;

const int CRC_SIZE = 2;
const int BCC_SIZE = 1;

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

}

bool LineToken::isSound() const
{
    return (check == Check::Crc || check == Check::Bcc) && !hasLoneDle;
}

QByteArray crcOf(const QByteArray& message)
{
    const QByteArray covered = message + ETX;
    const unsigned int crc = DF1CRC16(bytesOf(covered), static_cast<int>(covered.size()));
    QByteArray check(1, static_cast<char>(crc & 0xFF));
    check.append(static_cast<char>(crc >> 8));
    return check;
}

QByteArray bccOf(const QByteArray& message)
{
    const int sum = UInt8CheckSum(bytesOf(message), static_cast<int>(message.size()));
    return QByteArray(1, static_cast<char>(-sum));
}

LineReader::LineReader(Taker taker)
    : m_taker(std::move(taker))
{}

void LineReader::take(const QByteArray& bytes)
{
    for (const char byte : bytes)
        take(byte);
}

void LineReader::finish()
{
    if (m_state == State::OutsideDle)
        addNoise(DLE);
    handOutNoise();
    if (m_state == State::InsideDle)
        m_frame.raw.append(DLE);
    if (m_state == State::InCheck && m_check.size() == BCC_SIZE) {
        if (m_check == bccOf(m_frame.message))
            close(Check::Bcc, BCC_SIZE);
        else if (m_hasSeenBcc && !m_hasSeenCrc)
            close(Check::WrongBcc, BCC_SIZE);
    }
    if (m_state != State::Outside && m_state != State::OutsideDle)
        cutOff();
    m_state = State::Outside;
}

void LineReader::take(char byte)
{
    switch (m_state) {
    case State::Outside:
        takeOutside(byte);
        break;
    case State::OutsideDle:
        takeSymbolOutside(byte);
        break;
    case State::Inside:
        takeInside(byte);
        break;
    case State::InsideDle:
        takeSymbolInside(byte);
        break;
    case State::InCheck:
        takeCheck(byte);
        break;
    }
}

void LineReader::takeOutside(char byte)
{
    if (byte == DLE)
        m_state = State::OutsideDle;
    else
        addNoise(byte);
}

void LineReader::takeSymbolOutside(char code)
{
    m_state = State::Outside;
    switch (code) {
    case STX:
        handOutNoise();
        open();
        break;
    case ACK:
        handOutSymbol(LineToken::Kind::Ack, code, false);
        break;
    case NAK:
        handOutSymbol(LineToken::Kind::Nak, code, false);
        break;
    case ENQ:
        handOutSymbol(LineToken::Kind::Enq, code, false);
        break;
    case DLE:
        // No data stands out here, so the later of two DLEs may begin a symbol.
        addNoise(DLE);
        m_state = State::OutsideDle;
        break;
    default:
        addNoise(DLE);
        addNoise(code);
    }
}

void LineReader::takeInside(char byte)
{
    if (byte == DLE)
        m_state = State::InsideDle;
    else
        store(byte);
}

void LineReader::takeSymbolInside(char code)
{
    m_state = State::Inside;
    switch (code) {
    case ETX:
        m_frame.raw.append(DLE).append(code);
        m_check.clear();
        m_state = State::InCheck;
        break;
    case ACK:
        handOutSymbol(LineToken::Kind::Ack, code, true);
        break;
    case NAK:
        handOutSymbol(LineToken::Kind::Nak, code, true);
        break;
    case STX:
        cutOff();
        open();
        break;
    case ENQ:
        cutOff();
        handOutSymbol(LineToken::Kind::Enq, code, false);
        break;
    case DLE:
        m_frame.raw.append(DLE);
        store(code);
        break;
    default:
        m_frame.hasLoneDle = true;
        m_frame.raw.append(DLE);
        m_frame.message.append(DLE);
        store(code);
    }
}

void LineReader::takeCheck(char byte)
{
    m_check.append(byte);
    const QByteArray crc = crcOf(m_frame.message);
    const bool mayBeBcc = !m_hasSeenCrc && m_check.left(BCC_SIZE) == bccOf(m_frame.message);
    if (m_check.size() < CRC_SIZE) {
        // The first byte of a right CRC can be the right BCC as well.
        if (mayBeBcc && byte != crc.at(0))
            close(Check::Bcc, BCC_SIZE);
        return;
    }
    if (m_check == crc)
        close(Check::Crc, CRC_SIZE);
    else if (mayBeBcc)
        close(Check::Bcc, BCC_SIZE);
    else if (m_hasSeenBcc && !m_hasSeenCrc)
        close(Check::WrongBcc, BCC_SIZE);
    else
        close(Check::WrongCrc, CRC_SIZE);
}

void LineReader::open()
{
    m_frame = LineToken();
    m_frame.kind = LineToken::Kind::Frame;
    m_frame.raw.append(DLE).append(STX);
    m_state = State::Inside;
}

void LineReader::store(char byte)
{
    m_frame.raw.append(byte);
    m_frame.message.append(byte);
    if (m_frame.raw.size() >= LONGEST_FRAME)
        cutOff();
}

/// Hands out the frame with the first @p checkSize bytes of what followed it.
void LineReader::close(Check check, int checkSize)
{
    m_hasSeenCrc = m_hasSeenCrc || check == Check::Crc;
    m_hasSeenBcc = m_hasSeenBcc || check == Check::Bcc;
    m_state = State::Outside;
    m_frame.check = check;
    m_frame.raw += m_check.left(checkSize);
    m_taker(m_frame);
    const QByteArray rest = m_check.mid(checkSize);
    m_check.clear();
    take(rest);
}

void LineReader::cutOff()
{
    m_state = State::Outside;
    m_frame.raw += m_check;
    m_check.clear();
    m_taker(m_frame);
}

void LineReader::addNoise(char byte)
{
    m_noise.append(byte);
    if (m_noise.size() >= LONGEST_NOISE)
        handOutNoise();
}

void LineReader::handOutNoise()
{
    if (m_noise.isEmpty())
        return;
    LineToken token;
    token.raw = std::exchange(m_noise, QByteArray());
    m_taker(token);
}

void LineReader::handOutSymbol(LineToken::Kind kind, char code, bool isEmbedded)
{
    handOutNoise();
    LineToken token;
    token.kind = kind;
    token.raw.append(DLE).append(code);
    token.isEmbedded = isEmbedded;
    m_taker(token);
}

}
