// Short ways to write bytes in a test.
#pragma once

#include <QByteArray>

/// The bytes of hexadecimal digits; blanks between them don't count.
inline QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

inline const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

inline unsigned char* bytesOf(QByteArray& data)
{
    return reinterpret_cast<unsigned char*>(data.data());
}

/// The size as Qt 4 and 5 give it.
inline int sizeOf(const QByteArray& data)
{
    return static_cast<int>(data.size());
}
