#include <QtTest>

#include "drivers/micrologix/commands.h"
#include "support/frames.h"
#include "support/rows.h"

class TestTypedCommands : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a field in the wrong place, width or byte order, a mask with another
    // bit, data cut with the size byte, a message left without its frame.
    void frames()
    {
        const auto bit = DF1PackWriteBitCmd;
        const auto write = DF1PackWriteBytesCmd;
        const QByteArray large(258, 'a');
        const struct
        {
            const char* name;
            QByteArray built, message;
        } rows[] = {
            {"read", DF1PackReadBytesCmd("N7", 1, 0, 0x1234, 0, 2),
             hex("01000F003412 A2 02 07 89 00 00")},
            {"read, size cut", DF1PackReadBytesCmd("T4", 1, 2, 0xFF10, 300, 0x106),
             hex("01020F0010FF A2 06 04 86 FF2C01 00")},
            {"bit off", bit("T4", 1, 2, 0x1234, 254, 2, 12, false),
             hex("01020F003412 AB 02 04 86 FE 02 0010 0000")},
            {"bit 21", bit("B3", 1, 2, 0x1234, 255, 0, 21, true),
             hex("01020F003412 AB 02 03 85 FFFF00 00 2000 2000")},
            {"bit 255", bit("B3", 1, 2, 0x1234, 0, 0, 255, false),
             hex("01020F003412 AB 02 03 85 00 00 0080 0000")},
            {"write", write("C5", 1, 2, 0x1234, 1, 2, hex("1000")),
             hex("01020F003412 AA 02 05 87 01 02 1000")},
            {"nothing", write("N7", 1, 2, 0x1234, 3, 0, QByteArray()),
             hex("01020F003412 AA 00 07 89 03 00")},
            {"size cut", write("N7", 1, 2, 0x1234, 65535, 0, large),
             hex("01020F003412 AA 02 07 89 FFFFFF 00") + large},
            {"unknown file", bit("L9", 1, 2, 0x1234, 0, 0, 0, true),
             hex("01020F003412 AB 02 FF 00 00 00 0100 0100")},
        };
        for (const auto& row : rows)
            ROW_COMPARE(row.name, row.built, frameOf(row.message));
    }
};

QTEST_APPLESS_MAIN(TestTypedCommands)
#include "tst_typedcommands.moc"
