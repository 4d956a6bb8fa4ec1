#include <QtTest>

#include "drivers/df1/addressing.h"

class TestAddressing : public QObject
{
    Q_OBJECT

private slots:
    void fileNames_data();
    void fileNames();
    void knowsNineLetters();
};

void TestAddressing::fileNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("number");

    QTest::newRow("output is always file 0") << QByteArray("O5") << 0x82 << 0;
    QTest::newRow("input is always file 1") << QByteArray("I9") << 0x83 << 1;
    QTest::newRow("input without a number") << QByteArray("i") << 0x83 << 1;
    QTest::newRow("status without a number") << QByteArray("S") << 0x84 << 0;
    QTest::newRow("status") << QByteArray("S2") << 0x84 << 2;
    QTest::newRow("letter behind the letter") << QByteArray("ST9") << 0x84 << 0;
    QTest::newRow("bit, leading zeros") << QByteArray("b003") << 0x85 << 3;
    QTest::newRow("timer") << QByteArray("T4") << 0x86 << 4;
    QTest::newRow("counter") << QByteArray("C5") << 0x87 << 5;
    QTest::newRow("control") << QByteArray("R6") << 0x88 << 6;
    QTest::newRow("integer") << QByteArray("N7") << 0x89 << 7;
    QTest::newRow("float") << QByteArray("F8") << 0x8A << 8;
    QTest::newRow("highest number") << QByteArray("N255") << 0x89 << 255;
    QTest::newRow("number cut to 8 bits") << QByteArray("N300") << 0x89 << 44;
    QTest::newRow("number beyond 32 bits") << QByteArray("N99999999999") << 0x89 << 0;
    QTest::newRow("unknown letter") << QByteArray("L9") << 0 << 255;
    QTest::newRow("nothing") << QByteArray() << 0 << 255;
    QTest::newRow("byte above 127") << QByteArray("\xCE"
                                                  "7")
                                    << 0 << 255;
}

// Catches: a command for another file than the address names.
void TestAddressing::fileNames()
{
    QFETCH(QByteArray, name);
    QFETCH(int, type);
    QFETCH(int, number);
    QCOMPARE(static_cast<int>(DF1GetFileType(name)), type);
    QCOMPARE(static_cast<int>(DF1GetFileNo(name)), number);
}

// Catches: a letter that got a type by accident.
void TestAddressing::knowsNineLetters()
{
    int known = 0;
    for (int letter = 0; letter < 256; ++letter)
        known += DF1GetFileType(QByteArray(1, static_cast<char>(letter))) != 0 ? 1 : 0;
    QCOMPARE(known, 18);
}

QTEST_APPLESS_MAIN(TestAddressing)
#include "tst_addressing.moc"
