#include "drivers/lib_crc.h"

namespace {

template <typename Word>
struct CrcTable
{
    Word entry[256];
};

template <typename Word, Word Polynomial>
CrcTable<Word> buildReflected()
{
    CrcTable<Word> table;
    for (unsigned int index = 0; index < 256; ++index) {
        Word crc = static_cast<Word>(index);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<Word>((crc & 1) != 0 ? (crc >> 1) ^ Polynomial : crc >> 1);
        table.entry[index] = crc;
    }
    return table;
}

template <typename Word, Word Polynomial>
CrcTable<Word> buildForward()
{
    const int topBit = static_cast<int>(sizeof(Word)) * 8 - 1;
    CrcTable<Word> table;
    for (unsigned int index = 0; index < 256; ++index) {
        Word crc = static_cast<Word>(index << (topBit - 7));
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<Word>((crc >> topBit) != 0 ? (crc << 1) ^ Polynomial : crc << 1);
        table.entry[index] = crc;
    }
    return table;
}

template <typename Word, Word Polynomial>
Word updateReflected(Word crc, unsigned char byte)
{
    static const CrcTable<Word> table = buildReflected<Word, Polynomial>();
    return static_cast<Word>((crc >> 8) ^ table.entry[(crc ^ byte) & 0xFF]);
}

}

unsigned short update_crc_ccitt(unsigned short crc, unsigned char byte)
{
    static const CrcTable<quint16> table = buildForward<quint16, 0x1021>();
    return static_cast<quint16>((crc << 8) ^ table.entry[(crc >> 8) ^ byte]);
}

unsigned short update_crc_16(unsigned short crc, unsigned char byte)
{
    return updateReflected<quint16, 0xA001>(crc, byte);
}

unsigned short update_crc_kermit(unsigned short crc, unsigned char byte)
{
    return updateReflected<quint16, 0x8408>(crc, byte);
}

unsigned short update_crc_dnp(unsigned short crc, unsigned char byte)
{
    return updateReflected<quint16, 0xA6BC>(crc, byte);
}

unsigned int update_crc_32(unsigned int crc, unsigned char byte)
{
    return updateReflected<quint32, 0xEDB88320>(crc, byte);
}

unsigned short update_crc_sick(unsigned short crc, unsigned char byte, unsigned char previousByte)
{
    const quint16 shifted =
        static_cast<quint16>((crc & 0x8000) != 0 ? (crc << 1) ^ 0x8005 : crc << 1);
    return static_cast<quint16>(shifted ^ ((previousByte << 8) | byte));
}
