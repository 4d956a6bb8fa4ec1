// What every PCCC command is put together from. For the command builders only;
// nothing here is exported.
#pragma once

#include <QByteArray>

#include "drivers/tools/packing.h"

namespace df1 {

/// The seven bytes that open a request: DST SRC CMD STS TNS(2) FNC, with CMD 0x0F
/// and STS 0 (publication 1770-6.5.16, chapter 6).
inline QByteArray commandHeader(unsigned char destination, unsigned char source,
                                unsigned short transaction, unsigned char function)
{
    return ByteArrayPack("CCCCvC", destination, source, 0x0F, 0, transaction, function);
}

/// Appends an address field that may not fit in a byte: the number itself up to
/// 254, otherwise FF and the number as 16 bits, low byte first.
inline void appendVariableNumber(QByteArray& message, unsigned short number)
{
    message.append(number < 255 ? ByteArrayPack("C", number) : ByteArrayPack("Cv", 0xFF, number));
}

}
