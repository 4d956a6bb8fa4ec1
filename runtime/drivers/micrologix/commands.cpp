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
    header.append(ByteArrayPack("CCC", size, DF1GetFileNo(fileName), DF1GetFileType(fileName)));
    df1::appendVariableNumber(header, element);
    header.append(static_cast<char>(subElement));
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
    message.append(ByteArrayPack("vv", mask, value ? mask : 0));
    DF1ToDataLinkLayerPacket(message);
    return message;
}

QByteArray DF1PackWriteBytesCmd(const QByteArray& fileName, unsigned char destination,
                                unsigned char source, unsigned short transaction,
                                unsigned short element, unsigned char subElement,
                                const QByteArray& data)
{
    QByteArray message =
        typedCommand(df1::commandHeader(destination, source, transaction, FNC_TYPED_WRITE),
                     fileName, static_cast<int>(data.size()), element, subElement);
    message.append(data);
    DF1ToDataLinkLayerPacket(message);
    return message;
}
