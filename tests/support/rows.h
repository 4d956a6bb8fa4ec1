// Rows of a table that a test function goes through by itself, each named when it fails.
#pragma once

#include <QtTest>

namespace support {

inline QByteArray shown(qint64 number)
{
    return QByteArray::number(number);
}

inline QByteArray shown(const char* text)
{
    return text;
}

inline QByteArray shown(const QString& text)
{
    return text.toUtf8();
}

/// Hexadecimal digits.
inline QByteArray shown(const QByteArray& bytes)
{
    return bytes.toHex();
}

template <typename Actual, typename Expected>
bool agree(const char* row, const char* what, const Actual& actual, const Expected& expected,
           const char* file, int line)
{
    const QByteArray is = shown(actual);
    const QByteArray wanted = shown(expected);
    if (is != wanted)
        QTest::qFail("row '" + QByteArray(row) + "': " + what + "\n   actual   " + is
                         + "\n   expected " + wanted,
                     file, line);
    return is == wanted;
}

}

/// Ends the test function as failed when the two differ: numbers, texts or bytes.
#define ROW_COMPARE(row, actual, expected)                                                         \
    do {                                                                                           \
        if (!support::agree(row, #actual, actual, expected, __FILE__, __LINE__))                   \
            return;                                                                                \
    } while (false)
