// Numbers and bytes as texts show them.
#pragma once

#include <QByteArray>
#include <QString>

namespace host {

/// Two hexadecimal digits.
inline QString hexByte(quint8 byte)
{
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
}

/// Four hexadecimal digits.
inline QString hexWord(quint16 word)
{
    return QStringLiteral("%1").arg(word, 4, 16, QLatin1Char('0')).toUpper();
}

/// Two hexadecimal digits a byte, blanks between.
inline QString hexText(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

/// "1 byte", "2 bytes".
inline QString byteCount(qint64 count)
{
    return QString::number(count) + QLatin1String(count == 1 ? " byte" : " bytes");
}

}
