#include "drivers/df1/commands.h"

#include "drivers/df1/addressing.h"
#include "drivers/df1/framing.h"
#include "drivers/df1/messageparts.h"
#include "drivers/tools/conversions.h"

namespace {

const unsigned char FNC_WORD_RANGE_WRITE = 0x00;
const unsigned char FNC_WORD_RANGE_READ = 0x01;
const unsigned char FNC_READ_MODIFY_WRITE = 0x26;

const int FILE_AND_ELEMENT = 0x06;
const int FILE_ELEMENT_AND_SUB_ELEMENT = 0x0E;

const int WORD_BITS = 16;

QByteArray framed(QByteArray message)
{
    DF1ToDataLinkLayerPacket2(message);
    return message;
}

/// @p header with the packet offset, which is 0, the total and the address.
QByteArray wordRange(QByteArray header, int totalWords, unsigned char fileNo,
                     unsigned short element)
{
    header.append(ByteArrayPack("vvCC", 0, totalWords, FILE_AND_ELEMENT, fileNo));
    df1::appendVariableNumber(header, element);
    return header;
}

unsigned short elementAfter(unsigned short element, int steps)
{
    return static_cast<unsigned short>(element + steps);
}

void appendBytes(QByteArray& message, const unsigned char* data, int size)
{
    message.append(reinterpret_cast<const char*>(data), size);
}

}

QByteArray DF1PackWordRangeReadAppLayerCmd(unsigned char destination, unsigned char source,
                                           unsigned short transaction, unsigned char fileNo,
                                           unsigned short element, unsigned char size)
{
    QByteArray message =
        wordRange(df1::commandHeader(destination, source, transaction, FNC_WORD_RANGE_READ),
                  size / 2, fileNo, element);
    message.append(static_cast<char>(size));
    return message;
}

QByteArray DF1PackWordRangeReadCmd(const QByteArray& fileName, unsigned char destination,
                                   unsigned char source, unsigned short transaction,
                                   unsigned short element, unsigned short size)
{
    return framed(DF1PackWordRangeReadAppLayerCmd(destination, source, transaction,
                                                  DF1GetFileNo(fileName), element,
                                                  static_cast<unsigned char>(size)));
}

int DF1GetWordRangeReadRspLen(unsigned char size)
{
    const int aroundTheData = 2 + 2 + 6 + 2 + 2;
    return size + aroundTheData;
}

QByteArray DF1PackWordRangeWriteAppLayerCmd(unsigned char destination, unsigned char source,
                                            unsigned short transaction, unsigned char fileNo,
                                            unsigned short element, const unsigned char* data,
                                            unsigned short wordCount)
{
    QByteArray message =
        wordRange(df1::commandHeader(destination, source, transaction, FNC_WORD_RANGE_WRITE),
                  wordCount, fileNo, element);
    appendBytes(message, data, 2 * wordCount);
    return message;
}

QByteArray DF1PackWordRangeWriteCmd(const QByteArray& fileName, unsigned char destination,
                                    unsigned char source, unsigned short transaction,
                                    unsigned short element, const unsigned char* data,
                                    unsigned short wordCount)
{
    return framed(DF1PackWordRangeWriteAppLayerCmd(
        destination, source, transaction, DF1GetFileNo(fileName), element, data, wordCount));
}

QByteArray DF1PackReadModifyWriteWordsAppLayerCmd(unsigned char destination, unsigned char source,
                                                  unsigned short transaction, unsigned short fileNo,
                                                  unsigned short element, unsigned char subElement,
                                                  const unsigned char* data,
                                                  unsigned short wordCount)
{
    QByteArray message =
        df1::commandHeader(destination, source, transaction, FNC_READ_MODIFY_WRITE);
    for (int word = 0; word < wordCount; ++word) {
        message.append(static_cast<char>(FILE_ELEMENT_AND_SUB_ELEMENT));
        df1::appendVariableNumber(message, fileNo);
        df1::appendVariableNumber(message, elementAfter(element, word));
        message.append(ByteArrayPack("Cv", subElement, 0x0000));
        appendBytes(message, data + 2 * word, 2);
    }
    return message;
}

QByteArray DF1PackReadModifyWriteWordsCmd(const QByteArray& fileName, unsigned char destination,
                                          unsigned char source, unsigned short transaction,
                                          unsigned short element, unsigned char subElement,
                                          const unsigned char* data, unsigned short wordCount)
{
    return framed(DF1PackReadModifyWriteWordsAppLayerCmd(destination, source, transaction,
                                                         DF1GetFileNo(fileName), element,
                                                         subElement, data, wordCount));
}

QByteArray DF1PackReadModifyWriteBitsAppLayerCmd(unsigned char destination, unsigned char source,
                                                 unsigned short transaction, unsigned char fileNo,
                                                 unsigned short element, unsigned short firstBit,
                                                 unsigned short bitCount, const unsigned char* bits)
{
    QByteArray message =
        df1::commandHeader(destination, source, transaction, FNC_READ_MODIFY_WRITE);
    int taken = 0;
    while (taken < bitCount) {
        const int position = firstBit + taken;
        unsigned short kept = 0xFFFF;
        unsigned short set = 0;
        for (int bit = position % WORD_BITS; bit < WORD_BITS && taken < bitCount; ++bit, ++taken) {
            const unsigned short n = static_cast<unsigned short>(bit);
            if (getBit(bits, taken))
                set = setBit(set, n);
            else
                kept = clearBit(kept, n);
        }
        message.append(ByteArrayPack("CC", FILE_AND_ELEMENT, fileNo));
        df1::appendVariableNumber(message, elementAfter(element, position / WORD_BITS));
        message.append(ByteArrayPack("vv", kept, set));
    }
    return message;
}

QByteArray DF1PackReadModifyWriteBitsCmd(const QByteArray& fileName, unsigned char destination,
                                         unsigned char source, unsigned short transaction,
                                         unsigned short element, unsigned short firstBit,
                                         unsigned short bitCount, const unsigned char* bits)
{
    return framed(DF1PackReadModifyWriteBitsAppLayerCmd(destination, source, transaction,
                                                        DF1GetFileNo(fileName), element, firstBit,
                                                        bitCount, bits));
}
