// The application bytes of a frame, read field by field (publication 1770-6.5.16,
// chapters 6 and 7).
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

#include "host/status.h"

namespace host {

/// Where in the data tables a command goes.
struct DataAddress
{
    /// Such as "N7:0", "T4:1.ACC", "ST9:2"; a sub-element without a name as its number,
    /// "N7:0.3"; without a known type "file 7, element 0".
    QString text() const;

    int file = 0;
    std::optional<quint8> type; ///< the file type's code; not every command carries it
    int element = 0;
    int subElement = 0;
};

/// One word of a read-modify-write.
struct ModifiedWord
{
    DataAddress address;
    quint16 andMask = 0;
    quint16 orMask = 0;
};

/// A request or a reply. A plain value.
struct Message
{
    /// Nothing for what is too short to have a header. Any other bytes are a message:
    /// fields that are not there, or that the command is not known to have, are left
    /// out, and what remains is data.
    static std::optional<Message> parse(const QByteArray& bytes);

    bool isReply() const { return (command & 0x40) != 0; }
    /// Whether this is the reply to @p request: stations exchanged, the same command
    /// and TNS.
    bool answers(const Message& request) const;
    /// Such as "protected typed logical read"; a command without a name as its code,
    /// "command 0F function 99". A reply has no function and goes by its command.
    QString commandName() const;

    quint8 destination = 0; ///< DST
    quint8 source = 0;      ///< SRC
    quint8 command = 0;     ///< CMD
    Status status;          ///< of a reply
    quint16 tns = 0;
    std::optional<quint8> function; ///< FNC, of a request
    std::optional<int> size;        ///< in bytes
    std::optional<DataAddress> address;
    std::optional<quint16> mask;     ///< of a masked write
    std::vector<ModifiedWord> words; ///< of a read-modify-write
    QByteArray data;                 ///< everything behind the fields
};

}
