// The host's request record and the questions a driver asks of it.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

/// One read or write request: what kind of datum, how many, at which address.
///
/// The host owns the record; a driver borrows it by const reference for the
/// length of one call and keeps no copy. The order of the fields and of the
/// virtual operations is the contract between host and plugin.
class Q_DECL_EXPORT CommunicatorCommand
{
public:
    CommunicatorCommand();
    CommunicatorCommand(const CommunicatorCommand&) = default;
    CommunicatorCommand& operator=(const CommunicatorCommand&) = default;

    /// Size in bytes of the request's data: bits are rounded up to whole bytes
    /// (count 0 gives 1), bytes and blocks give count, words count * 2, double
    /// words count * 4, 64-bit units count * 8, every other type 1. Drivers
    /// call it through the virtual table, so a host may override it.
    virtual int getDataSize() const;
    virtual ~CommunicatorCommand();

    qint32 hostData; ///< the host's own; no driver reads it
    qint32 type;     ///< 0 bit, 1 byte, 2 word, 3 double word, 4 64-bit unit, 5 block, 6 bit
    qint32 count;    ///< number of units of that type
    QString address; ///< for example N7:0, B3:2/5, T4:0.ACC, F8:1
};

/// Type 0.
Q_DECL_EXPORT bool isBitCommand(const CommunicatorCommand& command);
/// Type 1.
Q_DECL_EXPORT bool isByteCommand(const CommunicatorCommand& command);
/// Type 2.
Q_DECL_EXPORT bool isWordCommand(const CommunicatorCommand& command);
/// Type 3.
Q_DECL_EXPORT bool isDoubleWordCommand(const CommunicatorCommand& command);
/// Type 5.
Q_DECL_EXPORT bool isBlockCommand(const CommunicatorCommand& command);

/// Bit 0 of the first byte of @p data; false when @p data is empty.
Q_DECL_EXPORT bool getBitData(const QByteArray& data);
