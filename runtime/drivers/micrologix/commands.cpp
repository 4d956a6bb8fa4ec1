#include "drivers/micrologix/commands.h"

#include "drivers/df1/addressing.h"
#include "drivers/df1/framing.h"
#include "drivers/df1/messageparts.h"

namespace {

const unsigned char FNC_TYPED_READ = 0xA2;
const unsigned char FNC_TYPED_WRITE = 0xAA;
const unsigned char FNC_TYPED_MASKED_WRITE = 0xAB;

/// @p header with size, file and address; @p size counts by its low 8 bits.
QByteArray typedCommand(QByteArray header, const QByteArray& fileName, int size,
                        unsigned short element, unsigned char subElement)
{
    df1::appendByte(header, size);
    df1::appendByte(header, DF1GetFileNo(fileName));
    df1::appendByte(header, DF1GetFileType(fileName));
    df1::appendVariableNumber(header, element);
    df1::appendByte(header, subElement);
    return header;
}

}

QByteArray DF1PackReadBytesCmd(const QByteArray& fileName, unsigned char destination,
                               unsigned char source, unsigned short transaction,
                               unsigned short element, unsigned short byteCount)
{
    QByteArray message =
        typedCommand(df1::commandHeader(destination, source, transaction, FNC_TYPED_READ), fileName,
                     byteCount, element, 0);
    DF1ToDataLinkLayerPacket(message);
    return message;
}

QByteArray DF1PackWriteBitCmd(const QByteArray& fileName, unsigned char destination,
                              unsigned char source, unsigned short transaction,
                              unsigned short element, unsigned char subElement, unsigned char bit,
                              bool value)
{
    const int wordSize = 2;
    QByteArray message =
        typedCommand(df1::commandHeader(destination, source, transaction, FNC_TYPED_MASKED_WRITE),
                     fileName, wordSize, element, subElement);
    const int mask = 1 << (bit % 16);
    df1::appendWord(message, mask);
    df1::appendWord(message, value ? mask : 0);
    DF1ToDataLinkLayerPacket(message);
    return message;
}

QByteArray DF1PackWriteBytesCmd(const QByteArray& fileName, unsigned char destination,
                                unsigned char source, unsigned short transaction,
                                unsigned short element, unsigned char subElement,
                                const QByteArray& data)
{
    const int size = static_cast<int>(data.size());
    QByteArray message =
        typedCommand(df1::commandHeader(destination, source, transaction, FNC_TYPED_WRITE, size),
                     fileName, size, element, subElement);
    message.append(data);
    DF1ToDataLinkLayerPacket(message);
    return message;
}
