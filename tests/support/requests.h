// Requests in one line.
#pragma once

#include "drivers/communicatorcommand.h"

inline CommunicatorCommand request(int type, int count, const QString& address)
{
    CommunicatorCommand command;
    command.type = type;
    command.count = count;
    command.address = address;
    return command;
}

/// A request from its words "type count address".
inline CommunicatorCommand request(const QByteArray& words)
{
    const int count = static_cast<int>(words.indexOf(' ')) + 1;
    const int address = static_cast<int>(words.indexOf(' ', count)) + 1;
    return request(words.left(count - 1).toInt(), words.mid(count, address - count - 1).toInt(),
                   QString::fromLatin1(words.mid(address)));
}
