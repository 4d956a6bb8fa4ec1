#include "values.h"

#include <QtEndian>
#include <charconv>
#include <cmath>
#include <cstring>

#include "drivers/tools/conversions.h"
#include "failure.h"

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

[[noreturn]] void refuse(const Target& target, const std::string& text, const char* right)
{
    throw Failure(ExitCode::Usage,
                  QStringLiteral("%1: '%2' is no value for it; give %3")
                      .arg(target.address(), QString::fromStdString(text), QLatin1String(right)));
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

QByteArray bitOf(const Target& target, const std::vector<std::string>& texts)
{
    if (texts.size() != 1)
        throw Failure(ExitCode::Usage,
                      QStringLiteral("%1: %2 values for one bit; give a single 0 or 1")
                          .arg(target.address())
                          .arg(texts.size()));
    if (texts.front() != "0" && texts.front() != "1")
        refuse(target, texts.front(), "0 or 1");
    return QByteArray(1, texts.front() == "1" ? '\x01' : '\0');
}

QByteArray wordOf(const Target& target, const std::string& text)
{
    const std::optional<int> value = integerOf(text);
    if (!value || *value < LOWEST_WORD || *value > HIGHEST_WORD)
        refuse(target, text, "a number from -32768 to 65535, such as 42, 0x2A or 0b101010");
    return wordToByteArray(static_cast<unsigned short>(*value));
}

QByteArray floatOf(const Target& target, const std::string& text)
{
    bool isNumber = false;
    const float value = QString::fromStdString(text).toFloat(&isNumber);
    if (!isNumber || !std::isfinite(value))
        refuse(target, text, "a number within 3.4e38 of 0, such as 21.5 or 1e-3");
    quint32 bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return intToByteArray(static_cast<int>(bits));
}

}

int valuesIn(const Target& target, const QByteArray& data, int asked)
{
    const qsizetype held = target.kind() == ValueKind::Bit
                               ? data.size() * 8
                               : data.size() / bytesPerValue(target.kind());
    return static_cast<int>(std::min<qsizetype>(held, asked));
}

ValueText valueAt(const Target& target, const QByteArray& data, int index)
{
    const char* const bytes = data.constData() + index * bytesPerValue(target.kind());
    switch (target.kind()) {
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

QByteArray dataOf(const Target& target, const std::vector<std::string>& texts)
{
    if (target.kind() == ValueKind::Bit)
        return bitOf(target, texts);
    QByteArray data;
    for (const std::string& text : texts)
        data += target.kind() == ValueKind::Float ? floatOf(target, text) : wordOf(target, text);
    return data;
}
