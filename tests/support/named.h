// Values with the name of their table's row, so that a failed QCOMPARE tells it.
#pragma once

#include <QByteArray>
#include <QString>

inline QByteArray named(const QString& row, const QByteArray& bytes)
{
    return row.toUtf8() + ": " + bytes.toHex(' ');
}

inline QString named(const QString& row, const QString& text)
{
    return row + ": " + text;
}
