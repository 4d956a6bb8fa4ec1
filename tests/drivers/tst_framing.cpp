#include <QtTest>

#include "drivers/df1/framing.h"
#include "support/frames.h"
#include "support/rows.h"

class TestFraming : public QObject
{
    Q_OBJECT

private slots:
    // Catches: wrong coverage of the check, a doubled or swapped check, a lost DLE.
    void frames()
    {
        // The checks come from a bitwise CRC outside this project; the messages named
        // after 1770-6.5.16 are that publication's own examples.
        const char* const rows[][3] = {
            {"nothing", "", "1002100340 01"},
            {"DLE counts once", "01000F001000A202", "100201000F00101000A2021003D3D0"},
            {"1770-6.5.16, diagnostic", "08090600020403", "10020809060002040310039848"},
            {"1770-6.5.16, read", "090001000100110002", "10020900010001001100021003546F"},
            {"check byte 10 is not doubled", "C0", "1002C010031001"},
        };
        for (const auto& row : rows) {
            QByteArray packet = hex(row[1]), packet2 = packet;
            DF1ToDataLinkLayerPacket(packet);
            ROW_COMPARE(row[0], packet, hex(row[2]));
            DF1ToDataLinkLayerPacket2(packet2);
            ROW_COMPARE(row[0], packet2, hex(row[2]));
        }
    }

    // Catches: any wrong byte in the two tables, and a lost length check.
    void crcTablesAgreeWithTheBitwiseCrc()
    {
        for (int value = 0; value < 256; ++value) {
            QByteArray packet(1, static_cast<char>(value));
            const QByteArray frame = frameOf(packet);
            DF1ToDataLinkLayerPacket2(packet);
            QCOMPARE(packet, frame);
        }
        const QByteArray digits("123456789");
        QCOMPARE(static_cast<int>(DF1CRC16(bytesOf(digits), 9)), 0xBB3D);
        QCOMPARE(static_cast<int>(DF1CRC16(bytesOf(digits), -1)), 0);
    }

    // Catches: folding past the range or the data, and a lone DLE taken for a pair.
    void folding()
    {
        const struct
        {
            const char *name, *data;
            int from, to;
            const char* folded;
            bool sound;
        } rows[] = {
            {"no DLE", "4142", 0, 2, "4142", true},
            {"two pairs", "10101010", 0, 4, "1010", true},
            {"pair before a lone DLE", "10101041", 0, 4, "101041", false},
            {"cut pair", "4110", 0, 2, "4110", false},
            {"partner beyond the range", "411010", 0, 2, "411010", false},
            {"range inside", "1010411010421010", 2, 6, "10104110421010", true},
            {"empty range", "1042", 1, 1, "1042", true},
            {"range beyond the data", "1010", -3, 9, "10", true},
        };
        for (const auto& row : rows) {
            QByteArray data = hex(row.data);
            ROW_COMPARE(row.name, DF1FoldDLE(data, row.from, row.to), row.sound);
            ROW_COMPARE(row.name, data, hex(row.folded));
        }
    }

    // Catches: an end that does not move with the bytes put in.
    void escapesOnlyInsideTheRange()
    {
        QByteArray data = hex("1041101010");
        DF1EscapeDLE(data, 1, 4);
        QCOMPARE(data, hex("10411010101010"));
        DF1EscapeDLE(data, 5, 5);
        QCOMPARE(data.size(), 7);
        DF1EscapeDLE(data, -4, 99);
        QCOMPARE(data, hex("101041101010101010101010 10"));
    }

    // Catches: a pair counted twice, a pending DLE counted, a count past wanted, a
    // frame that ends inside a pair being let through.
    void counting()
    {
        const struct
        {
            const char* data;
            int wanted, count, pos;
            bool whole;
        } rows[] = {{"10104110", 99, 2, 3, false},
                    {"104142", 99, 3, 3, true},
                    {"101041101042", 2, 2, 3, true},
                    {"411010", 99, 2, 3, true},
                    {"101010", 99, 1, 2, false},
                    {"4142", 0, 0, 0, true},
                    {"", 4, 0, 0, true}};
        for (const auto& row : rows) {
            const QByteArray data = hex(row.data);
            const int size = sizeOf(data);
            int pos = 0;
            ROW_COMPARE(row.data, DF1CountEscapedDLEData(bytesOf(data), row.wanted, size, pos),
                        row.count);
            ROW_COMPARE(row.data, pos, row.pos);
            ROW_COMPARE(row.data, DF1CheckEscapedDLEData(bytesOf(data), size), row.whole);
        }
    }

    // Catches: state lost between the pieces of a stream cut inside a pair.
    void countsAStreamInPieces()
    {
        const QByteArray data = hex("10101042101010104310");
        for (int cut = 0; cut <= data.size(); ++cut) {
            int pos = 0;
            const int first = DF1CountEscapedDLEData(bytesOf(data), cut, pos);
            const int second = DF1CountEscapedDLEData(bytesOf(data), sizeOf(data), pos);
            QCOMPARE(first + second, 6);
            QCOMPARE(pos, 9);
        }
    }
};

QTEST_APPLESS_MAIN(TestFraming)
#include "tst_framing.moc"
