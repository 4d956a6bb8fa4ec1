// Integers, bytes and bits: moving values between them, padding, fitting,
// counting and shifting.
//
// Integers in byte arrays stand least significant byte first unless a name says
// big-endian. A bit array is a run of bytes in which bit p is bit p % 8 of byte
// p / 8, bit 0 being the least significant of its byte.
//
// The forms on a QByteArray stay inside what the array holds: a position or a
// count that is negative or too large is cut or does nothing, as each function
// says. The forms on a pointer check nothing but their counts; the caller
// guarantees the bytes that they address. All functions are safe on any thread,
// each call on its own data.
#pragma once

#include <QByteArray>
#include <QtGlobal>

#include "drivers/communicatorcommand.h"

// Bits in an integer. A bit number at or beyond the value's width changes
// nothing and reads as false.

/// @p value with bit @p n set.
Q_DECL_EXPORT unsigned short setBit(unsigned short value, unsigned short n);
Q_DECL_EXPORT unsigned char setBit(unsigned char value, unsigned short n);
Q_DECL_EXPORT unsigned int setBit(unsigned int value, unsigned short n);
/// @p value with bit @p n cleared.
Q_DECL_EXPORT unsigned short clearBit(unsigned short value, unsigned short n);
Q_DECL_EXPORT unsigned char clearBit(unsigned char value, unsigned short n);
Q_DECL_EXPORT unsigned int clearBit(unsigned int value, unsigned short n);
/// Whether bit @p n of @p value is set.
Q_DECL_EXPORT bool getBit(unsigned short value, unsigned short n);
Q_DECL_EXPORT bool getBit(unsigned char value, unsigned short n);
Q_DECL_EXPORT bool getBit(unsigned int value, unsigned short n);

// Bits in a bit array.

/// Bit @p p; false for a negative position and for one past the end.
Q_DECL_EXPORT bool getBit(const QByteArray& bits, int p);
/// Bit @p p, which is not negative; the caller guarantees byte p / 8.
Q_DECL_EXPORT bool getBit(const unsigned char* bits, int p);
/// Sets bit @p p to @p on. When its byte is the one just past the end, the array
/// first grows by one zero byte, whatever @p on is; a negative position and one
/// further out do nothing.
Q_DECL_EXPORT void setBit(QByteArray& bits, int p, bool on);
/// Sets bit @p p, which is not negative; the caller guarantees byte p / 8.
Q_DECL_EXPORT void setBit(unsigned char* bits, int p, bool on);

// Integers to and from bytes, least significant byte first.

/// The first four bytes as an integer; of a shorter array, the bytes it has.
Q_DECL_EXPORT int QByteArrayToInt(const QByteArray& bytes);
/// The first two bytes, unsigned; of a shorter array, the bytes it has.
Q_DECL_EXPORT unsigned short QByteArrayToWord(const QByteArray& bytes);
/// The first two bytes, signed; a single byte gives 0 to 255, none gives 0.
Q_DECL_EXPORT short QByteArrayToShort(const QByteArray& bytes);
/// Two bytes, the low one first.
Q_DECL_EXPORT QByteArray wordToByteArray(unsigned short value);
Q_DECL_EXPORT QByteArray shortToByteArray(short value);
/// Four bytes, the least significant first.
Q_DECL_EXPORT QByteArray intToByteArray(int value);
/// Appends two bytes to @p bytes, the high one first.
Q_DECL_EXPORT void appendBigEndianUShort(QByteArray& bytes, unsigned short value);

// Byte order of whole arrays. Each swaps on every host: the two bytes of every
// 16-bit value, the four bytes of every 32-bit value. The names tell in which
// direction the data is meant to travel.

/// A new array of the @p count values of 16 bits at @p data, swapped. Reads
/// 2 * count bytes; empty for a count below 1 or one whose bytes no int counts.
Q_DECL_EXPORT QByteArray fromBigEndianUShortArray(const unsigned char* data, int count);
/// The same for values of 32 bits; reads 4 * count bytes.
Q_DECL_EXPORT QByteArray fromBigEndianULongArray(const unsigned char* data, int count);
/// In place; the length is even (an odd last byte stays as it is).
Q_DECL_EXPORT void toLittleEndianUShortArray(QByteArray& data);
/// In place; the length is a multiple of four (bytes left over stay as they are).
Q_DECL_EXPORT void toLittleEndianULongArray(QByteArray& data);
/// A new array: @p data padded by To16bitsData, then swapped.
Q_DECL_EXPORT QByteArray toBigEndianUShortArray(const QByteArray& data);
/// A new array: @p data padded by To32bitsData, then swapped.
Q_DECL_EXPORT QByteArray toBigEndianULongArray(const QByteArray& data);

// Padding to whole units, fitting to a request.

/// A copy with zero bytes appended up to a multiple of two.
Q_DECL_EXPORT QByteArray To16bitsData(const QByteArray& data);
/// A copy with zero bytes appended up to a multiple of four.
Q_DECL_EXPORT QByteArray To32bitsData(const QByteArray& data);
/// A copy with zero bytes appended up to a multiple of eight.
Q_DECL_EXPORT QByteArray To64bitsData(const QByteArray& data);
/// The length in bytes that the request's type and count call for: bits (types
/// 0 and 6, count taken as unsigned) rounded up to whole bytes, bytes and blocks
/// count, words count * 2, double words count * 4, 64-bit units count * 8, at
/// most what an int holds; any other type 0. Unlike getDataSize, no bits are no
/// bytes, type 6 counts bits, and an override in the host has no say.
Q_DECL_EXPORT int GetSafeDataLen(const CommunicatorCommand& command);
/// A copy of @p data cut, or padded with zero bytes at its end, to
/// GetSafeDataLen bytes; a negative length counts as 0. The result is as large
/// as the request says, so the caller bounds the count of a request.
Q_DECL_EXPORT QByteArray ToSafeData(const CommunicatorCommand& command, const QByteArray& data);

// Counting units, rounded up. The sum of offset and count wraps at 32 bits, as
// unsigned arithmetic does: an offset of -1 takes one off the count.

/// Bytes that bits 0 to offset + count - 1 occupy.
Q_DECL_EXPORT unsigned int NumOfBitsToNumOfBytes(unsigned int offset, unsigned int count);
/// 16-bit words that bits 0 to offset + count - 1 occupy.
Q_DECL_EXPORT unsigned int NumOfBitsToNumOfWords(unsigned int offset, unsigned int count);
/// 32-bit double words that bits 0 to offset + count - 1 occupy.
Q_DECL_EXPORT unsigned int NumOfBitsToNumOfDWords(unsigned int offset, unsigned int count);
/// 16-bit words that hold @p bytes bytes.
Q_DECL_EXPORT unsigned int NumOfBytesToNumOfWords(unsigned int bytes);
/// 32-bit double words that hold @p bytes bytes.
Q_DECL_EXPORT unsigned int NumOfBytesToNumOfDWords(unsigned int bytes);
/// 64-bit units that hold @p bytes bytes.
Q_DECL_EXPORT unsigned int NumOfBytesToNumOfQuadWords(unsigned int bytes);

// Shaping and moving bit arrays.

/// Resizes @p bits to the whole bytes that @p bitCount bits occupy; new bytes are
/// zero, a negative count counts as 0.
Q_DECL_EXPORT void FitBitArray(QByteArray& bits, int bitCount);
/// Clears what lies above the last of @p bitCount bits in that bit's byte, and
/// touches no other byte. When that byte is the one just past the end, the array
/// grows by one zero byte; a negative count, a multiple of 8 and one further out
/// do nothing.
Q_DECL_EXPORT void clearUnnecessaryBits(QByteArray& bits, int bitCount);
/// A new array of @p count bytes, byte i being 1 or 0 as bit first + i is set or
/// clear; bits past the end are clear. Empty for a count below 1. The result is
/// as large as @p count says.
Q_DECL_EXPORT QByteArray ExpandBitsToBytes(const QByteArray& bits, unsigned short first, int count);
/// Copies bits 0 to count - 1 of @p src to bits destFirst and up of @p dest, one
/// by one from the lowest; @p src is not changed unless it is @p dest. @p dest
/// grows by a byte whenever a bit falls just past its end; a negative
/// @p destFirst and one further out do nothing. Copying ends one byte behind the
/// end of @p src at the latest; that byte reads as clear.
Q_DECL_EXPORT void CopyBits(QByteArray& dest, QByteArray& src, int destFirst, int count);
/// Shifts the bit array @p n places toward bit 0, in place. Below 8, zero bits
/// enter at the top of the last byte. From 8 up, the first n / 8 bytes move to
/// the end as they were, and the n % 8 places left shift only the bytes before
/// them. Nothing for an @p n that is negative or not below 8 * length.
Q_DECL_EXPORT void RightShiftNBits(QByteArray& bits, int n);
/// Moves the first @p headCount elements at @p data behind the @p tailCount that
/// follow; the caller guarantees all of them. Nothing for a count below 1.
/// There is an instance for unsigned char.
template <typename Element>
Q_DECL_EXPORT void RotateArray(Element* data, int headCount, int tailCount);
extern template Q_DECL_EXPORT void RotateArray<unsigned char>(unsigned char* data, int headCount,
                                                              int tailCount);
/// A new array with the bytes in reverse order.
Q_DECL_EXPORT QByteArray reverseArray(const QByteArray& data);
