// Taking texts such as D100, M20, Y17 or X1F apart: a prefix that names a memory
// area, then a number. Texts in a QString are read as Latin-1. All functions are
// safe on any thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

/// The letters A to Z, in either case, and underscores that @p text begins with;
/// may be empty.
Q_DECL_EXPORT QByteArray ExtractPrefixSymbol(const QString& text);
Q_DECL_EXPORT QByteArray ExtractPrefixSymbol(const QByteArray& text);

/// The number that @p text ends with, read in @p radix: what stands before the
/// first digit of that radix is skipped, a minus sign included, and for radix 16
/// the letters A to F are digits (DA is 218). The rest is converted as
/// QByteArray::toInt does it, so radix 16 takes a leading 0x, and blanks at the
/// end do no harm. Returns 0 when the rest is no number or exceeds an int, -1 for
/// a radix other than 8, 10 and 16.
Q_DECL_EXPORT int ExtractPLCDeviceAddress(const QByteArray& text, int radix);
Q_DECL_EXPORT int ExtractPLCDeviceAddress(const QString& text, int radix);

/// The value of the hexadecimal digits at @p text, which may begin with 0x or 0X.
/// Reads up to a terminating zero, at most @p maxLength characters, the prefix
/// included; digits beyond the last eight shift out. Returns 0 for no digits and
/// for a character that is none.
Q_DECL_EXPORT unsigned int HexToUInt(const char* text, int maxLength);
