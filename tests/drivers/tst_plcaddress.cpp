#include <QtTest>

#include <climits>

#include "drivers/tools/plcaddress.h"
#include "support/rows.h"

class TestPlcAddress : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a wrong end of the prefix, and texts of the two kinds read differently.
    void prefixes()
    {
        const char* const rows[][2] = {
            {"D100", "D"}, {"DM10A", "DM"}, {"_x1", "_x"}, {"azAZ_", "azAZ_"}, {"Z[", "Z"},
            {"a`", "a"},   {"z{", "z"},     {"\xC4x", ""}, {"100", ""},        {"", ""}};
        for (const auto& row : rows) {
            ROW_COMPARE(row[0], ExtractPrefixSymbol(QByteArray(row[0])), QByteArray(row[1]));
            ROW_COMPARE(row[0], ExtractPrefixSymbol(QString::fromLatin1(row[0])),
                        QByteArray(row[1]));
        }
    }

    // Catches: a start taken from another radix's digits, a sign, an unknown radix.
    void numbers()
    {
        const struct
        {
            const char* text;
            int radix, number;
        } rows[] = {{"D100", 10, 100},
                    {"Y17", 8, 15},
                    {"x1f", 16, 31},
                    {"xf", 16, 15},
                    {"Y:9", 16, 9},
                    {"Y18", 8, 0},
                    {"Y81", 8, 1},
                    {"DA", 16, 218},
                    {"XA", 16, 10},
                    {"DM10", 16, 0},
                    {"D-5", 10, 5},
                    {"D5/3", 10, 0},
                    {"D2147483647", 10, INT_MAX},
                    {"D2147483648", 10, 0},
                    {"M", 10, 0},
                    {"", 10, 0},
                    {"D100", 2, -1},
                    {"", 0, -1}};
        for (const auto& row : rows) {
            ROW_COMPARE(row.text, ExtractPLCDeviceAddress(QByteArray(row.text), row.radix),
                        row.number);
            ROW_COMPARE(row.text, ExtractPLCDeviceAddress(QString::fromLatin1(row.text), row.radix),
                        row.number);
        }
    }

    // Catches: a limit that leaves out the prefix, a wrong digit, a read past the limit.
    void hexadecimal()
    {
        const struct
        {
            const char* text;
            int maxLength;
            unsigned int value;
        } rows[] = {
            {"1F", 2, 0x1F},     {"1F", 1, 1},    {"aF", 99, 0xAF}, {"0x1F", 4, 0x1F},
            {"0X1f", 3, 1},      {"0x", 2, 0},    {"0x", 9, 0},     {"0x1", 1, 0},
            {"012", 3, 0x12},    {"0x0x1", 5, 0}, {"1G", 2, 0},     {"1@", 2, 0},
            {"1g", 2, 0},        {"1`", 2, 0},    {"1G", 1, 1},     {"FFFFFFFF", 8, 0xFFFFFFFF},
            {"100000002", 9, 2}, {"", 4, 0},      {"1", 0, 0},      {"1", -1, 0}};
        for (const auto& row : rows)
            ROW_COMPARE(row.text, HexToUInt(row.text, row.maxLength), row.value);
        const char zero = '0'; // nothing behind it, for the address sanitizer
        QCOMPARE(HexToUInt(&zero, 1), 0u);
    }
};

QTEST_APPLESS_MAIN(TestPlcAddress)
#include "tst_plcaddress.moc"
