// Large reads and writes of neighbouring values, in pieces that one request carries.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

#include "drivers/communicatorcommand.h"
#include "host/tagaddress.h"

namespace host {

/// Values in a row that one read brings; the command's data hold them as valueAt wants.
struct ReadPiece
{
    TagAddress address; ///< of the first of them
    int count;
    CommunicatorCommand command;
};

/// Reads of @p count values from @p address on, as few as can be with at most
/// @p dataBytes (6 to MOST_DATA_BYTES) each. Nothing, with one line in @p error (not
/// null), when they go beyond the last element there can be.
std::optional<std::vector<ReadPiece>> splitRead(const TagAddress& address, int count, int dataBytes,
                                                QString* error);

struct WritePiece
{
    CommunicatorCommand command;
    QByteArray data;
};

/// Writes of @p data, which dataOf has made for @p address, with at most @p dataBytes
/// (6 to 255) each. Bits, and words of timers, counters and controls, stay one piece:
/// the driver sends a command for each. Errors as above.
std::optional<std::vector<WritePiece>> splitWrite(const TagAddress& address, const QByteArray& data,
                                                  int dataBytes, QString* error);

}
