#include <QtTest>

#include "drivers/tools/checksums.h"
#include "support/bytes.h"

class TestChecksums : public QObject
{
    Q_OBJECT

private slots:
    void blocks_data();
    void blocks();
};

void TestChecksums::blocks_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("sum8");
    QTest::addColumn<int>("sum16");
    QTest::addColumn<int>("xored");
    QTest::addColumn<int>("crc");

    QTest::newRow("digits") << QByteArray("123456789") << 9 << 0xDD << 0x01DD << 0x31 << 0xBB3D;
    QTest::newRow("carry out of a byte") << hex("FF02") << 2 << 0x01 << 0x0101 << 0xFD << 0x31C0;
    QTest::newRow("carry out of 16 bits")
        << QByteArray(300, '\xFF') << 300 << 0xD4 << 0x2AD4 << 0x00 << 0xEB55;
    QTest::newRow("only the length given") << hex("010203") << 1 << 1 << 1 << 1 << 0xC0C1;
    QTest::newRow("no length") << hex("FF") << 0 << 0 << 0 << 0 << 0;
    QTest::newRow("negative length") << QByteArray() << -1 << 0 << 0 << 0 << 0;
}

// Catches: signed bytes, bytes paired into words, a lost carry, a read past the length.
void TestChecksums::blocks()
{
    QFETCH(QByteArray, data);
    QFETCH(int, length);
    const unsigned char* const bytes = length > 0 ? bytesOf(data) : 0;

    QTEST(static_cast<int>(UInt8CheckSum(bytes, length)), "sum8");
    QTEST(static_cast<int>(UShortCheckSum(bytes, length)), "sum16");
    QTEST(static_cast<int>(XorUInt8CheckSum(bytes, length)), "xored");
    QTEST(static_cast<int>(CRC16Calculate(bytes, length)), "crc");
}

QTEST_APPLESS_MAIN(TestChecksums)
#include "tst_checksums.moc"
