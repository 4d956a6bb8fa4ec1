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
