#include "host/explanation.h"

#include <algorithm>

#include "host/wording.h"

namespace host {

namespace {

// A line that babbles must not fill the memory.
const size_t MOST_KEPT = 256;
const size_t MOST_EARLIER = 16;

const char* const CHECK_LINE = "check the line settings, the cable and its shield";
const char* const RAISE_TIMEOUT = "give a longer --timeout";

Explanation explanation(Cause cause, const QString& text, const char* hint)
{
    return {cause, text, QLatin1String(hint)};
}

Explanation explanation(Cause cause, const char* text, const char* hint)
{
    return {cause, QLatin1String(text), QLatin1String(hint)};
}

Explanation explainDamage(const LineToken& frame)
{
    if (frame.check == Check::Bcc)
        return explanation(Cause::BccReply, "the reply closes with a BCC instead of a CRC",
                           "set the controller's channel to CRC");
    if (frame.isCutOff())
        return explanation(
            Cause::DamagedReply,
            QStringLiteral("the reply broke off after %1").arg(byteCount(frame.raw.size())),
            CHECK_LINE);
    if (frame.hasLoneDle)
        return explanation(Cause::DamagedReply, "a DLE in the reply was not doubled", CHECK_LINE);
    return explanation(Cause::DamagedReply, "the reply came with a wrong check", CHECK_LINE);
}

}

/// What the last attempt brought.
struct CallTraffic::Summary
{
    bool isSilent() const { return acks + naks + enquiries + noise == 0 && !reply; }

    int acks = 0;
    int embedded = 0; // not counted among the ACKs
    int naks = 0;
    int enquiries = 0;
    int noise = 0; // bytes
    bool hasEcho = false;
    std::optional<LineToken> damaged; // the first
    std::optional<Message> reply;     // to the request
    std::optional<Message> foreign;   // the first
};

Explanation lossOfPort(const QString& reason)
{
    return explanation(Cause::Port, reason,
                       "check the adapter and the cable, or that the device server is up");
}

void CallTraffic::beginCall()
{
    endAttempt();
    m_badReply.reset();
}

void CallTraffic::take(const Sighting& sighting)
{
    const LineToken& token = sighting.token;
    if (sighting.direction == Direction::Sent && token.kind == LineToken::Kind::Frame)
        beginAttempt(token);
    else if (sighting.direction == Direction::Received && m_received.size() < MOST_KEPT)
        m_received.push_back(token);
}

void CallTraffic::beginAttempt(const LineToken& request)
{
    endAttempt();
    m_request = Message::parse(request.message);
    m_requestBytes = request.raw;
}

void CallTraffic::endAttempt()
{
    if (m_request) {
        const Explanation former = explainAttempt();
        if (former.cause == Cause::DamagedReply || former.cause == Cause::BccReply
            || former.cause == Cause::ForeignReply)
            m_badReply = former;
        m_earlier.push_back(*m_request);
        if (m_earlier.size() > MOST_EARLIER)
            m_earlier.pop_front();
    }
    m_request.reset();
    m_received.clear();
}

Explanation CallTraffic::explain() const
{
    Explanation last = explainAttempt();
    const bool isConsequence = last.cause == Cause::NoReply || last.cause == Cause::Enquiry;
    if (!m_badReply || !isConsequence)
        return last;
    return {m_badReply->cause, QStringLiteral("in an earlier attempt ") + m_badReply->text,
            m_badReply->hint};
}

Explanation CallTraffic::explainAttempt() const
{
    if (!m_request)
        return explanation(Cause::NotSent, "no request can carry this",
                           "give a file and an element, such as N7:0, F8:1 or T4:0.ACC");
    const Summary seen = summary();
    if (seen.reply && !seen.reply->status.isSuccess())
        return explainRefusal(*seen.reply);
    if (seen.hasEcho)
        return explanation(Cause::Echo, "the line gives back what is sent",
                           "switch the adapter's echo off, and check that the controller is "
                           "connected");
    if (seen.embedded > 0)
        return explanation(Cause::EmbeddedAnswer, "the ACK stood inside the reply",
                           "switch embedded responses off on the controller's channel");
    if (seen.foreign)
        return explainForeign(*seen.foreign);
    if (seen.damaged)
        return explainDamage(*seen.damaged);
    return explainAnswers(seen);
}

/// What is wrong when there is no reply, or a sound one.
Explanation CallTraffic::explainAnswers(const Summary& seen) const
{
    if (seen.isSilent())
        return explanation(Cause::Silence, "nothing came back",
                           "check the cable, the line settings and the station number");
    if (seen.noise > 0)
        return explanation(Cause::Noise,
                           byteCount(seen.noise)
                               + QLatin1String(seen.reply || seen.acks > 0
                                                   ? " that are no DF1 came with the answer"
                                                   : " came that are no DF1"),
                           CHECK_LINE);
    if (m_received.front().kind == LineToken::Kind::Enq)
        return explanation(Cause::Enquiry, "the controller answered ENQ instead of ACK",
                           "check that nobody else talks to the controller on this line");
    if (seen.reply && seen.acks == 0)
        return explanation(Cause::NoAcknowledgement, "the reply came without an ACK before it",
                           CHECK_LINE);
    if (seen.naks > 0)
        return explanation(Cause::Nak, "the controller answered NAK: the request came damaged",
                           "check that the controller's channel is set to CRC, and the cable");
    if (!seen.reply)
        return explanation(Cause::NoReply, "the request was acknowledged, but no reply came",
                           "check the station number, or give a longer --timeout");
    return explanation(Cause::Other, "the answers came in an order that does not fit",
                       "look at the line with --trace -");
}

CallTraffic::Summary CallTraffic::summary() const
{
    Summary seen;
    for (const LineToken& token : m_received) {
        switch (token.kind) {
        case LineToken::Kind::Ack:
            ++(token.isEmbedded ? seen.embedded : seen.acks);
            break;
        case LineToken::Kind::Nak:
            ++seen.naks;
            break;
        case LineToken::Kind::Enq:
            ++seen.enquiries;
            break;
        case LineToken::Kind::Noise:
            seen.noise += static_cast<int>(token.raw.size());
            break;
        case LineToken::Kind::Silence:
            break;
        case LineToken::Kind::Frame:
            const std::optional<Message> message = Message::parse(token.message);
            if (token.raw == m_requestBytes)
                seen.hasEcho = true;
            else if (token.check != Check::Crc || token.hasLoneDle || !message)
                seen.damaged = seen.damaged.value_or(token);
            else if (message->answers(*m_request))
                seen.reply = message;
            else
                seen.foreign = seen.foreign.value_or(*message);
        }
    }
    return seen;
}

Explanation CallTraffic::explainRefusal(const Message& reply) const
{
    return {Cause::Refused, QStringLiteral("the controller refused it: ") + printable(reply.status),
            wordsOf(reply.status).hint};
}

Explanation CallTraffic::explainForeign(const Message& reply) const
{
    if (isLate(reply))
        return explanation(Cause::LateReply, "the reply came when it was no longer waited for",
                           RAISE_TIMEOUT);
    QString difference;
    if (reply.source != m_request->destination || reply.destination != m_request->source)
        difference = QStringLiteral("it goes from station %1 to %2 instead of from %3 to %4")
                         .arg(reply.source)
                         .arg(reply.destination)
                         .arg(m_request->destination)
                         .arg(m_request->source);
    else if (reply.command != (m_request->command | 0x40))
        difference = QStringLiteral("its command is %1").arg(hexByte(reply.command));
    else
        difference = QStringLiteral("its TNS is %1 instead of %2")
                         .arg(hexWord(reply.tns), hexWord(m_request->tns));
    return explanation(Cause::ForeignReply,
                       QStringLiteral("the reply is not to this request: ") + difference,
                       "check the station number, and that nobody else talks to the controller "
                       "on this line");
}

bool CallTraffic::isLate(const Message& reply) const
{
    return std::any_of(m_earlier.begin(), m_earlier.end(),
                       [&](const Message& request) { return reply.answers(request); });
}

}
