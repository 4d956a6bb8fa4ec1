#include <QtTest>

#include <climits>

#include "drivers/txpackage.h"
#include "support/bytes.h"

typedef QList<int> IntList;
Q_DECLARE_METATYPE(IntList)

class TestTxPackage : public QObject
{
    Q_OBJECT

private slots:
    void appends();
    void checks();
    void fcsLeavesOutTheEnd();
    void sections_data();
    void sections();
    void patternsResizeTheBytes();
    void ownsItsBytes();
    void text_data();
    void text();
};

// Catches: a swapped byte order, a lost leading zero, a section too many or too few.
void TestTxPackage::appends()
{
    TxPackage package;
    QVERIFY(package.appendWord(0x1234));
    QVERIFY(package.appendDWord(0x89ABCDEF));
    QVERIFY(package.appendSection(hex("00AA00")));
    QVERIFY(package.appendSection(QByteArray()));
    QVERIFY(package.appendByte(0xFE));
    QVERIFY(package.appendString(QString::fromLatin1("a\xE9")));
    QVERIFY(package.appendByte2Ascii(0x0A));
    QCOMPARE(package.byteArrayData().toHex(), hex("3412 EFCDAB89 00AA00 FE 61E9 3041").toHex());
    QCOMPARE(package.totalSize(), 14);

    const int sizes[] = {2, 4, 3, 0, 1, 2, 2};
    QCOMPARE(package.numberOfSections(), 7);
    for (int i = 0; i < 7; ++i)
        QCOMPARE(package.sectionSize(i), sizes[i]);

    package.clearAll();
    QCOMPARE(package.totalSize(), 0);
    QCOMPARE(package.numberOfSections(), 0);
    QVERIFY(EmptyPackageSizeList().isEmpty());
    QCOMPARE(package.arrayToInt(QByteArray()), 0);
    QCOMPARE(package.arrayToInt(hex("FE01")), 254);
}

// Catches: a check over the wrong bytes, a complemented sum, lowercase digits.
void TestTxPackage::checks()
{
    TxPackage package;
    package.appendSection(hex("01FF03"));
    QVERIFY(package.appendLRCByte());
    QVERIFY(package.appendFCSAscii(2)); // 01 ^ FF ^ 03 ^ 03 = FE
    QVERIFY(package.appendLRCAscii());  // 01 + FF + 03 + 03 + 46 + 45 = 191
    QCOMPARE(package.byteArrayData(), hex("01FF0303") + "FE" + "91");
    QCOMPARE(package.numberOfSections(), 4);
    QCOMPARE(package.sectionSize(1), 1);
    QCOMPARE(package.sectionSize(2), 2);
    QCOMPARE(package.sectionSize(3), 2);
}

// Catches: the wrong end left out, and a read past the bytes.
void TestTxPackage::fcsLeavesOutTheEnd()
{
    TxPackage package;
    package.setData(hex("010204"));
    const int counts[] = {0, 1, 2, 3, 5, INT_MAX, -1, INT_MIN};
    const int checks[] = {7, 3, 1, 0, 0, 0, 7, 7};
    for (int i = 0; i < 8; ++i)
        QCOMPARE(TxPackage::calculateFCS(&package, counts[i]), checks[i]);
}

void TestTxPackage::sections_data()
{
    QTest::addColumn<IntList>("entries");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("section");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("data");

    const QByteArray stored = hex("07 05000000 4142434445");
    const IntList plain = IntList() << 3 << 1 << 2;
    const IntList reference = IntList() << 1 << 4 << -1;
    QTest::newRow("first") << plain << stored << 0 << 0 << 3 << hex("070500");
    QTest::newRow("inner") << plain << stored << 1 << 3 << 1 << hex("00");
    QTest::newRow("last") << plain << stored << 2 << 4 << 2 << hex("0041");
    QTest::newRow("past the last") << plain << stored << 3 << -1 << -1 << QByteArray();
    QTest::newRow("negative number") << plain << stored << -1 << -1 << -1 << QByteArray();
    QTest::newRow("bytes run out") << plain << hex("07050041 42") << 2 << 4 << 2 << hex("42");
    QTest::newRow("no bytes left") << plain << hex("0705") << 2 << 4 << 2 << QByteArray();

    QTest::newRow("reference") << reference << stored << 2 << 5 << 5 << QByteArray("ABCDE");
    QTest::newRow("behind a reference")
        << (IntList() << 1 << 4 << -1 << 2) << hex("07 02000000 4142434445") << 3 << 7 << 2
        << QByteArray("CD");
    QTest::newRow("length stored in a referenced section")
        << (IntList() << 0 << 4 << -1 << -2) << hex("04000000 02000000 4142") << 3 << 8 << 2
        << QByteArray("AB");
    QTest::newRow("stored length is longer than the rest")
        << reference << hex("07 FFFFFF7F 41") << 2 << 5 << INT_MAX << QByteArray("A");
    QTest::newRow("stored length is negative")
        << reference << hex("07 FEFFFFFF 41") << 2 << 5 << -2 << QByteArray();
    QTest::newRow("behind a negative length")
        << (IntList() << 1 << 4 << -1 << 1) << hex("07 FEFFFFFF 41") << 3 << 5 << 1
        << QByteArray("A");
    QTest::newRow("referenced section is short")
        << (IntList() << 1 << 3 << -1) << stored << 2 << 4 << -1 << QByteArray();
    QTest::newRow("referenced bytes are short")
        << reference << hex("07 050000") << 2 << 5 << -1 << QByteArray();
    QTest::newRow("to a missing section")
        << (IntList() << 4 << -7) << stored << 1 << 4 << -1 << QByteArray();
    QTest::newRow("to the lowest number")
        << (IntList() << 4 << INT_MIN) << stored << 1 << 4 << -1 << QByteArray();
    QTest::newRow("to itself") << (IntList() << 4 << -1) << stored << 1 << 4 << -1 << QByteArray();
    QTest::newRow("in a circle") << (IntList() << 4 << -2 << -1) << stored << 1 << 4 << -1
                                 << QByteArray();
    QTest::newRow("to one behind it")
        << (IntList() << -1 << 4) << stored << 0 << 0 << -1 << QByteArray();
    QTest::newRow("behind one that does not resolve")
        << (IntList() << -1 << 4) << stored << 1 << 0 << 4 << hex("07050000");
    QTest::newRow("sums beyond an int") << (IntList() << INT_MAX << INT_MAX << INT_MAX << 1)
                                        << stored << 3 << INT_MAX << 1 << QByteArray();
}

// Catches: a start that skips a section or forgets a resolved size, a reference
// followed without end or past the bytes.
void TestTxPackage::sections()
{
    QFETCH(IntList, entries);
    QFETCH(QByteArray, bytes);
    QFETCH(int, section);

    TxPackage package;
    package.setSectionSize(entries);
    package.setData(bytes);
    QCOMPARE(package.numberOfSections(), static_cast<int>(entries.size()));
    QCOMPARE(package.validSectionNumber(section), section >= 0 && section < entries.size());
    QTEST(package.sectionStartIndex(section), "start");
    QTEST(package.sectionSize(section), "size");
    QTEST(package.dataAt(section), "data");
}

// Catches: a reference counted as a size, old bytes lost, new ones not zero.
void TestTxPackage::patternsResizeTheBytes()
{
    TxPackage package;
    package.setData(hex("A1A2A3"));
    package.setSectionSize(IntList() << 1 << 4 << -1);
    QCOMPARE(package.byteArrayData().toHex(), hex("A1A2A30000").toHex());
    package.setSectionSize(IntList() << 2);
    QCOMPARE(package.byteArrayData().toHex(), hex("A1A2").toHex());
    package.setSectionSize(IntList() << INT_MAX << INT_MAX << 4);
    QCOMPARE(package.totalSize(), 0);
    QCOMPARE(package.numberOfSections(), 3);
    package.setSectionSize(EmptyPackageSizeList());
    QCOMPARE(package.totalSize(), 0);
}

// Catches: bytes shared with a copy, or with the memory they were given from.
void TestTxPackage::ownsItsBytes()
{
    char text[] = "ABCDEF";
    TxPackage package;
    QVERIFY(package.setData(QByteArray::fromRawData(text, 4)));
    package.setSectionSize(IntList() << 4);
    text[0] = 'x';
    char* const bytes = package.data();
    TxPackage copy(package);
    TxPackage assigned;
    assigned = package;
    const QByteArray data = package.byteArrayData();
    bytes[0] = 'y';
    QCOMPARE(copy.byteArrayData(), QByteArray("ABCD"));
    QCOMPARE(assigned.dataAt(0), QByteArray("ABCD"));
    QCOMPARE(data, QByteArray("ABCD"));
    QCOMPARE(package.byteArrayData(), QByteArray("yBCD"));

    QVERIFY(package.setData(text, 2));
    QCOMPARE(package.byteArrayData(), QByteArray("xB"));
    QVERIFY(package.setData(text, -1));
    QCOMPARE(package.byteArrayData(), QByteArray("xBCDEF"));
    QVERIFY(package.setData(text, 0));
    QCOMPARE(package.totalSize(), 0);
    QCOMPARE(package.numberOfSections(), 1);
}

void TestTxPackage::text_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("line");

    QTest::newRow("nothing") << QByteArray() << QString::fromLatin1("() : ");
    QTest::newRow("up to the zero")
        << hex("410A0042") << QString::fromLatin1("(0X41 0Xa 0X0 0X42 ) : A\n");
    QTest::newRow("Latin-1") << hex("ABE9") << QString::fromLatin1("(0Xab 0Xe9 ) : \xAB\xE9");
}

// Catches: padded or uppercase digits, and a text that runs past the zero.
void TestTxPackage::text()
{
    QFETCH(QByteArray, bytes);
    TxPackage package;
    package.setData(bytes);
    QTEST(package.toString(), "line");
}

QTEST_APPLESS_MAIN(TestTxPackage)
#include "tst_txpackage.moc"
