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
// All four-byte letters are 32 bits wide on every platform, L and l included: a
// value of 64 bits, or a long where that is as wide, is cast to unsigned int
// first. Narrower integers, bool and char included, are passed as they are.
// Signed variables of the same width serve as well; nothing is sign-extended.
//
// A decimal count before a letter makes an array field:
//
//   k C, k c       one pointer to k elements of unsigned char
//   k v, k n       one pointer to k elements of unsigned short, in host order
//   k V, k N       one pointer to k elements of unsigned int, in host order
//   k x, k X       the gap k times, no argument (DataPack and DataUnpack only)
//
// Packing reads the elements, so they may be const; unpacking fills them. Every
// other letter behind a count, a count at the format's end, and a count of 0
// before a letter that takes an array are format errors.
//
// Nothing checks the arguments: the caller passes as many as the format asks
// for, of the types above, and guarantees the bytes at each pointer. A va_list
// handed in belongs to the caller, who ends it and does not read on from it. All
// functions are safe on any thread.
#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <cstdarg>

#if defined(Q_CC_GNU)
/// Has the compiler warn where a null is passed for one of the arguments named.
#define DRIVER_NONNULL(...) __attribute__((nonnull(__VA_ARGS__)))
#else
#define DRIVER_NONNULL(...)
#endif

/// The packed bytes; empty on a format error. A single X adds a zero byte.
Q_DECL_EXPORT QByteArray ByteArrayPack(const char* format, ...) DRIVER_NONNULL(1);
Q_DECL_EXPORT QByteArray VByteArrayPack(const char* format, va_list arguments) DRIVER_NONNULL(1);

/// Packs into @p buffer, which the caller sizes for the format. Returns the
/// bytes from the buffer's start to the end of the last field, gaps included. On
/// a format error the fields before it stay written and the result is 0 for an
/// unknown letter, -1 for a count that the letter behind it does not take.
Q_DECL_EXPORT int DataPack(unsigned char* buffer, const char* format, ...) DRIVER_NONNULL(1, 2);
Q_DECL_EXPORT int VDataPack(unsigned char* buffer, const char* format, va_list arguments)
    DRIVER_NONNULL(1, 2);

/// Unpacks from @p buffer, which holds all the bytes of the format. Returns the
/// bytes consumed, gaps included, or -1 on a format error; variables before it
/// stay filled.
Q_DECL_EXPORT int DataUnpack(const unsigned char* buffer, const char* format, ...)
    DRIVER_NONNULL(1, 2);
Q_DECL_EXPORT int VDataUnpack(const unsigned char* buffer, const char* format, va_list arguments)
    DRIVER_NONNULL(1, 2);
