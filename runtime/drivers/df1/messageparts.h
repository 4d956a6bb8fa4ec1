// What every PCCC command is put together from. For the command builders only;
// nothing here is exported.
#pragma once

#include <QByteArray>

#include "drivers/tools/packing.h"

namespace df1 {

/// The seven bytes that open a request: DST SRC CMD STS TNS(2) FNC, with CMD 0x0F
/// and STS 0 (publication 1770-6.5.16, chapter 6). There is room behind them for the
/// address fields of a command, @p dataSize bytes more and what makes it a frame, so
/// that it is built in one place.
inline QByteArray commandHeader(unsigned char destination, unsigned char source,
                                unsigned short transaction, unsigned char function,
                                int dataSize = 0)
{
    const int size = 7;
    const int usualRest = 32;
    QByteArray header;
    header.reserve(size + usualRest + dataSize);
    header.resize(size);
    DataPack(reinterpret_cast<unsigned char*>(header.data()), "CCCCvC", destination, source, 0x0F,
             0, transaction, function);
    return header;
}

inline void appendByte(QByteArray& message, int byte)
{
    message.append(static_cast<char>(byte));
}

/// Low byte first.
inline void appendWord(QByteArray& message, int word)
{
    appendByte(message, word);
    appendByte(message, word >> 8);
}

/// Appends an address field that may not fit in a byte: the number itself up to
/// 254, otherwise FF and the number as 16 bits, low byte first.
inline void appendVariableNumber(QByteArray& message, unsigned short number)
{
    if (number < 255) {
        appendByte(message, number);
        return;
    }
    appendByte(message, 0xFF);
    appendWord(message, number);
}

}
