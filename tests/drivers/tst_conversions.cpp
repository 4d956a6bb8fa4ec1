#include <QtTest>

#include <climits>
#include <random>

#include "drivers/tools/conversions.h"
#include "support/bytes.h"
#include "support/rows.h"

namespace {

/// A number from 0 up to, not including, @p limit.
int randomBelow(unsigned int limit)
{
    static std::mt19937 engine;
    return static_cast<int>(engine() % limit);
}

QByteArray randomBytes(int count)
{
    QByteArray data;
    while (data.size() < count)
        data.append(static_cast<char>(randomBelow(256)));
    return data;
}

template <typename Value>
void checkBitsInAnInteger(Value value)
{
    for (int i = 0; i <= 70; ++i) {
        const unsigned short n = i < 70 ? static_cast<unsigned short>(i) : 65535;
        // 64 bits hold every width; a bit beyond the value's own is cut off.
        const quint64 mask = n < sizeof(Value) * 8 ? static_cast<quint64>(1) << n : 0;
        const Value set = setBit(value, n);
        const Value cleared = clearBit(value, n);
        QCOMPARE(set, static_cast<Value>(value | mask));
        QCOMPARE(cleared, static_cast<Value>(value & ~mask));
        QCOMPARE(getBit(value, n), (value & mask) != 0);
    }
}

}

class TestConversions : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a bit beyond the width wrapping round, a neighbour touched.
    void bitsInAnInteger()
    {
        checkBitsInAnInteger<unsigned char>(0xA5);
        checkBitsInAnInteger<unsigned short>(0xA5C3);
        checkBitsInAnInteger<unsigned int>(0xA5C30F96);
    }

    // Catches: bits counted from the wrong end, neighbours changed on the way, a write
    // or read outside the array, growth by other than one byte.
    void bitsInABuffer()
    {
        const QByteArray data = randomBytes(5);
        for (int i = 0; i < 80; ++i) {
            const int p = i / 2, before = data.at(p / 8), weight = 1 << (p % 8);
            const bool on = i % 2 != 0;
            QCOMPARE(getBit(data, p), (before & weight) != 0);
            QCOMPARE(getBit(bytesOf(data), p), (before & weight) != 0);
            QByteArray expected = data, array = data, buffer = data;
            expected[p / 8] = static_cast<char>(on ? before | weight : before & ~weight);
            setBit(array, p, on);
            QCOMPARE(array, expected);
            setBit(bytesOf(buffer), p, on);
            QCOMPARE(buffer, expected);
        }
        QByteArray bits = hex("FF");
        setBit(bits, 10, true);
        QCOMPARE(bits, hex("FF04"));
        setBit(bits, 16, false);
        const int outside[] = {-1, -8, INT_MIN, 32, INT_MAX};
        for (int p : outside) {
            setBit(bits, p, true);
            QCOMPARE(bits, hex("FF0400"));
            QVERIFY(!getBit(bits, p));
        }
        QVERIFY(!getBit(QByteArray::fromRawData("\xFF\xFF", 1), 8));
    }

    // Catches: a swapped byte, a sign extended from a lone byte, a read past the end.
    void integers()
    {
        const struct
        {
            const char* bytes;
            int asInt, asWord, asShort;
        } rows[] = {{"", 0, 0, 0},
                    {"FF", 255, 255, 255},
                    {"FEFF", 0xFFFE, 0xFFFE, -2},
                    {"010203", 0x030201, 0x0201, 0x0201},
                    {"01020384", -0x7BFCFDFF, 0x0201, 0x0201},
                    {"7856341299", 0x12345678, 0x5678, 0x5678}};
        for (const auto& row : rows) {
            const QByteArray bytes = hex(row.bytes), filled = bytes + hex("00000000");
            const unsigned short word = static_cast<unsigned short>(row.asWord);
            ROW_COMPARE(row.bytes, QByteArrayToInt(bytes), row.asInt);
            ROW_COMPARE(row.bytes, QByteArrayToWord(bytes), row.asWord);
            ROW_COMPARE(row.bytes, QByteArrayToShort(bytes), row.asShort);
            ROW_COMPARE(row.bytes, intToByteArray(row.asInt), filled.left(4));
            ROW_COMPARE(row.bytes, wordToByteArray(word), filled.left(2));
            ROW_COMPARE(row.bytes, shortToByteArray(static_cast<short>(word)), filled.left(2));
            QByteArray appended = hex("AA");
            appendBigEndianUShort(appended, word);
            ROW_COMPARE(row.bytes, appended, hex("AA") + filled.at(1) + filled.at(0));
        }
    }

    // Catches: a lost or doubled padding, a swap across values, an argument changed,
    // a size that is negative or wraps round.
    void wholeArrays()
    {
        const QByteArray eight = hex("0102030405060708"), seven = eight.left(7);
        QCOMPARE(fromBigEndianUShortArray(bytesOf(eight), 2), hex("02010403"));
        QCOMPARE(fromBigEndianULongArray(bytesOf(eight), 2), hex("0403020108070605"));
        QCOMPARE(fromBigEndianUShortArray(bytesOf(eight), 1), hex("0201"));
        const int counts[] = {0, -1, INT_MIN, INT_MAX, 0x40000001};
        for (int count : counts) {
            QVERIFY(fromBigEndianUShortArray(bytesOf(eight), count).isEmpty());
            QVERIFY(fromBigEndianULongArray(bytesOf(eight), count).isEmpty());
        }
        QByteArray words = seven, doubleWords = seven;
        toLittleEndianUShortArray(words);
        QCOMPARE(words, hex("02010403060507"));
        toLittleEndianULongArray(doubleWords);
        QCOMPARE(doubleWords, hex("04030201050607"));
        QCOMPARE(toBigEndianUShortArray(seven), hex("0201040306050007"));
        QCOMPARE(toBigEndianULongArray(seven), hex("0403020100070605"));
        QCOMPARE(reverseArray(seven), hex("07060504030201"));
        QCOMPARE(seven, hex("01020304050607"));
        for (int size = 0; size <= 17; ++size) {
            const QByteArray data(size, '\xEE'), padded = data + QByteArray(7, '\0');
            QCOMPARE(To16bitsData(data), padded.left((size + 1) / 2 * 2));
            QCOMPARE(To32bitsData(data), padded.left((size + 3) / 4 * 4));
            QCOMPARE(To64bitsData(data), padded.left((size + 7) / 8 * 8));
        }
    }

    // Catches: a wrong unit, bits rounded down, a host's own size taken for the length.
    void fittingARequest()
    {
        struct : CommunicatorCommand
        {
            int getDataSize() const override { return 77; }
        } command;
        // Type, count, length.
        const int rows[][3] = {{0, 3, 1}, {1, 3, 3},  {2, 3, 6}, {3, 3, 12}, {4, 3, 24},
                               {5, 3, 3}, {6, 3, 1},  {7, 3, 0}, {-1, 3, 0}, {0, 0, 0},
                               {0, 9, 2}, {6, 16, 2}, {2, 0, 0}};
        for (const auto& row : rows) {
            const QByteArray name = "type " + QByteArray::number(row[0]), zeros(24, '\0');
            command.type = row[0];
            command.count = row[1];
            ROW_COMPARE(name, GetSafeDataLen(command), row[2]);
            for (int size = 0; size < 30; ++size) {
                const QByteArray data(size, '\xEE');
                ROW_COMPARE(name, ToSafeData(command, data), (data + zeros).left(row[2]));
            }
        }
        command.type = 0;
        command.count = -1;
        QCOMPARE(GetSafeDataLen(command), 0x20000000);
        command.type = 4;
        QVERIFY(ToSafeData(command, hex("0102")).isEmpty());
        command.count = INT_MAX;
        QCOMPARE(GetSafeDataLen(command), INT_MAX);
    }

    // Catches: rounding down, and a rounding that overflows near the largest count.
    void counting()
    {
        const unsigned int values[] = {0,  1,  2,  3,  4,  7,          8,          9,         15,
                                       16, 17, 31, 32, 33, 0x7FFFFFFF, 0xFFFFFFF0, 0xFFFFFFFF};
        for (unsigned int offset : values) {
            for (unsigned int count : values) {
                const quint64 bits = quint32(offset + count), bytes = count;
                QCOMPARE(quint64(NumOfBitsToNumOfBytes(offset, count)), (bits + 7) / 8);
                QCOMPARE(quint64(NumOfBitsToNumOfWords(offset, count)), (bits + 15) / 16);
                QCOMPARE(quint64(NumOfBitsToNumOfDWords(offset, count)), (bits + 31) / 32);
                QCOMPARE(quint64(NumOfBytesToNumOfWords(count)), (bytes + 1) / 2);
                QCOMPARE(quint64(NumOfBytesToNumOfDWords(count)), (bytes + 3) / 4);
                QCOMPARE(quint64(NumOfBytesToNumOfQuadWords(count)), (bytes + 7) / 8);
            }
        }
    }

    // Catches: a size rounded down, new bytes not zero, a neighbouring byte cleared.
    void shapingBits()
    {
        // Bits, count, fitted, cleared.
        const char* const rows[][4] = {{"FFFFFF", "16", "FFFF", "FFFFFF"},
                                       {"FFFFFF", "9", "FFFF", "FF01FF"},
                                       {"FFFFFF", "17", "FFFFFF", "FFFF01"},
                                       {"FF", "7", "FF", "7F"},
                                       {"FF", "9", "FF00", "FF00"},
                                       {"FF", "17", "FF0000", "FF"},
                                       {"FF", "0", "", "FF"},
                                       {"FF", "-3", "", "FF"},
                                       {"FF", "-2147483648", "", "FF"}};
        for (const auto& row : rows) {
            const int count = QByteArray(row[1]).toInt();
            QByteArray fitted = hex(row[0]), cleared = fitted;
            FitBitArray(fitted, count);
            ROW_COMPARE(row[1], fitted, hex(row[2]));
            clearUnnecessaryBits(cleared, count);
            ROW_COMPARE(row[1], cleared, hex(row[3]));
        }
    }

    // Catches: a start off by one, bytes other than 0 and 1, a read or a write past the end.
    void expandsBits()
    {
        const QByteArray data = randomBytes(4);
        for (unsigned short first = 0; first < 40; ++first) {
            QByteArray expected;
            for (int count = 0; count < 50; ++count) {
                const QByteArray expanded = ExpandBitsToBytes(data, first, count);
                QCOMPARE(expanded, expected);
                QCOMPARE(expanded.constData()[count], '\0');
                expected.append(getBit(data, first + count) ? '\1' : '\0');
            }
        }
        QVERIFY(ExpandBitsToBytes(data, 0, INT_MIN).isEmpty());
        QCOMPARE(ExpandBitsToBytes(data, 65535, 3), QByteArray(3, '\0'));
    }

    // Catches: bits lost at a byte's edge, neighbours changed, a source changed,
    // growth without end, positions that wrap round.
    void copiesBits()
    {
        for (int i = 0; i < 2000; ++i) {
            QByteArray source = randomBytes(1 + randomBelow(10)),
                       dest = randomBytes(randomBelow(8));
            const QByteArray before = source + QByteArray();
            const int first = randomBelow(8 * sizeOf(dest) + 1);
            const int count = randomBelow(8 * sizeOf(source) + 1);
            QByteArray expected = dest.leftJustified((first + count + 7) / 8, '\0');
            for (int p = 0; p < count; ++p)
                setBit(expected, first + p, getBit(before, p));
            CopyBits(dest, source, first, count);
            QCOMPARE(dest, expected);
            QCOMPARE(source, before);
        }
        QByteArray source = hex("FF"), zeros = hex("00"), dest = hex("00");
        CopyBits(dest, source, 0, INT_MAX);
        QCOMPARE(dest, hex("FF00"));
        CopyBits(dest, source, 12, INT_MIN);
        CopyBits(dest, zeros, -4, 8);
        CopyBits(dest, source, 24, 8);
        CopyBits(dest, source, INT_MAX, INT_MAX);
        QCOMPARE(dest, hex("FF00"));
    }

    // Catches: bits lost between bytes for any place and length, the bytes that moved
    // to the end shifted too, a shift outside the array.
    void shiftsLikeTheModel()
    {
        for (int length = 0; length <= 7; ++length) {
            const QByteArray before = randomBytes(length);
            for (int n = -1; n <= 8 * length + 8; ++n) {
                const int places = n < 0 || n >= 8 * length ? 0 : n, moved = places / 8;
                QByteArray data = before;
                QByteArray expected = QByteArray(length - moved, '\0') + before.left(moved);
                for (int p = places; p < 8 * length; ++p)
                    setBit(expected, p - places, getBit(before, p));
                RightShiftNBits(data, n);
                QCOMPARE(data.toHex(), expected.toHex());
            }
        }
    }

    // Catches: head and tail mixed up, an element left behind, bytes around touched.
    void rotates()
    {
        for (int head = -1; head < 9; ++head) {
            for (int tail = -1; tail < 9; ++tail) {
                QByteArray data = "<abcdefghijklmnopqrst", expected = data;
                const auto from = expected.begin() + 1;
                if (head > 0 && tail > 0)
                    std::rotate(from, from + head, from + head + tail);
                RotateArray(bytesOf(data) + 1, head, tail);
                QCOMPARE(data, expected);
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestConversions)
#include "tst_conversions.moc"
