#include <QtTest>

#include "drivers/micrologix/commands.h"
#include "support/frames.h"

class TestTypedCommands : public QObject
{
    Q_OBJECT

private slots:
    void frames_data();
    void frames();
};

void TestTypedCommands::frames_data()
{
    QTest::addColumn<QByteArray>("built");
    QTest::addColumn<QByteArray>("message");

    const QByteArray data = hex("0A001400");
    QTest::newRow("read") << DF1PackReadBytesCmd("N7", 1, 0, 0x1234, 0, 2)
                          << hex("01000F003412 A2 02 07 89 00 00");
    QTest::newRow("read, long element, size cut")
        << DF1PackReadBytesCmd("T4", 1, 2, 0xFF10, 300, 0x106)
        << hex("01020F0010FF A2 06 04 86 FF2C01 00");
    QTest::newRow("bit on") << DF1PackWriteBitCmd("B3", 1, 2, 0x1234, 0, 0, 5, true)
                            << hex("01020F003412 AB 02 03 85 00 00 2000 2000");
    QTest::newRow("bit off, high byte") << DF1PackWriteBitCmd("T4", 1, 2, 0x1234, 254, 2, 12, false)
                                        << hex("01020F003412 AB 02 04 86 FE 02 0010 0000");
    QTest::newRow("bit 15 on") << DF1PackWriteBitCmd("R6", 1, 2, 0x1234, 0, 1, 15, true)
                               << hex("01020F003412 AB 02 06 88 00 01 0080 0080");
    QTest::newRow("bit number beyond a word")
        << DF1PackWriteBitCmd("B3", 1, 2, 0x1234, 255, 0, 21, true)
        << hex("01020F003412 AB 02 03 85 FFFF00 00 2000 2000");
    QTest::newRow("highest bit number") << DF1PackWriteBitCmd("B3", 1, 2, 0x1234, 0, 0, 255, false)
                                        << hex("01020F003412 AB 02 03 85 00 00 0080 0000");
    QTest::newRow("write") << DF1PackWriteBytesCmd("N7", 1, 2, 0x1234, 3, 0, data)
                           << hex("01020F003412 AA 04 07 89 03 00 0A001400");
    QTest::newRow("write to a named word")
        << DF1PackWriteBytesCmd("C5", 1, 2, 0x1234, 1, 2, hex("1000"))
        << hex("01020F003412 AA 02 05 87 01 02 1000");
    QTest::newRow("write of nothing")
        << DF1PackWriteBytesCmd("N7", 1, 2, 0x1234, 3, 0, QByteArray())
        << hex("01020F003412 AA 00 07 89 03 00");
    QTest::newRow("write, size cut")
        << DF1PackWriteBytesCmd("N7", 1, 2, 0x1234, 65535, 0, QByteArray(258, 'a'))
        << hex("01020F003412 AA 02 07 89 FFFFFF 00") + QByteArray(258, 'a');
    QTest::newRow("unknown file") << DF1PackWriteBitCmd("L9", 1, 2, 0x1234, 0, 0, 0, true)
                                  << hex("01020F003412 AB 02 FF 00 00 00 0100 0100");
}

// Catches: a field in the wrong place, width or byte order, a mask with another
// bit, data cut with the size byte, a message left without its frame.
void TestTypedCommands::frames()
{
    QFETCH(QByteArray, built);
    QFETCH(QByteArray, message);
    QCOMPARE(built.toHex(), frameOf(message).toHex());
}

QTEST_APPLESS_MAIN(TestTypedCommands)
#include "tst_typedcommands.moc"
