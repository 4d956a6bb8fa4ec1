#include "host/valueforms.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace host {

namespace {

const char* const NAMES[] = {"bit", "i16", "u16", "hex", "bin", "bits", "i32", "u32", "f32"};
// As many as a product still has right, so that 73 times 0.1 is 7.3.
const int FLOAT_DIGITS = 7;
const int DOUBLE_DIGITS = 15;

float floatOf(quint32 bits)
{
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// With the fewest digits that give the same value back.
QString shortest(float value)
{
    char text[64];
    const bool isLong = std::fabs(value) >= 1e-4F && std::fabs(value) < 1e9F;
    const std::to_chars_result result =
        std::to_chars(text, text + sizeof text, value,
                      isLong || value == 0 ? std::chars_format::fixed : std::chars_format::general);
    return QString::fromLatin1(text, static_cast<int>(result.ptr - text));
}

QString digitsOf(quint32 bits, const char* prefix, int digits, int base)
{
    const QString number = QStringLiteral("%1").arg(bits, digits, base, QLatin1Char('0'));
    return QLatin1String(prefix) + number.toUpper();
}

QString bitNumbers(quint32 bits)
{
    QStringList numbers;
    for (int bit = 0; bit < 16; ++bit) {
        if ((bits >> bit & 1) != 0)
            numbers << QString::number(bit);
    }
    return numbers.isEmpty() ? QStringLiteral("-") : numbers.join(QLatin1Char('+'));
}

}

QStringList formNames()
{
    QStringList names;
    for (const char* const name : NAMES)
        names << QLatin1String(name);
    return names;
}

std::optional<ValueForm> formNamed(const QString& name)
{
    int number = 0;
    for (const char* const known : NAMES) {
        if (name.compare(QLatin1String(known), Qt::CaseInsensitive) == 0)
            return static_cast<ValueForm>(number);
        ++number;
    }
    return std::nullopt;
}

QString nameOf(ValueForm form)
{
    return QLatin1String(NAMES[static_cast<int>(form)]);
}

QList<ValueForm> formsAt(const DataPlace& place)
{
    if (place.bit)
        return {ValueForm::Bit};
    if (place.letter == 'F')
        return {ValueForm::F32};
    QList<ValueForm> forms = {ValueForm::I16, ValueForm::U16, ValueForm::Hex, ValueForm::Bin,
                              ValueForm::Bits};
    const int lastElement = 65535;
    if (!isThreeWordFile(place.letter) && place.element < lastElement)
        forms << ValueForm::I32 << ValueForm::U32 << ValueForm::F32;
    return forms;
}

int bytesOf(ValueForm form)
{
    return form >= ValueForm::I32 ? 4 : 2;
}

bool isNumber(ValueForm form)
{
    return form == ValueForm::I16 || form == ValueForm::U16 || form >= ValueForm::I32;
}

double FormedValue::number() const
{
    switch (form) {
    case ValueForm::I16:
        return static_cast<qint16>(bits);
    case ValueForm::I32:
        return static_cast<qint32>(bits);
    case ValueForm::F32:
        return static_cast<double>(floatOf(bits));
    default:
        return bits;
    }
}

QString FormedValue::text(double scale) const
{
    switch (form) {
    case ValueForm::Hex:
        return digitsOf(bits, "0x", 4, 16);
    case ValueForm::Bin:
        return digitsOf(bits, "0b", 16, 2);
    case ValueForm::Bits:
        return bitNumbers(bits);
    case ValueForm::F32:
        return scale == 1 ? shortest(floatOf(bits))
                          : QString::number(number() * scale, 'g', FLOAT_DIGITS);
    default:
        return QString::number(number() * scale, 'g', DOUBLE_DIGITS);
    }
}

}
