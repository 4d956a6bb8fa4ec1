#include "drivers/df1/addressing.h"

#include <cstddef>

#include "drivers/tools/conversions.h"

namespace {

const unsigned char OUTPUT_FILE = 0x82;
const unsigned char INPUT_FILE = 0x83;

const int ELEMENT_SIZE = 6;
const int CONTROL_WORD = 0;
const int PRESET_WORD = 2;
const int ACCUMULATOR_WORD = 4;

/// The letter at @p index in upper case; 0 behind the end. Not toupper(), which
/// goes by the process's locale: a Turkish one has another capital for i.
char upperLetterAt(const QByteArray& text, int index)
{
    if (index >= text.size())
        return 0;
    const char letter = text.at(index);
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool beginsWith(const QByteArray& text, const char* key)
{
    for (int i = 0; key[i] != 0; ++i) {
        if (upperLetterAt(text, i) != key[i])
            return false;
    }
    return true;
}

/// @p word is the word's offset in the element, @p bit 0 to 15.
bool elementBit(const unsigned char* image, int element, int word, int bit)
{
    return getBit(image + static_cast<std::ptrdiff_t>(ELEMENT_SIZE) * element + word, bit);
}

int bytesHolding(qint64 bitCount)
{
    return static_cast<int>(
        NumOfBitsToNumOfBytes(0, static_cast<quint32>(qMax(bitCount, qint64(0)))));
}

/// bitAt(i) for i from 0 to count - 1, in an array as long as first + count bits.
template <typename BitAt>
QByteArray packBits(int first, int count, BitAt bitAt)
{
    if (first < 0)
        return QByteArray(bytesHolding(count), '\0');
    QByteArray bits(bytesHolding(static_cast<qint64>(first) + count), '\0');
    for (int i = 0; i < count; ++i)
        setBit(bits, i, bitAt(i));
    return bits;
}

QByteArray bitOfEachControlWord(const unsigned char* image, int bit, int count)
{
    return packBits(bit, count, [=](int i) { return elementBit(image, i, CONTROL_WORD, bit); });
}

QByteArray bitsOfWords(const unsigned char* image, int word, int firstBit, int count)
{
    return packBits(firstBit, count, [=](int i) {
        const qint64 bit = static_cast<qint64>(firstBit) + i;
        return elementBit(image, static_cast<int>(bit / 16), word, static_cast<int>(bit % 16));
    });
}

}

unsigned char DF1GetFileType(const QByteArray& fileName)
{
    if (fileName.isEmpty())
        return 0;
    switch (fileName.at(0)) {
    case 'O':
    case 'o':
        return OUTPUT_FILE;
    case 'I':
    case 'i':
        return INPUT_FILE;
    case 'S':
    case 's':
        return 0x84;
    case 'B':
    case 'b':
        return 0x85;
    case 'T':
    case 't':
        return 0x86;
    case 'C':
    case 'c':
        return 0x87;
    case 'R':
    case 'r':
        return 0x88;
    case 'N':
    case 'n':
        return 0x89;
    case 'F':
    case 'f':
        return 0x8A;
    default:
        return 0;
    }
}

unsigned char DF1GetFileNo(const QByteArray& fileName)
{
    switch (DF1GetFileType(fileName)) {
    case 0:
        return 255;
    case OUTPUT_FILE:
        return 0;
    case INPUT_FILE:
        return 1;
    default:
        return static_cast<unsigned char>(fileName.mid(1).toUInt());
    }
}

int DF1GetT4MnemonicBitNum(const QByteArray& mnemonic)
{
    if (beginsWith(mnemonic, "EN"))
        return 15;
    return beginsWith(mnemonic, "TT") ? 14 : 13;
}

int DF1GetC5MnemonicBitNum(const QByteArray& mnemonic)
{
    switch (upperLetterAt(mnemonic, 0)) {
    case 'C':
        return upperLetterAt(mnemonic, 1) == 'U' ? 15 : 14;
    case 'D':
        return 13;
    case 'O':
        return 12;
    case 'U':
        return upperLetterAt(mnemonic, 1) == 'N' ? 11 : 10;
    default:
        return -1;
    }
}

int DF1GetR6MnemonicBitNum(const QByteArray& mnemonic)
{
    switch (upperLetterAt(mnemonic, 0)) {
    case 'E':
        switch (upperLetterAt(mnemonic, 1)) {
        case 'N':
            return 15;
        case 'U':
            return 14;
        case 'M':
            return 12;
        default:
            return 11;
        }
    case 'D':
        return 13;
    case 'U':
        return 10;
    case 'I':
        return 9;
    case 'F':
        return 8;
    default:
        return -1;
    }
}

unsigned char DF1WordNameToSubElementNo(const QByteArray& wordName)
{
    if (beginsWith(wordName, "PRE") || beginsWith(wordName, "LEN"))
        return 1;
    return beginsWith(wordName, "ACC") || beginsWith(wordName, "POS") ? 2 : 255;
}

QByteArray DF1ExtractT4_C5_R6_Bits(const unsigned char* image, unsigned short firstBit, int count)
{
    return packBits(firstBit, count, [=](int i) {
        const int bit = static_cast<unsigned short>(firstBit + static_cast<unsigned int>(i));
        return elementBit(image, bit / 16, CONTROL_WORD, bit % 16);
    });
}

QByteArray DF1ExtractT4_MnemonicBits(const unsigned char* image, const QByteArray& mnemonic,
                                     int count)
{
    return bitOfEachControlWord(image, DF1GetT4MnemonicBitNum(mnemonic), count);
}

QByteArray DF1ExtractC5_MnemonicBits(const unsigned char* image, const QByteArray& mnemonic,
                                     int count)
{
    return bitOfEachControlWord(image, DF1GetC5MnemonicBitNum(mnemonic), count);
}

QByteArray DF1ExtractR6_Mnemonic_Bits(const unsigned char* image, const QByteArray& mnemonic,
                                      int count)
{
    return bitOfEachControlWord(image, DF1GetR6MnemonicBitNum(mnemonic), count);
}

QByteArray DF1ExtractT4_PRE_Bits(const unsigned char* image, int firstBit, int count)
{
    return bitsOfWords(image, PRESET_WORD, firstBit, count);
}

QByteArray DF1ExtractT4_ACC_Bits(const unsigned char* image, int firstBit, int count)
{
    return bitsOfWords(image, ACCUMULATOR_WORD, firstBit, count);
}
