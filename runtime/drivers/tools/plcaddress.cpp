#include "drivers/tools/plcaddress.h"

namespace {

const int NO_DIGIT = -1;

int digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return NO_DIGIT;
}

bool isDigitOf(int radix, char c)
{
    const int value = digitValue(c);
    return value != NO_DIGIT && value < radix;
}

bool isSymbolCharacter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

}

QByteArray ExtractPrefixSymbol(const QString& text)
{
    return ExtractPrefixSymbol(text.toLatin1());
}

QByteArray ExtractPrefixSymbol(const QByteArray& text)
{
    int length = 0;
    while (length < text.size() && isSymbolCharacter(text.at(length)))
        ++length;
    return text.left(length);
}

int ExtractPLCDeviceAddress(const QByteArray& text, int radix)
{
    if (radix != 8 && radix != 10 && radix != 16)
        return -1;
    int start = 0;
    while (start < text.size() && !isDigitOf(radix, text.at(start)))
        ++start;
    return text.mid(start).toInt(0, radix);
}

int ExtractPLCDeviceAddress(const QString& text, int radix)
{
    return ExtractPLCDeviceAddress(text.toLatin1(), radix);
}

unsigned int HexToUInt(const char* text, int maxLength)
{
    const bool hasPrefix = maxLength >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    unsigned int value = 0;
    for (int i = hasPrefix ? 2 : 0; i < maxLength && text[i] != '\0'; ++i) {
        const int digit = digitValue(text[i]);
        if (digit == NO_DIGIT)
            return 0;
        value = value * 16 + digit;
    }
    return value;
}
