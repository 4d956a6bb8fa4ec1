#include "simulator/framecodec.h"

#include "drivers/tools/checksums.h"

namespace simulator {

namespace {

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

QByteArray checkOf(const QByteArray& message, CheckMethod method)
{
    QByteArray check;
    if (method == CheckMethod::Bcc) {
        const int sum = UInt8CheckSum(bytesOf(message), static_cast<int>(message.size()));
        check.append(static_cast<char>(-sum));
        return check;
    }
    const QByteArray covered = message + symbol::ETX;
    const int crc = CRC16Calculate(bytesOf(covered), static_cast<int>(covered.size()));
    check.append(static_cast<char>(crc & 0xFF));
    check.append(static_cast<char>(crc >> 8));
    return check;
}

int checkSize(CheckMethod method)
{
    return method == CheckMethod::Bcc ? 1 : 2;
}

}

QByteArray controlPair(char code)
{
    QByteArray pair(1, symbol::DLE);
    pair.append(code);
    return pair;
}

QByteArray encodeFrame(const QByteArray& message, CheckMethod check)
{
    QByteArray frame = controlPair(symbol::STX);
    for (const char byte : message) {
        frame.append(byte);
        if (byte == symbol::DLE)
            frame.append(byte);
    }
    return frame + controlPair(symbol::ETX) + checkOf(message, check);
}

FrameDecoder::FrameDecoder(CheckMethod check)
    : m_check(check)
{}

FrameDecoder::Event FrameDecoder::take(char byte)
{
    switch (m_state) {
    case State::Outside:
        if (byte != symbol::DLE)
            return Event::Noise;
        m_state = State::OutsideDle;
        return Event::Nothing;
    case State::OutsideDle:
        return takeSymbolOutside(byte);
    case State::Inside:
        if (byte == symbol::DLE)
            m_state = State::InsideDle;
        else
            store(byte);
        return Event::Nothing;
    case State::InsideDle:
        return takeSymbolInside(byte);
    case State::Check:
        return takeCheck(byte);
    }
    return Event::Nothing;
}

FrameDecoder::Event FrameDecoder::takeSymbolOutside(char code)
{
    // No data stands out here, so the later of two DLEs may begin a symbol.
    if (code == symbol::DLE)
        return Event::Noise;
    m_state = State::Outside;
    switch (code) {
    case symbol::STX:
        open();
        return Event::Nothing;
    case symbol::ACK:
        return Event::Ack;
    case symbol::NAK:
        return Event::Nak;
    case symbol::ENQ:
        return Event::Enq;
    default:
        return Event::Noise;
    }
}

FrameDecoder::Event FrameDecoder::takeSymbolInside(char code)
{
    m_state = State::Inside;
    switch (code) {
    case symbol::DLE:
        store(code);
        return Event::Nothing;
    case symbol::ETX:
        m_state = State::Check;
        return Event::Nothing;
    case symbol::ACK:
        return Event::Ack;
    case symbol::NAK:
        return Event::Nak;
    case symbol::STX:
        open();
        return Event::Damaged;
    default:
        m_state = State::Outside;
        return Event::Damaged;
    }
}

FrameDecoder::Event FrameDecoder::takeCheck(char byte)
{
    m_checkBytes.append(byte);
    if (m_checkBytes.size() < checkSize(m_check))
        return Event::Nothing;
    m_state = State::Outside;
    const bool sound = !m_tooLong && m_checkBytes == checkOf(m_message, m_check);
    return sound ? Event::Message : Event::Damaged;
}

void FrameDecoder::open()
{
    m_state = State::Inside;
    m_message.clear();
    m_checkBytes.clear();
    m_tooLong = false;
}

void FrameDecoder::store(char byte)
{
    m_tooLong = m_tooLong || m_message.size() >= longestMessage;
    if (!m_tooLong)
        m_message.append(byte);
}

}
