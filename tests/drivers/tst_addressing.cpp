#include <QtTest>

#include <climits>
#include <random>

#include "drivers/df1/addressing.h"
#include "support/bytes.h"

namespace {

/// Bits of one word of every element, by the slow way: a text of all of them, one
/// character a bit, and what is asked for cut out of it.
QByteArray modelOf(const QByteArray& image, int word, int first, int step, int count)
{
    QByteArray all;
    for (int at = word; at < image.size(); at += 6) {
        const int value = bytesOf(image)[at] + 256 * bytesOf(image)[at + 1];
        for (int bit = 0; bit < 16; ++bit)
            all += (value & (1 << bit)) != 0 ? '1' : '0';
    }
    QByteArray packed;
    while (8 * packed.size() < first + count)
        packed += '\0';
    for (int i = 0; i < count; ++i) {
        const int weight = all.at(first + step * i) == '1' ? 1 << (i % 8) : 0;
        packed[i / 8] = static_cast<char>(packed.at(i / 8) + weight);
    }
    return packed;
}

}

class TestAddressing : public QObject
{
    Q_OBJECT

private slots:
    void fileNames_data();
    void fileNames();
    void knowsNineLetters();
    void mnemonics_data();
    void mnemonics();
    void wordNames_data();
    void wordNames();
    void extraction_data();
    void extraction();
    void agreesWithTheSlowWay();
    void wrapsControlBitsOnly();
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

void TestAddressing::mnemonics_data()
{
    QTest::addColumn<QByteArray>("mnemonic");
    QTest::addColumn<int>("timer");
    QTest::addColumn<int>("counter");
    QTest::addColumn<int>("control");

    QTest::newRow("EN") << QByteArray("EN") << 15 << -1 << 15;
    QTest::newRow("en") << QByteArray("en") << 15 << -1 << 15;
    QTest::newRow("Enable") << QByteArray("Enable") << 15 << -1 << 15;
    QTest::newRow("E alone") << QByteArray("E") << 13 << -1 << 11;
    QTest::newRow("ER") << QByteArray("ER") << 13 << -1 << 11;
    QTest::newRow("eu") << QByteArray("eu") << 13 << -1 << 14;
    QTest::newRow("Em") << QByteArray("Em") << 13 << -1 << 12;
    QTest::newRow("EL") << QByteArray("EL") << 13 << -1 << 11;
    QTest::newRow("EV") << QByteArray("EV") << 13 << -1 << 11;
    QTest::newRow("EN behind a zero") << QByteArray("E\0N", 3) << 13 << -1 << 11;
    QTest::newRow("tT") << QByteArray("tT") << 14 << -1 << -1;
    QTest::newRow("T alone") << QByteArray("T") << 13 << -1 << -1;
    QTest::newRow("dn") << QByteArray("dn") << 13 << 13 << 13;
    QTest::newRow("cu") << QByteArray("cu") << 13 << 15 << -1;
    QTest::newRow("CD") << QByteArray("CD") << 13 << 14 << -1;
    QTest::newRow("C alone") << QByteArray("C") << 13 << 14 << -1;
    QTest::newRow("ov") << QByteArray("ov") << 13 << 12 << -1;
    QTest::newRow("Un") << QByteArray("Un") << 13 << 11 << 10;
    QTest::newRow("UA") << QByteArray("UA") << 13 << 10 << 10;
    QTest::newRow("u alone") << QByteArray("u") << 13 << 10 << 10;
    QTest::newRow("in") << QByteArray("in") << 13 << -1 << 9;
    QTest::newRow("fd") << QByteArray("fd") << 13 << -1 << 8;
    QTest::newRow("XY") << QByteArray("XY") << 13 << -1 << -1;
    QTest::newRow("nothing") << QByteArray() << 13 << -1 << -1;
}

// Catches: a status bit read or written in place of the one that was named.
void TestAddressing::mnemonics()
{
    QFETCH(QByteArray, mnemonic);
    QFETCH(int, timer);
    QFETCH(int, counter);
    QFETCH(int, control);
    QCOMPARE(DF1GetT4MnemonicBitNum(mnemonic), timer);
    QCOMPARE(DF1GetC5MnemonicBitNum(mnemonic), counter);
    QCOMPARE(DF1GetR6MnemonicBitNum(mnemonic), control);
}

void TestAddressing::wordNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("subElement");

    QTest::newRow("preset") << QByteArray("preset") << 1;
    QTest::newRow("Len") << QByteArray("Len") << 1;
    QTest::newRow("ACC") << QByteArray("ACC") << 2;
    QTest::newRow("pos") << QByteArray("pos") << 2;
    QTest::newRow("too short") << QByteArray("PR") << 255;
    QTest::newRow("last letter differs") << QByteArray("ACX") << 255;
    QTest::newRow("nothing") << QByteArray() << 255;
}

// Catches: a preset written in place of an accumulator, a name half compared.
void TestAddressing::wordNames()
{
    QFETCH(QByteArray, name);
    QFETCH(int, subElement);
    QCOMPARE(static_cast<int>(DF1WordNameToSubElementNo(name)), subElement);
}

void TestAddressing::extraction_data()
{
    QTest::addColumn<QByteArray>("extracted");
    QTest::addColumn<QByteArray>("bits");

    // Control words, then presets, then accumulators of two elements.
    const QByteArray elements = hex("00C0 0180 0300 0100 0200 0040");
    const unsigned char* const image = bytesOf(elements);
    QTest::newRow("control words")
        << DF1ExtractT4_C5_R6_Bits(image, 14, 4) << hex("070000"); // 1, 1, 1, 0
    QTest::newRow("presets") << DF1ExtractT4_PRE_Bits(image, 15, 3) << hex("050000");
    QTest::newRow("accumulators") << DF1ExtractT4_ACC_Bits(image, 1, 30) << hex("01000020");
    QTest::newRow("one DN in two bytes")
        << DF1ExtractT4_MnemonicBits(bytesOf(hex("0020")), "DN", 1) << hex("0100");
    QTest::newRow("timers' EN") << DF1ExtractT4_MnemonicBits(image, "EN", 2) << hex("010000");
    QTest::newRow("counters' CD") << DF1ExtractC5_MnemonicBits(image, "CD", 2) << hex("0100");
    QTest::newRow("controls' EU") << DF1ExtractR6_Mnemonic_Bits(image, "EU", 2) << hex("0100");

    QTest::newRow("no such counter bit, 8") << DF1ExtractC5_MnemonicBits(0, "XY", 8) << hex("00");
    QTest::newRow("no such control bit, 9")
        << DF1ExtractR6_Mnemonic_Bits(0, "XY", 9) << hex("0000");
    QTest::newRow("no such bit, none") << DF1ExtractC5_MnemonicBits(0, "XY", 0) << QByteArray();
    QTest::newRow("no such bit, fewer") << DF1ExtractC5_MnemonicBits(0, "XY", -9) << QByteArray();
    QTest::newRow("no bits") << DF1ExtractT4_MnemonicBits(0, "DN", 0) << hex("0000");
    QTest::newRow("fewer than none") << DF1ExtractT4_C5_R6_Bits(0, 13, -5) << hex("00");
    QTest::newRow("fewest") << DF1ExtractT4_C5_R6_Bits(0, 65535, INT_MIN) << QByteArray();
    QTest::newRow("before the image") << DF1ExtractT4_PRE_Bits(0, -3, 9) << hex("0000");
    QTest::newRow("far before it") << DF1ExtractT4_ACC_Bits(0, INT_MIN, INT_MIN) << QByteArray();
}

// Catches: bits of the neighbouring word or element, a result of another length,
// an image read, or memory taken, for bits that nobody can have.
void TestAddressing::extraction()
{
    QFETCH(QByteArray, extracted);
    QFETCH(QByteArray, bits);
    QCOMPARE(extracted.toHex(), bits.toHex());
}

// Catches: a byte, word or element picked wrongly at any position, and a read
// past the last element (under the address sanitizer).
void TestAddressing::agreesWithTheSlowWay()
{
    std::mt19937 random(20240607);
    for (int round = 0; round < 500; ++round) {
        const int count = 1 + static_cast<int>(random() % 60);
        const int first = static_cast<int>(random() % 60);
        QByteArray image;
        while (image.size() < 6 * qMax(count, (first + count + 15) / 16))
            image += static_cast<char>(random());
        const unsigned char* const bytes = bytesOf(image);

        QCOMPARE(DF1ExtractT4_C5_R6_Bits(bytes, static_cast<unsigned short>(first), count),
                 modelOf(image, 0, first, 1, count));
        QCOMPARE(DF1ExtractT4_PRE_Bits(bytes, first, count), modelOf(image, 2, first, 1, count));
        QCOMPARE(DF1ExtractT4_ACC_Bits(bytes, first, count), modelOf(image, 4, first, 1, count));
        QCOMPARE(DF1ExtractT4_MnemonicBits(bytes, "TT", count), modelOf(image, 0, 14, 16, count));
        QCOMPARE(DF1ExtractC5_MnemonicBits(bytes, "UN", count), modelOf(image, 0, 11, 16, count));
        QCOMPARE(DF1ExtractR6_Mnemonic_Bits(bytes, "FD", count), modelOf(image, 0, 8, 16, count));
    }
}

// Catches: control bits that run past bit 65535, preset bits that don't.
void TestAddressing::wrapsControlBitsOnly()
{
    QByteArray image(6 * 4097, '\0');
    image[0] = '\x02';
    image[6 * 4095 + 1] = '\x80';
    image[6 * 4096 + 2] = '\x04';
    QCOMPARE(DF1ExtractT4_C5_R6_Bits(bytesOf(image), 65535, 3).left(2).toHex(),
             hex("0500").toHex());
    QCOMPARE(DF1ExtractT4_PRE_Bits(bytesOf(image), 65535, 4).left(2).toHex(), hex("0800").toHex());
}

QTEST_APPLESS_MAIN(TestAddressing)
#include "tst_addressing.moc"
