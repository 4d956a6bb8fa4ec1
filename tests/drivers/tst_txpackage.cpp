#include <QtTest>

#include <climits>

#include "drivers/txpackage.h"
#include "support/bytes.h"
#include "support/rows.h"

typedef QList<int> Sizes;

class TestTxPackage : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a swapped byte order, a lost leading zero, a section too many or too few.
    void appends()
    {
        TxPackage package;
        QVERIFY(package.appendWord(0x1234) && package.appendDWord(0x89ABCDEF));
        QVERIFY(package.appendSection(hex("00AA00")) && package.appendSection(QByteArray()));
        QVERIFY(package.appendByte(0xFE) && package.appendString(QString::fromLatin1("a\xE9")));
        QVERIFY(package.appendByte2Ascii(0x0A));
        QCOMPARE(package.byteArrayData(), hex("3412 EFCDAB89 00AA00 FE 61E9 3041"));
        const int sizes[] = {2, 4, 3, 0, 1, 2, 2};
        QCOMPARE(package.numberOfSections(), 7);
        for (int i = 0; i < 7; ++i)
            QCOMPARE(package.sectionSize(i), sizes[i]);

        package.clearAll();
        QCOMPARE(package.totalSize() + package.numberOfSections(), 0);
        QVERIFY(EmptyPackageSizeList().isEmpty());
        QCOMPARE(package.arrayToInt(QByteArray()), 0);
        QCOMPARE(package.arrayToInt(hex("FE01")), 254);
    }

    // Catches: a check over the wrong bytes, a complemented sum, lowercase digits, the
    // wrong end left out of the FCS, and a read past the bytes.
    void checks()
    {
        TxPackage package;
        package.appendSection(hex("01FF03"));
        QVERIFY(package.appendLRCByte());
        QVERIFY(package.appendFCSAscii(2)); // 01 ^ FF ^ 03 ^ 03 = FE
        QVERIFY(package.appendLRCAscii());  // 01 + FF + 03 + 03 + 46 + 45 = 191
        QCOMPARE(package.byteArrayData(), hex("01FF0303") + "FE" + "91");
        QCOMPARE(package.numberOfSections(), 4);
        QCOMPARE(package.sectionSize(3), 2);

        package.setData(hex("010204"));
        const int rows[][2] = {{0, 7}, {1, 3},       {2, 1},  {3, 0},
                               {5, 0}, {INT_MAX, 0}, {-1, 7}, {INT_MIN, 7}};
        for (const auto& row : rows)
            ROW_COMPARE(QByteArray::number(row[0]), TxPackage::calculateFCS(&package, row[0]),
                        row[1]);
    }

    // Catches: a start that skips a section or forgets a resolved size, a reference
    // followed without end or past the bytes.
    void sections()
    {
        const char* const stored = "07 05000000 4142434445";
        const Sizes plain = Sizes() << 3 << 1 << 2, reference = Sizes() << 1 << 4 << -1;
        const struct
        {
            const char* name;
            Sizes entries;
            const char* bytes;
            int section, start, size;
            const char* data;
        } rows[] = {
            {"first", plain, stored, 0, 0, 3, "070500"},
            {"last", plain, stored, 2, 4, 2, "0041"},
            {"past the last", plain, stored, 3, -1, -1, ""},
            {"negative number", plain, stored, -1, -1, -1, ""},
            {"bytes run out", plain, "07050041 42", 2, 4, 2, "42"},
            {"no bytes left", plain, "0705", 2, 4, 2, ""},
            {"reference", reference, stored, 2, 5, 5, "4142434445"},
            {"behind one", Sizes(reference) << 2, "07 02000000 4142434445", 3, 7, 2, "4344"},
            {"length in a reference", Sizes() << 0 << 4 << -1 << -2, "04000000 02000000 4142", 3, 8,
             2, "4142"},
            {"length beyond the rest", reference, "07 FFFFFF7F 41", 2, 5, INT_MAX, "41"},
            {"negative length", reference, "07 FEFFFFFF 41", 2, 5, -2, ""},
            {"behind that", Sizes(reference) << 1, "07 FEFFFFFF 41", 3, 5, 1, "41"},
            {"short section", Sizes() << 1 << 3 << -1, stored, 2, 4, -1, ""},
            {"short bytes", reference, "07 050000", 2, 5, -1, ""},
            {"to a missing one", Sizes() << 4 << -7, stored, 1, 4, -1, ""},
            {"to the lowest", Sizes() << 4 << INT_MIN, stored, 1, 4, -1, ""},
            {"to itself", Sizes() << 4 << -1, stored, 1, 4, -1, ""},
            {"to one behind it", Sizes() << -1 << 4, stored, 0, 0, -1, ""},
            {"behind a bad one", Sizes() << -1 << 4, stored, 1, 0, 4, "07050000"},
            {"huge", Sizes() << INT_MAX << INT_MAX << 2 << 1, stored, 3, INT_MAX, 1, ""},
        };
        for (const auto& row : rows) {
            TxPackage package;
            package.setSectionSize(row.entries);
            package.setData(hex(row.bytes));
            ROW_COMPARE(row.name, package.validSectionNumber(row.section), row.start >= 0);
            ROW_COMPARE(row.name, package.sectionStartIndex(row.section), row.start);
            ROW_COMPARE(row.name, package.sectionSize(row.section), row.size);
            ROW_COMPARE(row.name, package.dataAt(row.section), hex(row.data));
        }
    }

    // Catches: a reference counted as a size, old bytes lost, new ones not zero.
    void patternsResizeTheBytes()
    {
        TxPackage package;
        package.setData(hex("A1A2A3"));
        package.setSectionSize(Sizes() << 1 << 4 << -1);
        QCOMPARE(package.byteArrayData(), hex("A1A2A30000"));
        package.setSectionSize(Sizes() << 2);
        QCOMPARE(package.byteArrayData(), hex("A1A2"));
        package.setSectionSize(Sizes() << 3);
        QCOMPARE(package.byteArrayData(), hex("A1A200"));
        package.setSectionSize(Sizes() << (1 << 30));
        QCOMPARE(package.totalSize(), 0);
        package.setSectionSize(Sizes() << INT_MAX << INT_MAX << 4);
        QCOMPARE(package.totalSize(), 0);
        QCOMPARE(package.numberOfSections(), 3);
    }

    // Catches: bytes shared with a copy, or with the memory they were given from.
    void ownsItsBytes()
    {
        char text[] = "ABCDEF";
        TxPackage package, assigned;
        QVERIFY(package.setData(QByteArray::fromRawData(text, 4)));
        package.setSectionSize(Sizes() << 4);
        text[0] = 'x';
        char* const bytes = package.data();
        TxPackage copy(package);
        assigned = package;
        TxPackage& itself = assigned;
        assigned = itself;
        const QByteArray data = package.byteArrayData();
        bytes[0] = 'y';
        QCOMPARE(copy.byteArrayData(), QByteArray("ABCD"));
        QCOMPARE(assigned.dataAt(0), QByteArray("ABCD"));
        QCOMPARE(data, QByteArray("ABCD"));
        QCOMPARE(package.byteArrayData(), QByteArray("yBCD"));

        const int lengths[] = {2, -1, 0};
        for (int length : lengths) {
            QVERIFY(package.setData(text, length));
            QCOMPARE(package.byteArrayData(), QByteArray("xBCDEF").mid(0, length));
        }
        QCOMPARE(package.numberOfSections(), 1);
    }

    // Catches: another text than the dump of the bytes.
    void text()
    {
        TxPackage package;
        package.setData(hex("41E90A0042"));
        QCOMPARE(package.toString(), QString::fromLatin1("(0X41 0Xe9 0Xa 0X0 0X42 ) : A\xE9\n"));
    }
};

QTEST_APPLESS_MAIN(TestTxPackage)
#include "tst_txpackage.moc"
