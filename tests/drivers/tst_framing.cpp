#include <QtTest>

#include "drivers/df1/framing.h"
#include "support/bytes.h"

class TestFraming : public QObject
{
    Q_OBJECT

private slots:
    void frames_data();
    void frames();
    void crcTablesAgreeWithTheBitwiseCrc();
    void folding_data();
    void folding();
    void escapesOnlyInsideTheRange();
    void counting_data();
    void counting();
    void countsAStreamInPieces();
    void refusesOnlyACutPair_data();
    void refusesOnlyACutPair();
};

void TestFraming::frames_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QByteArray>("frame");

    // The checks come from a bitwise CRC outside this project; the messages named
    // after 1770-6.5.16 are that publication's own examples.
    QTest::newRow("nothing") << QByteArray() << hex("1002100340 01");
    QTest::newRow("read of N7:0") << hex("01000F000100A20207890000")
                                  << hex("100201000F000100A20207890000100362B0");
    QTest::newRow("doubled DLE, counted once by the check")
        << hex("01000F001000A20207890000") << hex("100201000F00101000A202078900001003A2E0");
    QTest::newRow("1770-6.5.16, diagnostic reply")
        << hex("08090600020403") << hex("10020809060002040310039848");
    QTest::newRow("1770-6.5.16, unprotected read")
        << hex("090001000100110002") << hex("10020900010001001100021003546F");
    QTest::newRow("check byte 10 is not doubled") << hex("C0") << hex("1002C010031001");
}

// Catches: wrong coverage of the check, a doubled or swapped check, a lost DLE.
void TestFraming::frames()
{
    QFETCH(QByteArray, message);
    QFETCH(QByteArray, frame);

    QByteArray packet = message;
    DF1ToDataLinkLayerPacket(packet);
    QCOMPARE(packet.toHex(), frame.toHex());

    packet = message;
    DF1ToDataLinkLayerPacket2(packet);
    QCOMPARE(packet.toHex(), frame.toHex());
}

// Catches: any wrong byte in the two tables, and a lost length check.
void TestFraming::crcTablesAgreeWithTheBitwiseCrc()
{
    for (int value = 0; value < 256; ++value) {
        unsigned int crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xA001 : crc >> 1;
        const unsigned char byte = static_cast<unsigned char>(value);
        QCOMPARE(static_cast<unsigned int>(DF1CRC16(&byte, 1)), crc);
    }
    const QByteArray digits("123456789");
    QCOMPARE(static_cast<int>(DF1CRC16(bytesOf(digits), 9)), 0xBB3D);
    QCOMPARE(static_cast<int>(DF1CRC16(bytesOf(digits), 0)), 0);
    QCOMPARE(static_cast<int>(DF1CRC16(bytesOf(digits), -1)), 0);
}

void TestFraming::folding_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QByteArray>("folded");
    QTest::addColumn<bool>("sound");

    QTest::newRow("two pairs") << hex("10101010") << 0 << 4 << hex("1010") << true;
    QTest::newRow("lone DLE") << hex("411042") << 0 << 3 << hex("411042") << false;
    QTest::newRow("pair before a lone DLE") << hex("10101041") << 0 << 4 << hex("101041") << false;
    QTest::newRow("cut pair") << hex("4110") << 0 << 2 << hex("4110") << false;
    QTest::newRow("partner beyond the range") << hex("411010") << 0 << 2 << hex("411010") << false;
    QTest::newRow("range inside") << hex("1010411010421010") << 2 << 6 << hex("10104110421010")
                                  << true;
    QTest::newRow("empty range") << hex("1042") << 1 << 1 << hex("1042") << true;
    QTest::newRow("range beyond the data") << hex("1010") << -3 << 9 << hex("10") << true;
}

// Catches: folding past the range or the data, and a lone DLE taken for a pair.
void TestFraming::folding()
{
    QFETCH(QByteArray, data);
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QByteArray, folded);
    QFETCH(bool, sound);

    QCOMPARE(DF1FoldDLE(data, from, to), sound);
    QCOMPARE(data.toHex(), folded.toHex());
}

// Catches: an end that does not move with the bytes put in.
void TestFraming::escapesOnlyInsideTheRange()
{
    QByteArray data = hex("1041101010");
    DF1EscapeDLE(data, 1, 4);
    QCOMPARE(data.toHex(), hex("10411010101010").toHex());
    DF1EscapeDLE(data, 5, 5);
    QCOMPARE(data.size(), 7);
    DF1EscapeDLE(data, -4, 99);
    QCOMPARE(data.toHex(), hex("101041101010101010101010 10").toHex());
}

void TestFraming::counting_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("pos");

    QTest::newRow("last DLE waits") << hex("10104110") << 99 << 2 << 3;
    QTest::newRow("lone DLE is a byte") << hex("104142") << 99 << 3 << 3;
    QTest::newRow("stops at wanted") << hex("101041101042") << 2 << 2 << 3;
    QTest::newRow("none wanted") << hex("4142") << 0 << 0 << 0;
    QTest::newRow("nothing there") << QByteArray() << 4 << 0 << 0;
}

// Catches: a pair counted twice, a pending DLE counted, a count past wanted.
void TestFraming::counting()
{
    QFETCH(QByteArray, data);
    QFETCH(int, wanted);
    QFETCH(int, count);
    QFETCH(int, pos);

    int scanned = 0;
    QCOMPARE(DF1CountEscapedDLEData(bytesOf(data), wanted, sizeOf(data), scanned), count);
    QCOMPARE(scanned, pos);
    if (wanted < count + 2)
        return;
    scanned = 0;
    QCOMPARE(DF1CountEscapedDLEData(bytesOf(data), sizeOf(data), scanned), count);
    QCOMPARE(scanned, pos);
}

// Catches: state lost between the pieces of a stream cut inside a pair.
void TestFraming::countsAStreamInPieces()
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

void TestFraming::refusesOnlyACutPair_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("sound");

    QTest::newRow("lone DLE inside") << hex("1041") << true;
    QTest::newRow("cut pair") << hex("4110") << false;
    QTest::newRow("whole pair") << hex("411010") << true;
    QTest::newRow("pair and a cut one") << hex("101010") << false;
    QTest::newRow("nothing") << QByteArray() << true;
}

// Catches: a frame that ends inside a pair being let through.
void TestFraming::refusesOnlyACutPair()
{
    QFETCH(QByteArray, data);
    QFETCH(bool, sound);
    QCOMPARE(DF1CheckEscapedDLEData(bytesOf(data), sizeOf(data)), sound);
}

QTEST_APPLESS_MAIN(TestFraming)
#include "tst_framing.moc"
