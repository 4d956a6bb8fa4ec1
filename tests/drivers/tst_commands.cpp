#include <QtTest>

#include "drivers/df1.h"
#include "support/bytes.h"
#include "support/rows.h"

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a field in the wrong place, width or byte order, a group too many or
    // too few, a bit cleared outside the range.
    void messages()
    {
        const auto rangeRead = DF1PackWordRangeReadAppLayerCmd;
        const auto rangeWrite = DF1PackWordRangeWriteAppLayerCmd;
        const auto words = DF1PackReadModifyWriteWordsAppLayerCmd;
        const auto bits = DF1PackReadModifyWriteBitsAppLayerCmd;
        const QByteArray twoWords = hex("34127856");
        const unsigned char* const data = bytesOf(twoWords);
        const unsigned char mask[] = {0x0D};
        const struct
        {
            const char* name;
            QByteArray built;
            const char* wanted; // behind 01020F003412
        } rows[] = {
            {"odd size", rangeRead(1, 2, 0x1234, 7, 10, 7), "01 0000 0300 06 07 0A 07"},
            {"most", rangeRead(1, 2, 0x1234, 255, 65535, 255), "01 0000 7F00 06 FF FFFFFF FF"},
            {"range write", rangeWrite(1, 2, 0x1234, 7, 255, data, 2),
             "00 0000 0200 06 07 FFFF00 34127856"},
            {"range write, none", rangeWrite(1, 2, 0x1234, 7, 10, 0, 0), "00 0000 0000 06 07 0A"},
            {"words", words(1, 2, 0x1234, 7, 10, 3, data, 2),
             "26 0E 07 0A 03 0000 3412 0E 07 0B 03 0000 7856"},
            {"words, long file number, elements growing long",
             words(1, 2, 0x1234, 300, 254, 0, data, 2),
             "26 0E FF2C01 FE 00 0000 3412 0E FF2C01 FFFF00 00 0000 7856"},
            {"words wrap", words(1, 2, 0x1234, 7, 65535, 0, data, 2),
             "26 0E 07 FFFFFF 00 0000 3412 0E 07 00 00 0000 7856"},
            {"no words", words(1, 2, 0x1234, 7, 10, 0, 0, 0), "26"},
            {"two words", bits(1, 2, 0x1234, 7, 10, 14, 4, mask),
             "26 06 07 0A FF7F 0040 06 07 0B FFFF 0300"},
            {"later word", bits(1, 2, 0x1234, 7, 10, 20, 3, mask), "26 06 07 0B DFFF 5000"},
            {"up to bit 15", bits(1, 2, 0x1234, 7, 10, 12, 4, mask), "26 06 07 0A FFDF 00D0"},
            {"bits wrap", bits(1, 2, 0x1234, 7, 65534, 47, 2, mask),
             "26 06 07 00 FFFF 0080 06 07 01 FEFF 0000"},
            {"beyond 16 bits", bits(1, 2, 0x1234, 7, 0, 65535, 2, mask),
             "26 06 07 FFFF0F FFFF 0080 06 07 FF0010 FEFF 0000"},
            {"no bits", bits(1, 2, 0x1234, 7, 10, 14, 0, 0), "26"},
        };
        for (const auto& row : rows)
            ROW_COMPARE(row.name, row.built, hex("01020F003412") + hex(row.wanted));
        QCOMPARE(rangeRead(255, 254, 0xFFFE, 7, 10, 7).left(6), hex("FFFE0F00FEFF"));
    }

    // Catches: a message left without its frame, arguments handed on in another
    // order. The checks come from a bitwise CRC outside this project.
    void frames()
    {
        const unsigned char data[] = {0x34, 0x12, 0x78, 0x56};
        const unsigned char mask[] = {0x0D};
        QCOMPARE(DF1PackWordRangeReadCmd("N7", 1, 0, 0x1234, 10, 0x107), // its size is cut
                 hex("1002 01000F003412010000030006070A07 1003 A9EA"));
        QCOMPARE(DF1PackWordRangeWriteCmd("N7", 1, 0, 0x1234, 10, data, 2),
                 hex("1002 01000F003412000000020006070A34127856 1003 3284"));
        QCOMPARE(DF1PackReadModifyWriteWordsCmd("n7", 1, 0, 0x1234, 10, 0, data, 2),
                 hex("1002 01000F003412260E070A00000034120E070B0000007856 1003 AE5A"));
        QCOMPARE(DF1PackReadModifyWriteBitsCmd("N7", 1, 0, 0x1234, 10, 14, 4, mask),
                 hex("1002 01000F0034122606070AFF7F004006070BFFFF0300 1003 FB8F"));
        QCOMPARE(DF1GetWordRangeReadRspLen(7), 21);
        QCOMPARE(DF1GetWordRangeReadRspLen(255), 269);
    }
};

QTEST_APPLESS_MAIN(TestCommands)
#include "tst_commands.moc"
