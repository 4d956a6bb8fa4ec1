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

/// "1 value", "2 values" of @p noun "value".
inline QString counted(qint64 count, const char* noun)
{
    const QString text = QStringLiteral("%1 %2").arg(count).arg(QLatin1String(noun));
    return count == 1 ? text : text + QLatin1Char('s');
}

/// "1 byte", "2 bytes".
inline QString byteCount(qint64 count)
{
    return counted(count, "byte");
}

}
