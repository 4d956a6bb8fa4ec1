// Values as people write them, and as controllers keep them: low byte first,
// bits packed from the lowest.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

#include "host/tagaddress.h"

namespace host {

/// A value as text, and its bits as hexadecimal digits.
struct ValueText
{
    QString value;
    QString hex;
};

/// How many whole values @p data holds, @p asked at most.
int valuesIn(const TagAddress& address, const QByteArray& data, int asked);
/// Value @p index of @p data, which holds it: words signed, floats with the fewest
/// digits that give the same value back.
ValueText valueAt(const TagAddress& address, const QByteArray& data, int index);

/// The data that the texts stand for: one bit as 0 or 1; words from -32768 to
/// 65535, in decimal, as 0x... or as 0b...; floats. Nothing when one does not fit
/// what it is written to, with one line in @p error (not null) that names the text
/// and its range.
std::optional<QByteArray> dataOf(const TagAddress& address, const QStringList& texts,
                                 QString* error);

}
