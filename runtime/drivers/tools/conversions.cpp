#include "drivers/tools/conversions.h"

#include <algorithm>
#include <climits>

namespace {

/// Positions are int here; a larger array counts as far as they reach.
int sizeOf(const QByteArray& data)
{
    return static_cast<int>(qMin<qint64>(data.size(), INT_MAX));
}

unsigned char* writableBytes(QByteArray& data)
{
    return reinterpret_cast<unsigned char*>(data.data());
}

/// Bit n alone; 0 when the value type has no such bit.
template <typename Value>
Value maskOf(unsigned short n)
{
    return n < sizeof(Value) * 8 ? static_cast<Value>(Value(1) << n) : Value(0);
}

template <typename Value>
Value withBit(Value value, unsigned short n)
{
    return static_cast<Value>(value | maskOf<Value>(n));
}

template <typename Value>
Value withoutBit(Value value, unsigned short n)
{
    return static_cast<Value>(value & ~maskOf<Value>(n));
}

template <typename Value>
bool hasBit(Value value, unsigned short n)
{
    return (value & maskOf<Value>(n)) != 0;
}

/// Makes sure of byte @p index: it is there, or it is the one just past the end
/// and is appended.
bool reachByte(QByteArray& data, int index)
{
    const int size = sizeOf(data);
    if (index == size)
        data.append('\0');
    return index <= size;
}

quint32 littleEndianValue(const QByteArray& bytes, int width)
{
    quint32 value = 0;
    const int count = qMin(width, sizeOf(bytes));
    for (int i = 0; i < count; ++i)
        value |= static_cast<quint32>(static_cast<unsigned char>(bytes.at(i))) << (8 * i);
    return value;
}

QByteArray littleEndianBytes(quint32 value, int width)
{
    QByteArray bytes;
    for (int i = 0; i < width; ++i)
        bytes.append(static_cast<char>(value >> (8 * i)));
    return bytes;
}

void reverseEach(QByteArray& data, int width)
{
    const int size = sizeOf(data);
    char* const bytes = data.data();
    for (int from = 0; size - from >= width; from += width)
        std::reverse(bytes + from, bytes + from + width);
}

QByteArray reversedEach(const unsigned char* data, int count, int width)
{
    if (count <= 0 || count > INT_MAX / width)
        return QByteArray();
    QByteArray values(reinterpret_cast<const char*>(data), count * width);
    reverseEach(values, width);
    return values;
}

/// Cuts or pads with zero bytes to @p length, which is not negative.
void fit(QByteArray& data, int length)
{
    const int missing = length - sizeOf(data);
    if (missing > 0)
        data.append(QByteArray(missing, '\0'));
    else
        data.truncate(length);
}

QByteArray padded(const QByteArray& data, int unit)
{
    const int over = static_cast<int>(data.size() % unit);
    return over == 0 ? data : data + QByteArray(unit - over, '\0');
}

unsigned int unitsOf(unsigned int count, unsigned int perUnit)
{
    return count / perUnit + (count % perUnit != 0 ? 1 : 0);
}

/// @p n is 0 to 7.
void shiftTowardBitZero(unsigned char* bytes, int length, int n)
{
    for (int i = 0; i < length; ++i) {
        const int above = i + 1 < length ? bytes[i + 1] : 0;
        bytes[i] = static_cast<unsigned char>((bytes[i] >> n) | (above << (8 - n)));
    }
}

}

unsigned short setBit(unsigned short value, unsigned short n)
{
    return withBit(value, n);
}

unsigned char setBit(unsigned char value, unsigned short n)
{
    return withBit(value, n);
}

unsigned int setBit(unsigned int value, unsigned short n)
{
    return withBit(value, n);
}

unsigned short clearBit(unsigned short value, unsigned short n)
{
    return withoutBit(value, n);
}

unsigned char clearBit(unsigned char value, unsigned short n)
{
    return withoutBit(value, n);
}

unsigned int clearBit(unsigned int value, unsigned short n)
{
    return withoutBit(value, n);
}

bool getBit(unsigned short value, unsigned short n)
{
    return hasBit(value, n);
}

bool getBit(unsigned char value, unsigned short n)
{
    return hasBit(value, n);
}

bool getBit(unsigned int value, unsigned short n)
{
    return hasBit(value, n);
}

bool getBit(const QByteArray& bits, int p)
{
    if (p < 0 || p / 8 >= sizeOf(bits))
        return false;
    return getBit(reinterpret_cast<const unsigned char*>(bits.constData()), p);
}

bool getBit(const unsigned char* bits, int p)
{
    return hasBit(bits[p / 8], static_cast<unsigned short>(p % 8));
}

void setBit(QByteArray& bits, int p, bool on)
{
    if (p >= 0 && reachByte(bits, p / 8))
        setBit(writableBytes(bits), p, on);
}

void setBit(unsigned char* bits, int p, bool on)
{
    const unsigned char byte = bits[p / 8];
    const unsigned short n = static_cast<unsigned short>(p % 8);
    bits[p / 8] = on ? withBit(byte, n) : withoutBit(byte, n);
}

int QByteArrayToInt(const QByteArray& bytes)
{
    return static_cast<int>(littleEndianValue(bytes, 4));
}

unsigned short QByteArrayToWord(const QByteArray& bytes)
{
    return static_cast<unsigned short>(littleEndianValue(bytes, 2));
}

short QByteArrayToShort(const QByteArray& bytes)
{
    return static_cast<short>(QByteArrayToWord(bytes));
}

QByteArray wordToByteArray(unsigned short value)
{
    return littleEndianBytes(value, 2);
}

QByteArray shortToByteArray(short value)
{
    return littleEndianBytes(static_cast<unsigned short>(value), 2);
}

QByteArray intToByteArray(int value)
{
    return littleEndianBytes(static_cast<quint32>(value), 4);
}

void appendBigEndianUShort(QByteArray& bytes, unsigned short value)
{
    bytes.append(static_cast<char>(value >> 8));
    bytes.append(static_cast<char>(value));
}

QByteArray fromBigEndianUShortArray(const unsigned char* data, int count)
{
    return reversedEach(data, count, 2);
}

QByteArray fromBigEndianULongArray(const unsigned char* data, int count)
{
    return reversedEach(data, count, 4);
}

void toLittleEndianUShortArray(QByteArray& data)
{
    reverseEach(data, 2);
}

void toLittleEndianULongArray(QByteArray& data)
{
    reverseEach(data, 4);
}

QByteArray toBigEndianUShortArray(const QByteArray& data)
{
    QByteArray values = To16bitsData(data);
    reverseEach(values, 2);
    return values;
}

QByteArray toBigEndianULongArray(const QByteArray& data)
{
    QByteArray values = To32bitsData(data);
    reverseEach(values, 4);
    return values;
}

QByteArray To16bitsData(const QByteArray& data)
{
    return padded(data, 2);
}

QByteArray To32bitsData(const QByteArray& data)
{
    return padded(data, 4);
}

QByteArray To64bitsData(const QByteArray& data)
{
    return padded(data, 8);
}

int GetSafeDataLen(const CommunicatorCommand& command)
{
    switch (command.type) {
    case 0:
    case 6:
        return static_cast<int>(NumOfBitsToNumOfBytes(0, static_cast<quint32>(command.count)));
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
        return command.CommunicatorCommand::getDataSize();
    default:
        return 0;
    }
}

QByteArray ToSafeData(const CommunicatorCommand& command, const QByteArray& data)
{
    QByteArray safe = data;
    fit(safe, qMax(GetSafeDataLen(command), 0));
    return safe;
}

unsigned int NumOfBitsToNumOfBytes(unsigned int offset, unsigned int count)
{
    return unitsOf(offset + count, 8);
}

unsigned int NumOfBitsToNumOfWords(unsigned int offset, unsigned int count)
{
    return unitsOf(offset + count, 16);
}

unsigned int NumOfBitsToNumOfDWords(unsigned int offset, unsigned int count)
{
    return unitsOf(offset + count, 32);
}

unsigned int NumOfBytesToNumOfWords(unsigned int bytes)
{
    return unitsOf(bytes, 2);
}

unsigned int NumOfBytesToNumOfDWords(unsigned int bytes)
{
    return unitsOf(bytes, 4);
}

unsigned int NumOfBytesToNumOfQuadWords(unsigned int bytes)
{
    return unitsOf(bytes, 8);
}

void FitBitArray(QByteArray& bits, int bitCount)
{
    fit(bits, static_cast<int>(NumOfBitsToNumOfBytes(0, qMax(bitCount, 0))));
}

void clearUnnecessaryBits(QByteArray& bits, int bitCount)
{
    const int kept = bitCount % 8;
    if (kept <= 0 || !reachByte(bits, bitCount / 8))
        return;
    unsigned char& last = writableBytes(bits)[bitCount / 8];
    last = static_cast<unsigned char>(last & ((1 << kept) - 1));
}

QByteArray ExpandBitsToBytes(const QByteArray& bits, unsigned short first, int count)
{
    if (count <= 0)
        return QByteArray();
    QByteArray expanded(count, '\0');
    const qint64 end = qMin<qint64>(static_cast<qint64>(first) + count, INT_MAX);
    const int present = static_cast<int>(qMin<qint64>(static_cast<qint64>(sizeOf(bits)) * 8, end));
    char* const bytes = expanded.data();
    for (int p = first; p < present; ++p)
        bytes[p - first] = getBit(bits, p) ? 1 : 0;
    return expanded;
}

void CopyBits(QByteArray& dest, QByteArray& src, int destFirst, int count)
{
    if (destFirst < 0)
        return;
    const qint64 readable = (static_cast<qint64>(sizeOf(src)) + 1) * 8;
    const qint64 wanted = qMin(count, INT_MAX - destFirst);
    const int copied = static_cast<int>(qMin(readable, wanted));
    for (int i = 0; i < copied; ++i)
        setBit(dest, destFirst + i, getBit(src, i));
}

void RightShiftNBits(QByteArray& bits, int n)
{
    const int length = sizeOf(bits);
    if (n < 0 || n / 8 >= length)
        return;
    const int rotated = n / 8;
    unsigned char* const bytes = writableBytes(bits);
    RotateArray(bytes, rotated, length - rotated);
    shiftTowardBitZero(bytes, length - rotated, n % 8);
}

template <typename Element>
void RotateArray(Element* data, int headCount, int tailCount)
{
    if (headCount > 0 && tailCount > 0)
        std::rotate(data, data + headCount, data + headCount + tailCount);
}

template Q_DECL_EXPORT void RotateArray<unsigned char>(unsigned char*, int, int);

QByteArray reverseArray(const QByteArray& data)
{
    QByteArray reversed = data;
    std::reverse(reversed.begin(), reversed.end());
    return reversed;
}
