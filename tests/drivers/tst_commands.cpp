#include <QtTest>

#include "drivers/df1.h"
#include "support/bytes.h"

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    void messages_data();
    void messages();
    void tellsTheLengthOfAWordRangeReply();
};

void TestCommands::messages_data()
{
    QTest::addColumn<QByteArray>("built");
    QTest::addColumn<QByteArray>("wanted");

    const QByteArray words = hex("34127856");
    const unsigned char* const data = bytesOf(words);

    QTest::newRow("word range read, odd size")
        << DF1PackWordRangeReadAppLayerCmd(1, 2, 0x1234, 7, 10, 7)
        << hex("01020F003412 01 0000 0300 06 07 0A 07");
    QTest::newRow("word range read, most")
        << DF1PackWordRangeReadAppLayerCmd(255, 254, 0xFFFE, 255, 65535, 255)
        << hex("FFFE0F00FEFF 01 0000 7F00 06 FF FFFFFF FF");
    QTest::newRow("word range write")
        << DF1PackWordRangeWriteAppLayerCmd(1, 2, 0x1234, 7, 255, data, 2)
        << hex("01020F003412 00 0000 0200 06 07 FFFF00 34127856");
    QTest::newRow("word range write of nothing")
        << DF1PackWordRangeWriteAppLayerCmd(1, 2, 0x1234, 7, 10, 0, 0)
        << hex("01020F003412 00 0000 0000 06 07 0A");
    QTest::newRow("words") << DF1PackReadModifyWriteWordsAppLayerCmd(1, 2, 0x1234, 7, 10, 3, data,
                                                                     2)
                           << hex("01020F003412 26 0E 07 0A 03 0000 3412 0E 07 0B 03 0000 7856");
    QTest::newRow("words, long file number, elements growing long")
        << DF1PackReadModifyWriteWordsAppLayerCmd(1, 2, 0x1234, 300, 254, 0, data, 2)
        << hex("01020F003412 26 0E FF2C01 FE 00 0000 3412 0E FF2C01 FFFF00 00 0000 7856");
    QTest::newRow("words, elements wrapping")
        << DF1PackReadModifyWriteWordsAppLayerCmd(1, 2, 0x1234, 7, 65535, 0, data, 2)
        << hex("01020F003412 26 0E 07 FFFFFF 00 0000 3412 0E 07 00 00 0000 7856");
    QTest::newRow("no words") << DF1PackReadModifyWriteWordsAppLayerCmd(1, 2, 0x1234, 7, 10, 0, 0,
                                                                        0)
                              << hex("01020F003412 26");

    const QByteArray sample = hex("0D");
    const unsigned char* const bits = bytesOf(sample);
    QTest::newRow("bits over two words")
        << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 10, 14, 4, bits)
        << hex("01020F003412 26 06 07 0A FF7F 0040 06 07 0B FFFF 0300");
    QTest::newRow("bits inside a later word")
        << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 10, 20, 3, bits)
        << hex("01020F003412 26 06 07 0B DFFF 5000");
    QTest::newRow("one bit short of the second word")
        << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 10, 12, 4, bits)
        << hex("01020F003412 26 06 07 0A FFDF 00D0");
    QTest::newRow("bits, elements wrapping")
        << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 65534, 47, 2, bits)
        << hex("01020F003412 26 06 07 00 FFFF 0080 06 07 01 FEFF 0000");
    QTest::newRow("bits, positions beyond 16 bits")
        << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 0, 65535, 2, bits)
        << hex("01020F003412 26 06 07 FFFF0F FFFF 0080 06 07 FF0010 FEFF 0000");
    QTest::newRow("no bits") << DF1PackReadModifyWriteBitsAppLayerCmd(1, 2, 0x1234, 7, 10, 14, 0, 0)
                             << hex("01020F003412 26");

    // The checks of the frames come from a bitwise CRC outside this project.
    QTest::newRow("framed word range read, size cut")
        << DF1PackWordRangeReadCmd("N7", 1, 0, 0x1234, 10, 0x107)
        << hex("1002 01000F003412010000030006070A07 1003 A9EA");
    QTest::newRow("framed word range write")
        << DF1PackWordRangeWriteCmd("N7", 1, 0, 0x1234, 10, data, 2)
        << hex("1002 01000F003412000000020006070A34127856 1003 3284");
    QTest::newRow("framed words") << DF1PackReadModifyWriteWordsCmd(
        "n7", 1, 0, 0x1234, 10, 0, data,
        2) << hex("1002 01000F003412260E070A00000034120E070B0000007856 1003 AE5A");
    QTest::newRow("framed bits") << DF1PackReadModifyWriteBitsCmd(
        "N7", 1, 0, 0x1234, 10, 14, 4,
        bits) << hex("1002 01000F0034122606070AFF7F004006070BFFFF0300 1003 FB8F");
}

// Catches: a field in the wrong place, width or byte order, a group too many or
// too few, a bit cleared outside the range, a message left without its frame.
void TestCommands::messages()
{
    QFETCH(QByteArray, built);
    QFETCH(QByteArray, wanted);
    QCOMPARE(built.toHex(), wanted.toHex());
}

// Catches: a frame part forgotten, and a sum cut to 8 bits.
void TestCommands::tellsTheLengthOfAWordRangeReply()
{
    QCOMPARE(DF1GetWordRangeReadRspLen(7), 21);
    QCOMPARE(DF1GetWordRangeReadRspLen(255), 269);
}

QTEST_APPLESS_MAIN(TestCommands)
#include "tst_commands.moc"
