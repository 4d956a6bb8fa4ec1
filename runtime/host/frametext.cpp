#include "host/frametext.h"

#include <algorithm>

#include "host/wording.h"

namespace host {

namespace {

const size_t MOST_REQUESTS = 8;

/// Command and address.
QString subjectOf(const Message& request)
{
    QString text = request.commandName();
    if (request.address)
        text += QLatin1Char(' ') + request.address->text();
    return text;
}

QString requestText(const Message& request)
{
    QString text = subjectOf(request);
    if (request.size)
        text += QStringLiteral(", ") + byteCount(*request.size);
    if (request.mask)
        text += QStringLiteral(", mask ") + hexWord(*request.mask);
    for (const ModifiedWord& word : request.words)
        text += QStringLiteral(", %1 AND %2 OR %3")
                    .arg(word.address.text(), hexWord(word.andMask), hexWord(word.orMask));
    if (!request.data.isEmpty())
        text += QStringLiteral(", data ") + hexText(request.data);
    return text;
}

QString replyText(const Message& reply, const Message* request)
{
    QString text = QStringLiteral("reply to ")
                   + (request != nullptr ? subjectOf(*request) : reply.commandName());
    if (!reply.status.isSuccess())
        text += QStringLiteral(": ") + printable(reply.status);
    if (!reply.data.isEmpty())
        text += QStringLiteral(", data ") + hexText(reply.data);
    return text;
}

QString checkText(const LineToken& token)
{
    QString lone = token.hasLoneDle ? QStringLiteral("; a DLE in it is not doubled") : QString();
    switch (token.check) {
    case Check::None:
        return QStringLiteral("cut off") + lone;
    case Check::Crc:
        return QStringLiteral("CRC right") + lone;
    case Check::Bcc:
        return QStringLiteral("BCC right") + lone;
    case Check::WrongCrc:
        return QStringLiteral("CRC wrong, %1 would be right").arg(hexText(crcOf(token.message)))
               + lone;
    case Check::WrongBcc:
        return QStringLiteral("BCC wrong, %1 would be right").arg(hexText(bccOf(token.message)))
               + lone;
    }
    return lone;
}

}

QString textOf(const Message& message, const Message* request)
{
    return QStringLiteral("%1; station %2 to %3, TNS %4")
        .arg(message.isReply() ? replyText(message, request) : requestText(message))
        .arg(message.source)
        .arg(message.destination)
        .arg(hexWord(message.tns));
}

QString Narrator::words(const LineToken& token)
{
    const QString embedded = token.isEmbedded ? QStringLiteral(" inside a frame") : QString();
    switch (token.kind) {
    case LineToken::Kind::Frame:
        return frameWords(token);
    case LineToken::Kind::Ack:
        return QStringLiteral("ACK") + embedded;
    case LineToken::Kind::Nak:
        return QStringLiteral("NAK") + embedded;
    case LineToken::Kind::Enq:
        return QStringLiteral("ENQ");
    case LineToken::Kind::Noise:
        return QStringLiteral("noise, ") + byteCount(token.raw.size());
    case LineToken::Kind::Silence:
        return QStringLiteral("silence, nothing more came in time");
    }
    return QString();
}

QString Narrator::frameWords(const LineToken& token)
{
    const std::optional<Message> message = Message::parse(token.message);
    if (!message)
        return QStringLiteral("frame without a whole header; ") + checkText(token);
    const QString text = textOf(*message, requestOf(*message)) + QStringLiteral("; ");
    // Of a damaged request nothing is certain, its TNS included.
    if (!message->isReply() && token.isSound())
        m_requests.push_front(*message);
    if (m_requests.size() > MOST_REQUESTS)
        m_requests.pop_back();
    return text + checkText(token);
}

const Message* Narrator::requestOf(const Message& reply) const
{
    const auto request = std::find_if(m_requests.begin(), m_requests.end(),
                                      [&](const Message& one) { return reply.answers(one); });
    return request == m_requests.end() ? nullptr : &*request;
}

}
