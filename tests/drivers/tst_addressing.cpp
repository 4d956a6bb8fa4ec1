#include <QtTest>

#include <climits>
#include <random>

#include "drivers/df1/addressing.h"
#include "support/bytes.h"
#include "support/rows.h"

namespace {

/// Bits of one word of every element, each looked up by itself.
QByteArray modelOf(const QByteArray& image, int word, int first, int step, int count)
{
    QByteArray packed((first + count + 7) / 8, '\0');
    for (int i = 0; i < count; ++i) {
        const int bit = first + step * i;
        const int on = image.at(bit / 16 * 6 + word + bit % 16 / 8) >> (bit % 8) & 1;
        packed[i / 8] = static_cast<char>(packed.at(i / 8) | (on << (i % 8)));
    }
    return packed;
}

}

class TestAddressing : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a command for another file than the address names, a letter that
    // got a type by accident.
    void fileNames()
    {
        // Type and number.
        const char* const rows[][2] = {{"O5", "8200"},   {"o", "8200"},    {"I9", "8301"},
                                       {"i", "8301"},    {"S", "8400"},    {"ST9", "8400"},
                                       {"b003", "8503"}, {"T4", "8604"},   {"C5", "8705"},
                                       {"R6", "8806"},   {"N7", "8907"},   {"F8", "8A08"},
                                       {"N255", "89FF"}, {"N300", "892C"}, {"N99999999999", "8900"},
                                       {"L9", "00FF"},   {"", "00FF"},     {"\xCEx", "00FF"}};
        for (const auto& row : rows) {
            const unsigned char found[] = {DF1GetFileType(row[0]), DF1GetFileNo(row[0])};
            ROW_COMPARE(row[0], QByteArray(reinterpret_cast<const char*>(found), 2), hex(row[1]));
        }
        int known = 0;
        for (int letter = 0; letter < 256; ++letter)
            known += DF1GetFileType(QByteArray(1, static_cast<char>(letter))) != 0 ? 1 : 0;
        QCOMPARE(known, 18);
    }

    // Catches: a status bit or word read or written in place of the one that was
    // named, a name half compared.
    void mnemonics()
    {
        // Bits of a timer, a counter and a control, word.
        const char* const rows[][2] = {
            {"EN", "15 -1 15 255"}, {"enable", "15 -1 15 255"}, {"E", "13 -1 11 255"},
            {"eu", "13 -1 14 255"}, {"Em", "13 -1 12 255"},     {"ER", "13 -1 11 255"},
            {"tT", "14 -1 -1 255"}, {"T", "13 -1 -1 255"},      {"dn", "13 13 13 255"},
            {"cu", "13 15 -1 255"}, {"CD", "13 14 -1 255"},     {"C", "13 14 -1 255"},
            {"ov", "13 12 -1 255"}, {"Un", "13 11 10 255"},     {"UA", "13 10 10 255"},
            {"u", "13 10 10 255"},  {"in", "13 -1 9 255"},      {"fd", "13 -1 8 255"},
            {"XY", "13 -1 -1 255"}, {"", "13 -1 -1 255"},       {"preset", "13 -1 -1 1"},
            {"Len", "13 -1 -1 1"},  {"acc", "13 -1 -1 2"},      {"pos", "13 -1 -1 2"},
            {"PR", "13 -1 -1 255"}, {"ACX", "13 -1 -1 255"},    {"LE", "13 -1 -1 255"},
            {"PO", "13 -1 -1 255"}, {"AC", "13 -1 -1 255"}};
        for (const auto& row : rows)
            ROW_COMPARE(row[0],
                        QString("%1 %2 %3 %4")
                            .arg(DF1GetT4MnemonicBitNum(row[0]))
                            .arg(DF1GetC5MnemonicBitNum(row[0]))
                            .arg(DF1GetR6MnemonicBitNum(row[0]))
                            .arg(int(DF1WordNameToSubElementNo(row[0]))),
                        row[1]);
    }

    // Catches: a result of another length, an image read, or memory taken, for bits
    // that nobody can have; an image read past the last word that is needed.
    void extractsNothing()
    {
        QCOMPARE(DF1ExtractC5_MnemonicBits(0, "XY", 8), hex("00"));
        QCOMPARE(DF1ExtractR6_Mnemonic_Bits(0, "XY", 9), hex("0000"));
        QCOMPARE(DF1ExtractC5_MnemonicBits(0, "XY", -9), QByteArray());
        QCOMPARE(DF1ExtractT4_MnemonicBits(0, "DN", 0), hex("0000"));
        QCOMPARE(DF1ExtractT4_C5_R6_Bits(0, 13, -5), hex("00"));
        QCOMPARE(DF1ExtractT4_C5_R6_Bits(0, 65535, INT_MIN), QByteArray());
        QCOMPARE(DF1ExtractT4_PRE_Bits(0, -3, 9), hex("0000"));
        QCOMPARE(DF1ExtractT4_ACC_Bits(0, INT_MIN, INT_MIN), QByteArray());
        QCOMPARE(DF1ExtractT4_MnemonicBits(bytesOf(hex("0020")), "DN", 1), hex("0100"));
    }

    // Catches: a byte, word or element picked wrongly at any position, and a read
    // past the last element (under the address sanitizer).
    void agreesWithTheSlowWay()
    {
        std::mt19937 random(20240607);
        for (int round = 0; round < 500; ++round) {
            const int count = 1 + static_cast<int>(random() % 60);
            const int first = static_cast<int>(random() % 60);
            QByteArray image;
            while (image.size() < 6 * qMax(count, (first + count + 15) / 16))
                image += static_cast<char>(random());
            const unsigned char* const b = bytesOf(image);
            const unsigned short start = static_cast<unsigned short>(first);
            QCOMPARE(DF1ExtractT4_C5_R6_Bits(b, start, count), modelOf(image, 0, first, 1, count));
            QCOMPARE(DF1ExtractT4_PRE_Bits(b, first, count), modelOf(image, 2, first, 1, count));
            QCOMPARE(DF1ExtractT4_ACC_Bits(b, first, count), modelOf(image, 4, first, 1, count));
            QCOMPARE(DF1ExtractT4_MnemonicBits(b, "TT", count), modelOf(image, 0, 14, 16, count));
            QCOMPARE(DF1ExtractC5_MnemonicBits(b, "UN", count), modelOf(image, 0, 11, 16, count));
            QCOMPARE(DF1ExtractR6_Mnemonic_Bits(b, "FD", count), modelOf(image, 0, 8, 16, count));
        }
    }

    // Catches: control bits that run past bit 65535, preset bits that don't.
    void wrapsControlBitsOnly()
    {
        QByteArray image(6 * 4097, '\0');
        image[0] = '\x02';
        image[6 * 4095 + 1] = '\x80';
        image[6 * 4096 + 2] = '\x04';
        QCOMPARE(DF1ExtractT4_C5_R6_Bits(bytesOf(image), 65535, 3).left(2), hex("0500"));
        QCOMPARE(DF1ExtractT4_PRE_Bits(bytesOf(image), 65535, 4).left(2), hex("0800"));
    }
};

QTEST_APPLESS_MAIN(TestAddressing)
#include "tst_addressing.moc"
