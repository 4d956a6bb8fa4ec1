// The diagnostic commands.
#include "simulator/controller.h"
#include "simulator/request.h"

namespace simulator {

namespace {

constexpr int echoLimit = 243;

void appendWord(QByteArray& bytes, int value)
{
    bytes.append(static_cast<char>(value));
    bytes.append(static_cast<char>(value >> 8));
}

}

Outcome Controller::echo(RequestFields& fields)
{
    const QByteArray data = fields.rest();
    return data.size() <= echoLimit ? Outcome::success(data) : Outcome::refusal(status::Illegal);
}

Outcome Controller::readCounters(RequestFields& fields)
{
    constexpr quint16 framingErrors = 0; // no line that could have any
    const LinkCounters& link = m_linkCounters;
    QByteArray counters;
    for (const quint16 counter :
         {link.sent, link.received, link.undelivered, link.enqsSent, link.naksReceived,
          link.enqsReceived, link.badMessages, link.noMemory, link.duplicates, framingErrors})
        appendWord(counters, counter);
    if (fields.atEnd())
        return Outcome::success(counters);

    const auto address = fields.word();
    const auto size = fields.byte();
    if (!address || !size || !fields.atEnd() || *size > counters.size())
        return Outcome::refusal(status::Illegal);
    return Outcome::success(counters.left(*size));
}

}
