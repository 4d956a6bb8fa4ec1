#include "simulator/station.h"

#include <utility>

namespace simulator {

namespace {

constexpr int shortestMessage = 6;

// What tells one message from the next: SRC, CMD and TNS.
QByteArray identityOf(const QByteArray& message)
{
    return message.mid(1, 2) + message.mid(4, 2);
}

}

Station::Station(const StationSettings& settings, Handler handler)
    : m_settings(settings)
    , m_handler(std::move(handler))
    , m_decoder(settings.check)
    , m_lastAnswer(controlPair(symbol::NAK))
{}

QByteArray Station::receive(const QByteArray& bytes, qint64 now)
{
    for (const char byte : bytes)
        handle(m_decoder.take(byte), now);
    return std::exchange(m_toSend, {});
}

QByteArray Station::elapse(qint64 now)
{
    if (!m_ackDeadline || now < *m_ackDeadline)
        return {};
    if (m_enqsLeft-- > 0) {
        ++m_counters.enqsSent;
        m_toSend += controlPair(symbol::ENQ);
        m_ackDeadline = now + m_settings.ackTimeoutMs;
    } else {
        dropFirst(now);
    }
    return std::exchange(m_toSend, {});
}

void Station::handle(FrameDecoder::Event event, qint64 now)
{
    using Event = FrameDecoder::Event;
    switch (event) {
    case Event::Nothing:
        return;
    case Event::Message:
        acceptMessage(now);
        return;
    case Event::Damaged:
        ++m_counters.badMessages;
        answer(symbol::NAK);
        return;
    case Event::Ack:
        endFirst(now);
        return;
    case Event::Nak:
        ++m_counters.naksReceived;
        sendAgain(now);
        return;
    case Event::Enq:
        ++m_counters.enqsReceived;
        m_toSend += m_lastAnswer;
        return;
    case Event::Noise:
        m_lastAnswer = controlPair(symbol::NAK);
        return;
    }
}

void Station::acceptMessage(qint64 now)
{
    const QByteArray message = m_decoder.message();
    if (message.size() < shortestMessage) {
        ++m_counters.badMessages;
        answer(symbol::NAK);
        return;
    }
    const QByteArray identity = identityOf(message);
    if (identity == m_lastIdentity) {
        ++m_counters.duplicates;
        answer(symbol::ACK);
        return;
    }
    if (m_replies.size() >= mostReplies) {
        ++m_counters.noMemory;
        answer(symbol::NAK);
        return;
    }
    ++m_counters.received;
    m_lastIdentity = identity;
    answer(symbol::ACK);
    if (static_cast<quint8>(message.at(0)) != m_settings.station)
        return;
    const QByteArray reply = m_handler(message);
    if (!reply.isEmpty())
        queueReply(reply, now);
}

void Station::answer(char code)
{
    m_lastAnswer = controlPair(code);
    m_toSend += m_lastAnswer;
}

void Station::queueReply(const QByteArray& reply, qint64 now)
{
    m_replies.push_back(encodeFrame(reply, m_settings.check));
    if (m_replies.size() == 1)
        sendFirst(now);
}

void Station::sendFirst(qint64 now)
{
    m_naksLeft = m_settings.nakRetries;
    m_enqsLeft = m_settings.enqRetries;
    ++m_counters.sent;
    m_toSend += m_replies.front();
    m_ackDeadline = now + m_settings.ackTimeoutMs;
}

void Station::sendAgain(qint64 now)
{
    if (m_replies.empty())
        return;
    if (m_naksLeft-- <= 0) {
        dropFirst(now);
        return;
    }
    m_toSend += m_replies.front();
    m_ackDeadline = now + m_settings.ackTimeoutMs;
}

void Station::dropFirst(qint64 now)
{
    ++m_counters.undelivered;
    endFirst(now);
}

void Station::endFirst(qint64 now)
{
    if (m_replies.empty())
        return;
    m_replies.pop_front();
    m_ackDeadline.reset();
    if (!m_replies.empty())
        sendFirst(now);
}

}
