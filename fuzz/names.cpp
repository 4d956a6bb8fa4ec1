// Any text as a name that the toolkit takes apart: files, mnemonics, words, addresses
// of other controllers, port names.
#include "harness.h"

#include "drivers/df1/addressing.h"
#include "drivers/tools/environment.h"
#include "drivers/tools/plcaddress.h"

#include <climits>

namespace {

/// Zeros included.
QString wide(const QByteArray& text)
{
    return QString::fromLatin1(text.constData(), static_cast<int>(text.size()));
}

void checkNames(const QByteArray& text)
{
    const int type = DF1GetFileType(text);
    REQUIRE(type == 0 || (type >= 0x82 && type <= 0x8A));
    REQUIRE((type == 0) == (DF1GetFileNo(text) == 255 && DF1GetFileNo(text.left(1)) == 255));
    REQUIRE(DF1GetFileType(text.toUpper()) == type && DF1GetFileType(text.toLower()) == type);
    const int timer = DF1GetT4MnemonicBitNum(text);
    const int counter = DF1GetC5MnemonicBitNum(text);
    const int control = DF1GetR6MnemonicBitNum(text);
    REQUIRE(timer >= 13 && timer <= 15);
    REQUIRE(counter == -1 || (counter >= 10 && counter <= 15));
    REQUIRE(control == -1 || (control >= 8 && control <= 15));
    const int word = DF1WordNameToSubElementNo(text);
    REQUIRE(word == 1 || word == 2 || word == 255);
    REQUIRE(DF1WordNameToSubElementNo(text.toLower()) == word);
}

void checkAddress(const QByteArray& text)
{
    const QByteArray prefix = ExtractPrefixSymbol(text);
    REQUIRE(text.startsWith(prefix));
    for (const char c : prefix)
        REQUIRE(c == '_' || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'));
    REQUIRE(ExtractPrefixSymbol(text.mid(prefix.size())).isEmpty());
    for (const int radix : {8, 10, 16}) {
        const int number = ExtractPLCDeviceAddress(text, radix);
        REQUIRE(number >= 0);
        REQUIRE(ExtractPLCDeviceAddress("_" + QByteArray::number(number, radix), radix) == number);
        REQUIRE(ExtractPLCDeviceAddress(wide(text), radix) == number);
    }
    for (const int radix : {INT_MIN, -1, 0, 2, 36, INT_MAX})
        REQUIRE(ExtractPLCDeviceAddress(text, radix) == -1);
}

/// The text has no zero behind it, and counts only as far as it is told to.
void checkHexDigits(const QByteArray& text)
{
    const ExactBytes exact(text);
    const int size = static_cast<int>(text.size());
    const unsigned int value = HexToUInt(exact.text(), size);
    if (value != 0)
        REQUIRE(HexToUInt(QByteArray::number(value, 16).constData(), 8) == value);
    REQUIRE(HexToUInt(exact.text(), 0) == 0 && HexToUInt(exact.text(), -1) == 0);
}

void checkPort(const QByteArray& text)
{
    const int port = DevStrToHmiPort(wide(text));
    REQUIRE(port == -1 || port >= 999);
    if (port > 999 && port != 2000)
        REQUIRE(DevStrToHmiPort("COM" + QString::number(port - 999)) == port);
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray text = Input(data, size).rest();
    checkNames(text);
    checkAddress(text);
    checkHexDigits(text);
    checkPort(text);
    const QString dump = dumpByteArray(text);
    REQUIRE(dump.startsWith('(') && dump.contains(") : "));
    return 0;
}
