#include "drivers/lib_crc.h"

namespace {

enum class Order
{
    LowBitFirst,
    HighBitFirst
};

/// One kind of CRC: its width, its polynomial in the bit order it is run in, and
/// that order.
template <typename Word, Word Polynomial, Order BitOrder>
struct Crc
{
    typedef Word Value;
    static constexpr bool lowFirst = BitOrder == Order::LowBitFirst;
    static constexpr int topByte = static_cast<int>(sizeof(Word)) * 8 - 8;

    static constexpr bool nextBit(Word crc)
    {
        return ((lowFirst ? crc : crc >> (topByte + 7)) & 1) != 0;
    }

    static constexpr Word shifted(Word crc, int bits)
    {
        return static_cast<Word>(lowFirst ? crc >> bits : crc << bits);
    }

    static constexpr Word afterBit(Word crc)
    {
        return static_cast<Word>(shifted(crc, 1) ^ (nextBit(crc) ? Polynomial : 0));
    }

    static constexpr Word afterTwo(Word crc) { return afterBit(afterBit(crc)); }
    static constexpr Word afterFour(Word crc) { return afterTwo(afterTwo(crc)); }
    static constexpr Word afterByte(Word crc) { return afterFour(afterFour(crc)); }

    static constexpr Word tableEntry(unsigned int byte)
    {
        return afterByte(static_cast<Word>(lowFirst ? byte : byte << topByte));
    }
};

template <unsigned int... Index>
struct Indices
{
};

template <unsigned int Count, unsigned int... Rest>
struct IndicesBelow : IndicesBelow<Count - 1, Count - 1, Rest...>
{
};

template <unsigned int... Index>
struct IndicesBelow<0, Index...>
{
    typedef Indices<Index...> Type;
};

/// The remainders of all bytes, worked out by the compiler: constant data needs
/// neither a guard at each call nor an order among initialisers.
template <typename Variant, typename = typename IndicesBelow<256>::Type>
struct Table;

template <typename Variant, unsigned int... Index>
struct Table<Variant, Indices<Index...>>
{
    static constexpr typename Variant::Value entry[256] = {Variant::tableEntry(Index)...};
};

template <typename Variant, unsigned int... Index>
constexpr typename Variant::Value Table<Variant, Indices<Index...>>::entry[256];

template <typename Variant>
typename Variant::Value update(typename Variant::Value crc, unsigned char byte)
{
    typedef typename Variant::Value Word;
    const unsigned int leaving = Variant::lowFirst ? crc : crc >> Variant::topByte;
    return static_cast<Word>(Variant::shifted(crc, 8)
                             ^ Table<Variant>::entry[(leaving ^ byte) & 0xFF]);
}

typedef Crc<quint16, 0x1021, Order::HighBitFirst> Ccitt;
typedef Crc<quint16, 0xA001, Order::LowBitFirst> Crc16;
typedef Crc<quint16, 0x8408, Order::LowBitFirst> Kermit;
typedef Crc<quint16, 0xA6BC, Order::LowBitFirst> Dnp;
typedef Crc<quint32, 0xEDB88320, Order::LowBitFirst> Crc32;

}

unsigned short update_crc_ccitt(unsigned short crc, unsigned char byte)
{
    return update<Ccitt>(crc, byte);
}

unsigned short update_crc_16(unsigned short crc, unsigned char byte)
{
    return update<Crc16>(crc, byte);
}

unsigned short update_crc_kermit(unsigned short crc, unsigned char byte)
{
    return update<Kermit>(crc, byte);
}

unsigned short update_crc_dnp(unsigned short crc, unsigned char byte)
{
    return update<Dnp>(crc, byte);
}

unsigned int update_crc_32(unsigned int crc, unsigned char byte)
{
    return update<Crc32>(crc, byte);
}

unsigned short update_crc_sick(unsigned short crc, unsigned char byte, unsigned char previousByte)
{
    const quint16 shifted =
        static_cast<quint16>((crc & 0x8000) != 0 ? (crc << 1) ^ 0x8005 : crc << 1);
    return static_cast<quint16>(shifted ^ ((previousByte << 8) | byte));
}
