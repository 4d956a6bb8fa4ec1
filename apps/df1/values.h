// Values as people write them, and as controllers keep them: low byte first,
// bits packed from the lowest.
#pragma once

#include <QByteArray>
#include <QString>
#include <string>
#include <vector>

#include "target.h"

/// A value as text, and its bits as hexadecimal digits.
struct ValueText
{
    QString value;
    QString hex;
};

/// How many whole values @p data holds, @p asked at most.
int valuesIn(const Target& target, const QByteArray& data, int asked);
/// Value @p index of @p data, which holds it: words signed, floats with the fewest
/// digits that give the same value back.
ValueText valueAt(const Target& target, const QByteArray& data, int index);

/// The data that the texts stand for: one bit as 0 or 1; words from -32768 to
/// 65535, in decimal, as 0x... or as 0b...; floats. Throws Failure that names the
/// text and its range when one does not fit what it is written to.
QByteArray dataOf(const Target& target, const std::vector<std::string>& texts);
