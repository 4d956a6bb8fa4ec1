#include "host/values.h"

#include <QtEndian>
#include <charconv>
#include <cmath>
#include <cstring>

#include "drivers/tools/conversions.h"

namespace host {

namespace {

const int LOWEST_WORD = -32768;
const int HIGHEST_WORD = 65535;

QString hexDigits(quint32 value, int digits)
{
    return QStringLiteral("%1").arg(value, digits, 16, QLatin1Char('0')).toUpper();
}

QString shortest(float value)
{
    char text[32];
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
    return QString::fromLatin1(text, static_cast<int>(result.ptr - text));
}

int bytesPerValue(ValueKind kind)
{
    return kind == ValueKind::Float ? 4 : 2;
}

QString refusal(const TagAddress& address, const QString& text, const char* right)
{
    return QStringLiteral("%1: '%2' is no value for it; give %3")
        .arg(address.text(), text, QLatin1String(right));
}

/// The whole text as a number; nothing when it is none or too large.
std::optional<int> integerOf(const std::string& text)
{
    const std::string prefix = text.substr(0, 2);
    const bool isHex = prefix == "0x" || prefix == "0X";
    const bool isBinary = prefix == "0b" || prefix == "0B";
    const char* const begin = text.data()
                              + (isHex || isBinary         ? 2
                                 : text.rfind('+', 0) == 0 ? 1
                                                           : 0);
    const char* const end = text.data() + text.size();
    // Behind a prefix or a plus there is no sign.
    if (begin != text.data() && begin != end && *begin == '-')
        return std::nullopt;
    int value = 0;
    const std::from_chars_result result = std::from_chars(begin, end, value,
                                                          isHex      ? 16
                                                          : isBinary ? 2
                                                                     : 10);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return value;
}

std::optional<QByteArray> bitOf(const TagAddress& address, const QStringList& texts, QString* error)
{
    if (texts.size() != 1) {
        *error = QStringLiteral("%1: %2 values for one bit; give a single 0 or 1")
                     .arg(address.text())
                     .arg(texts.size());
        return std::nullopt;
    }
    const QString& text = texts.first();
    if (text != QLatin1String("0") && text != QLatin1String("1")) {
        *error = refusal(address, text, "0 or 1");
        return std::nullopt;
    }
    return QByteArray(1, text == QLatin1String("1") ? '\x01' : '\0');
}

std::optional<QByteArray> wordOf(const TagAddress& address, const QString& text, QString* error)
{
    const std::optional<int> value = integerOf(text.toStdString());
    if (!value || *value < LOWEST_WORD || *value > HIGHEST_WORD) {
        *error =
            refusal(address, text, "a number from -32768 to 65535, such as 42, 0x2A or 0b101010");
        return std::nullopt;
    }
    return wordToByteArray(static_cast<unsigned short>(*value));
}

std::optional<QByteArray> floatOf(const TagAddress& address, const QString& text, QString* error)
{
    bool isNumber = false;
    const float value = text.toFloat(&isNumber);
    if (!isNumber || !std::isfinite(value)) {
        *error = refusal(address, text, "a number within 3.4e38 of 0, such as 21.5 or 1e-3");
        return std::nullopt;
    }
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return intToByteArray(static_cast<int>(bits));
}

}

int valuesIn(const TagAddress& address, const QByteArray& data, int asked)
{
    const qsizetype held = address.kind() == ValueKind::Bit
                               ? data.size() * 8
                               : data.size() / bytesPerValue(address.kind());
    return static_cast<int>(std::min<qsizetype>(held, asked));
}

ValueText valueAt(const TagAddress& address, const QByteArray& data, int index)
{
    const char* const bytes = data.constData() + index * bytesPerValue(address.kind());
    switch (address.kind()) {
    case ValueKind::Bit: {
        const QString digit = QString::number(getBit(data, index) ? 1 : 0);
        return {digit, digit};
    }
    case ValueKind::Float: {
        const auto bits = qFromLittleEndian<quint32>(bytes);
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return {shortest(value), hexDigits(bits, 8)};
    }
    default: {
        const auto word = qFromLittleEndian<quint16>(bytes);
        return {QString::number(static_cast<qint16>(word)), hexDigits(word, 4)};
    }
    }
}

std::optional<QByteArray> dataOf(const TagAddress& address, const QStringList& texts,
                                 QString* error)
{
    if (address.kind() == ValueKind::Bit)
        return bitOf(address, texts, error);
    QByteArray data;
    for (const QString& text : texts) {
        const auto bytes = address.kind() == ValueKind::Float ? floatOf(address, text, error)
                                                              : wordOf(address, text, error);
        if (!bytes)
            return std::nullopt;
        data += *bytes;
    }
    return data;
}

}
