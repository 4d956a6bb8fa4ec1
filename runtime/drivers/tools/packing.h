// A small format language for the fixed part of protocol messages.
//
// A format is read letter by letter; each letter is one field:
//
//   letter         bytes  order                 packing takes      unpacking takes
//   C c            1                            int, low 8 bits    unsigned char*
//   S s v          2      low byte first        int, low 16 bits   unsigned short*
//   n              2      high byte first       int, low 16 bits   unsigned short*
//   I i L l V      4      low byte first        unsigned int       unsigned int*
//   N              4      high byte first       unsigned int       unsigned int*
//   x              1      a zero byte; skipped  nothing            nothing
//   X              1      left as it is         nothing            nothing
//
// All four-byte letters are 32 bits wide on every platform, L and l included.
// Signed variables of the same width serve as well; nothing is sign-extended.
//
// Decimal digits before C, c, v, n, V or N make an array field: one pointer to
// that many elements of the letter's width in host order. Digits before x or X
// repeat the gap (DataPack and DataUnpack only). Every other letter, a count of
// 0 before a letter that takes an array, and a count at the format's end are
// format errors.
//
// Nothing checks the arguments: the caller passes as many as the format asks
// for, of the types above, and guarantees the bytes at each pointer. All
// functions are safe on any thread.
#pragma once

#include <QByteArray>
#include <cstdarg>

/// The packed bytes; empty on a format error. A single X adds a zero byte.
Q_DECL_EXPORT QByteArray ByteArrayPack(const char* format, ...);
Q_DECL_EXPORT QByteArray VByteArrayPack(const char* format, va_list arguments);

/// Packs into @p buffer, which the caller sizes for the format. Returns the
/// bytes from the buffer's start to the end of the last field. On a format
/// error the fields before it stay written and the result is 0 for an unknown
/// letter, -1 for a count that the letter behind it does not take.
Q_DECL_EXPORT int DataPack(unsigned char* buffer, const char* format, ...);
Q_DECL_EXPORT int VDataPack(unsigned char* buffer, const char* format, va_list arguments);

/// Unpacks from @p buffer, which holds all the bytes of the format. Returns the
/// bytes consumed, or -1 on a format error; variables before it stay filled.
Q_DECL_EXPORT int DataUnpack(const unsigned char* buffer, const char* format, ...);
Q_DECL_EXPORT int VDataUnpack(const unsigned char* buffer, const char* format, va_list arguments);
