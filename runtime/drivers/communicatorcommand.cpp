#include "drivers/communicatorcommand.h"

#include <climits>

namespace {

/// Stays at the limits of an int instead of wrapping round to a small size.
int bytesOf(int count, int unitSize)
{
    const qint64 bytes = static_cast<qint64>(count) * unitSize;
    return static_cast<int>(qBound(qint64(INT_MIN), bytes, qint64(INT_MAX)));
}

}

CommunicatorCommand::CommunicatorCommand()
    : hostData(0)
    , type(0)
    , count(0)
{}

CommunicatorCommand::~CommunicatorCommand() = default;

int CommunicatorCommand::getDataSize() const
{
    const quint32 bits = static_cast<quint32>(count);
    switch (type) {
    case 0:
        return bits == 0 ? 1 : static_cast<int>((bits >> 3) + ((bits & 7) != 0 ? 1 : 0));
    case 1:
    case 5:
        return count;
    case 2:
        return bytesOf(count, 2);
    case 3:
        return bytesOf(count, 4);
    case 4:
        return bytesOf(count, 8);
    default:
        return 1;
    }
}

bool isBitCommand(const CommunicatorCommand& command)
{
    return command.type == 0;
}

bool isByteCommand(const CommunicatorCommand& command)
{
    return command.type == 1;
}

bool isWordCommand(const CommunicatorCommand& command)
{
    return command.type == 2;
}

bool isDoubleWordCommand(const CommunicatorCommand& command)
{
    return command.type == 3;
}

bool isBlockCommand(const CommunicatorCommand& command)
{
    return command.type == 5;
}

bool getBitData(const QByteArray& data)
{
    return !data.isEmpty() && (data.at(0) & 1) != 0;
}
