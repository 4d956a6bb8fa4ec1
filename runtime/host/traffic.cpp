#include "host/traffic.h"

#include <utility>

namespace host {

TrafficReader::TrafficReader(Taker taker)
    : m_taker(std::move(taker))
    , m_sent([this](const LineToken& token) { handOut(token); })
    , m_received(m_sent)
{}

void TrafficReader::take(const LineEvent& event)
{
    switch (event.kind) {
    case LineEvent::Kind::Sent:
        takeSent(event);
        break;
    case LineEvent::Kind::Received:
    case LineEvent::Kind::Discarded:
        takeReceived(event);
        break;
    case LineEvent::Kind::Silence:
        finish();
        m_next = {Direction::Received, event.time, LineToken(), false};
        handOutSilence();
        break;
    }
}

void TrafficReader::finish()
{
    m_next = m_lastReceived;
    m_received.finish();
}

void TrafficReader::takeSent(const LineEvent& event)
{
    // A driver also sends ACKs to silence a controller in the middle of a frame.
    if (event.bytes.startsWith("\x10\x02"))
        finish();
    m_next = {Direction::Sent, event.time, LineToken(), false};
    m_sent.take(event.bytes);
    m_sent.finish();
}

void TrafficReader::takeReceived(const LineEvent& event)
{
    if (event.bytes.isEmpty())
        return;
    m_lastReceived = {Direction::Received, event.time, LineToken(),
                      event.kind == LineEvent::Kind::Discarded};
    m_next = m_lastReceived;
    m_received.take(event.bytes);
}

void TrafficReader::take(const Record& record)
{
    m_next = {record.direction, record.time, LineToken(), record.isDiscarded};
    m_isEmbedded = record.isEmbedded;

    LineReader& reader = record.direction == Direction::Sent ? m_sent : m_received;
    reader.take(record.bytes);
    reader.finish();
    if (record.bytes.isEmpty())
        handOutSilence();
    m_isEmbedded = false;
}

void TrafficReader::handOutSilence()
{
    LineToken silence;
    silence.kind = LineToken::Kind::Silence;
    handOut(silence);
}

void TrafficReader::handOut(LineToken token)
{
    token.isEmbedded = token.isEmbedded || m_isEmbedded;
    m_next.token = std::move(token);
    m_taker(m_next);
}

}
