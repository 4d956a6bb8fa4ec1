#include "drivers/micrologix/commands.h"

#include "drivers/df1/addressing.h"
#include "drivers/df1/framing.h"
#include "drivers/tools/packing.h"

namespace {

const int CMD_TYPED = 0x0F;
const int FNC_TYPED_READ = 0xA2;

QByteArray typedHeader(const QByteArray& fileName, unsigned char destination, unsigned char source,
                       unsigned short transaction, int function, int size)
{
    return ByteArrayPack("CCCCvCCCC", destination, source, CMD_TYPED, 0, transaction, function,
                         size, DF1GetFileNo(fileName), DF1GetFileType(fileName));
}

void appendVariableNumber(QByteArray& message, unsigned short number)
{
    message.append(number < 255 ? ByteArrayPack("C", number) : ByteArrayPack("Cv", 0xFF, number));
}

}

QByteArray DF1PackReadBytesCmd(const QByteArray& fileName, unsigned char destination,
                               unsigned char source, unsigned short transaction,
                               unsigned short element, unsigned short byteCount)
{
    QByteArray message =
        typedHeader(fileName, destination, source, transaction, FNC_TYPED_READ, byteCount);
    appendVariableNumber(message, element);
    message.append('\0');
    DF1ToDataLinkLayerPacket(message);
    return message;
}
