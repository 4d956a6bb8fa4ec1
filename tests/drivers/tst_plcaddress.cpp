#include <QtTest>

#include <climits>

#include "drivers/tools/plcaddress.h"

class TestPlcAddress : public QObject
{
    Q_OBJECT

private slots:
    void prefixes_data();
    void prefixes();
    void numbers_data();
    void numbers();
    void hexadecimal_data();
    void hexadecimal();
};

void TestPlcAddress::prefixes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("prefix");

    QTest::newRow("one letter") << QByteArray("D100") << QByteArray("D");
    QTest::newRow("letters end at the first other") << QByteArray("DM10A") << QByteArray("DM");
    QTest::newRow("underscore") << QByteArray("_x1") << QByteArray("_x");
    QTest::newRow("whole text") << QByteArray("azAZ_") << QByteArray("azAZ_");
    QTest::newRow("beside the letters") << QByteArray("Z[") << QByteArray("Z");
    QTest::newRow("no ASCII letter") << QByteArray("\xC4"
                                                   "1")
                                     << QByteArray();
    QTest::newRow("number") << QByteArray("100") << QByteArray();
    QTest::newRow("nothing") << QByteArray() << QByteArray();
}

// Catches: a wrong end of the prefix, and texts of the two kinds read differently.
void TestPlcAddress::prefixes()
{
    QFETCH(QByteArray, text);
    QTEST(ExtractPrefixSymbol(text), "prefix");
    QTEST(ExtractPrefixSymbol(QString::fromLatin1(text)), "prefix");
}

void TestPlcAddress::numbers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("radix");
    QTest::addColumn<int>("number");

    QTest::newRow("decimal") << QByteArray("D100") << 10 << 100;
    QTest::newRow("octal") << QByteArray("Y17") << 8 << 15;
    QTest::newRow("hexadecimal") << QByteArray("x1f") << 16 << 31;
    QTest::newRow("octal with an 8 behind") << QByteArray("Y18") << 8 << 0;
    QTest::newRow("octal starts behind an 8") << QByteArray("Y81") << 8 << 1;
    QTest::newRow("letters that are digits") << QByteArray("DA") << 16 << 218;
    QTest::newRow("skips to the first digit") << QByteArray("XA") << 16 << 10;
    QTest::newRow("letter that is a digit, then one that is none") << QByteArray("DM10") << 16 << 0;
    QTest::newRow("minus is skipped") << QByteArray("D-5") << 10 << 5;
    QTest::newRow("number, then text") << QByteArray("D5/3") << 10 << 0;
    QTest::newRow("largest") << QByteArray("D2147483647") << 10 << INT_MAX;
    QTest::newRow("beyond an int") << QByteArray("D2147483648") << 10 << 0;
    QTest::newRow("no digit") << QByteArray("M") << 10 << 0;
    QTest::newRow("nothing") << QByteArray() << 10 << 0;
    QTest::newRow("radix 2") << QByteArray("D100") << 2 << -1;
    QTest::newRow("radix 0") << QByteArray() << 0 << -1;
}

// Catches: a start taken from another radix's digits, a sign, an unknown radix.
void TestPlcAddress::numbers()
{
    QFETCH(QByteArray, text);
    QFETCH(int, radix);
    QTEST(ExtractPLCDeviceAddress(text, radix), "number");
    QTEST(ExtractPLCDeviceAddress(QString::fromLatin1(text), radix), "number");
}

void TestPlcAddress::hexadecimal_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("maxLength");
    QTest::addColumn<unsigned int>("value");

    QTest::newRow("digits") << QByteArray("1F") << 2 << 0x1Fu;
    QTest::newRow("cut") << QByteArray("1F") << 1 << 1u;
    QTest::newRow("terminated") << QByteArray("aF") << 99 << 0xAFu;
    QTest::newRow("prefix") << QByteArray("0x1F") << 4 << 0x1Fu;
    QTest::newRow("prefix counts") << QByteArray("0X1f") << 3 << 1u;
    QTest::newRow("prefix alone") << QByteArray("0x") << 2 << 0u;
    QTest::newRow("prefix alone, terminated") << QByteArray("0x") << 9 << 0u;
    QTest::newRow("zero before the limit") << QByteArray("0x1") << 1 << 0u;
    QTest::newRow("leading zero") << QByteArray("012") << 3 << 0x12u;
    QTest::newRow("second prefix") << QByteArray("0x0x1") << 5 << 0u;
    QTest::newRow("no digit") << QByteArray("1G") << 2 << 0u;
    QTest::newRow("beside the letters") << QByteArray("1@") << 2 << 0u;
    QTest::newRow("no digit beyond the limit") << QByteArray("1G") << 1 << 1u;
    QTest::newRow("largest") << QByteArray("FFFFFFFF") << 8 << 0xFFFFFFFFu;
    QTest::newRow("shifted out") << QByteArray("100000002") << 9 << 2u;
    QTest::newRow("nothing") << QByteArray("") << 4 << 0u;
    QTest::newRow("no length") << QByteArray("1") << 0 << 0u;
    QTest::newRow("negative length") << QByteArray("1") << -1 << 0u;
}

// Catches: a limit that leaves out the prefix, a wrong digit, a read past the limit.
void TestPlcAddress::hexadecimal()
{
    QFETCH(QByteArray, text);
    QFETCH(int, maxLength);
    QTEST(HexToUInt(text.constData(), maxLength), "value");
}

QTEST_APPLESS_MAIN(TestPlcAddress)
#include "tst_plcaddress.moc"
