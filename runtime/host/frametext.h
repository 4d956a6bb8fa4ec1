// What went over the line, in words.
#pragma once

#include <deque>

#include "host/linereader.h"
#include "host/message.h"

namespace host {

/// Such as "protected typed logical write N7:3, 4 bytes, data 0A 00 14 00; station 0 to
/// 1, TNS 0003". A reply to it is "reply to command 0F; station 1 to 0, TNS 0003" or, when
/// @p request is given, "reply to protected typed logical write N7:3; ..."; of a refusal
/// the status is told too.
QString textOf(const Message& message, const Message* request = nullptr);

/// Puts the tokens of a conversation in words, in their order: a reply is told with the
/// request that it answers, when that is one of the last few.
class Narrator
{
public:
    /// Such as "ACK", "noise, 3 bytes", or a frame's message and its check: "...; CRC
    /// right", "...; CRC wrong, 89 34 would be right", "...; cut off".
    QString words(const LineToken& token);

private:
    QString frameWords(const LineToken& token);

    const Message* requestOf(const Message& reply) const;

    std::deque<Message> m_requests; // the latest first
};

}
