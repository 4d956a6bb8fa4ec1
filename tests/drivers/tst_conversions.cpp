#include <QtTest>

#include <climits>
#include <random>
#include <vector>

#include "drivers/tools/conversions.h"
#include "support/bytes.h"

namespace {

typedef std::vector<bool> Bits;

Bits bitsOf(const QByteArray& bytes)
{
    Bits bits;
    for (int i = 0; i < bytes.size(); ++i) {
        for (int bit = 1; bit < 256; bit *= 2)
            bits.push_back((bytes.at(i) & bit) != 0);
    }
    return bits;
}

QByteArray bytesOf(const Bits& bits)
{
    QByteArray bytes;
    for (size_t from = 0; from < bits.size(); from += 8) {
        int byte = 0;
        for (size_t i = 0; i < 8; ++i)
            byte += bits[from + i] ? 1 << i : 0;
        bytes.append(static_cast<char>(byte));
    }
    return bytes;
}

class Random
{
public:
    /// A number from 0 up to, not including, @p limit.
    int below(int limit) { return static_cast<int>(m_engine() % static_cast<unsigned int>(limit)); }

    QByteArray bytes(int count)
    {
        QByteArray data;
        for (int i = 0; i < count; ++i)
            data.append(static_cast<char>(m_engine()));
        return data;
    }

private:
    std::mt19937 m_engine;
};

template <typename Value>
void checkBitsInAnInteger(Value value)
{
    const unsigned short width = sizeof(Value) * 8;
    for (unsigned short n = 0; n < 70; ++n) {
        // 64 bits hold every width; a bit beyond the value's own is cut off.
        const quint64 mask = n < width ? static_cast<quint64>(1) << n : 0;
        const Value set = setBit(value, n);
        const Value cleared = clearBit(value, n);
        QCOMPARE(set, static_cast<Value>(value | mask));
        QCOMPARE(cleared, static_cast<Value>(value & ~mask));
        QCOMPARE(getBit(value, n), (value & mask) != 0);
    }
    QCOMPARE(setBit(value, 65535), value);
    QCOMPARE(clearBit(value, 65535), value);
    QVERIFY(!getBit(value, 65535));
}

typedef QByteArray (*Conversion)(const QByteArray&);

QByteArray littleEndianUShorts(const QByteArray& data)
{
    QByteArray values = data;
    toLittleEndianUShortArray(values);
    return values;
}

QByteArray littleEndianULongs(const QByteArray& data)
{
    QByteArray values = data;
    toLittleEndianULongArray(values);
    return values;
}

template <QByteArray (*Function)(const unsigned char*, int), int Width>
QByteArray fromPointer(const QByteArray& data)
{
    return Function(bytesOf(data), static_cast<int>(data.size()) / Width);
}

}

Q_DECLARE_METATYPE(Conversion)

class TestConversions : public QObject
{
    Q_OBJECT

private slots:
    void bitsInAnInteger();
    void bitsInABuffer();
    void bitsBeyondTheArray();
    void integers_data();
    void integers();
    void wholeArrays_data();
    void wholeArrays();
    void wholeArraysRefuseBadCounts();
    void fittingARequest_data();
    void fittingARequest();
    void counting_data();
    void counting();
    void shapingBits_data();
    void shapingBits();
    void expandsBits();
    void copiesBits();
    void copiesOnlyWhatIsThere();
    void shiftsToTheRight_data();
    void shiftsToTheRight();
    void shiftsLikeTheModel();
    void rotates();
};

// Catches: a bit beyond the width wrapping round, a neighbour touched.
void TestConversions::bitsInAnInteger()
{
    checkBitsInAnInteger<unsigned char>(0xA5);
    checkBitsInAnInteger<unsigned short>(0xA5C3);
    checkBitsInAnInteger<unsigned int>(0xA5C30F96);
}

// Catches: bits counted from the wrong end, and neighbours changed on the way.
void TestConversions::bitsInABuffer()
{
    Random random;
    const QByteArray data = random.bytes(5);
    const Bits before = bitsOf(data);
    for (int p = 0; p < 40; ++p) {
        QCOMPARE(getBit(data, p), static_cast<bool>(before[p]));
        QCOMPARE(getBit(bytesOf(data), p), static_cast<bool>(before[p]));
        for (int on = 0; on < 2; ++on) {
            Bits expected = before;
            expected[p] = on != 0;
            QByteArray array = data;
            setBit(array, p, on != 0);
            QCOMPARE(array, bytesOf(expected));
            QByteArray buffer = data;
            setBit(bytesOf(buffer), p, on != 0);
            QCOMPARE(buffer, bytesOf(expected));
        }
    }
}

// Catches: a write or read outside the array, and growth by other than one byte.
void TestConversions::bitsBeyondTheArray()
{
    QByteArray bits = hex("FF");
    setBit(bits, 10, true);
    QCOMPARE(bits.toHex(), hex("FF04").toHex());
    setBit(bits, 16, false);
    QCOMPARE(bits.toHex(), hex("FF0400").toHex());
    const int outside[] = {-1, -8, INT_MIN, 32, INT_MAX};
    for (int p : outside) {
        setBit(bits, p, true);
        QCOMPARE(bits.toHex(), hex("FF0400").toHex());
        QVERIFY(!getBit(bits, p));
    }
    QVERIFY(!getBit(QByteArray::fromRawData("\xFF\xFF", 1), 8));
    QVERIFY(!getBit(QByteArray(), 0));
}

void TestConversions::integers_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("asInt");
    QTest::addColumn<int>("asWord");
    QTest::addColumn<int>("asShort");

    QTest::newRow("none") << QByteArray() << 0 << 0 << 0;
    QTest::newRow("one") << hex("FF") << 255 << 255 << 255;
    QTest::newRow("two") << hex("FEFF") << 0xFFFE << 0xFFFE << -2;
    QTest::newRow("three") << hex("010203") << 0x030201 << 0x0201 << 0x0201;
    QTest::newRow("four, signed") << hex("01020384") << -0x7BFCFDFF << 0x0201 << 0x0201;
    QTest::newRow("more") << hex("7856341299") << 0x12345678 << 0x5678 << 0x5678;
}

// Catches: a swapped byte, a sign extended from a lone byte, a read past the end.
void TestConversions::integers()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, asInt);
    QFETCH(int, asWord);
    QFETCH(int, asShort);

    QCOMPARE(QByteArrayToInt(bytes), asInt);
    QCOMPARE(static_cast<int>(QByteArrayToWord(bytes)), asWord);
    QCOMPARE(static_cast<int>(QByteArrayToShort(bytes)), asShort);

    QCOMPARE(intToByteArray(asInt), (bytes + hex("00000000")).left(4));
    const QByteArray two = (bytes + hex("0000")).left(2);
    QCOMPARE(wordToByteArray(static_cast<unsigned short>(asWord)), two);
    QCOMPARE(shortToByteArray(static_cast<short>(asShort)), two);
    QByteArray appended = hex("AA");
    appendBigEndianUShort(appended, static_cast<unsigned short>(asWord));
    QCOMPARE(appended, hex("AA") + two.at(1) + two.at(0));
}

void TestConversions::wholeArrays_data()
{
    QTest::addColumn<Conversion>("convert");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("converted");

    const Conversion fromUShorts = fromPointer<fromBigEndianUShortArray, 2>;
    const Conversion fromULongs = fromPointer<fromBigEndianULongArray, 4>;
    QTest::newRow("from 16") << fromUShorts << hex("01020304") << hex("02010403");
    QTest::newRow("from 16, none") << fromUShorts << QByteArray() << QByteArray();
    QTest::newRow("from 32") << fromULongs << hex("0102030405060708") << hex("0403020108070605");
    QTest::newRow("from 32, none") << fromULongs << hex("010203") << QByteArray();
    QTest::newRow("in place 16") << &littleEndianUShorts << hex("01020304") << hex("02010403");
    QTest::newRow("in place 16, odd") << &littleEndianUShorts << hex("010203") << hex("020103");
    QTest::newRow("in place 32") << &littleEndianULongs << hex("0102030405060708")
                                 << hex("0403020108070605");
    QTest::newRow("in place 32, left over")
        << &littleEndianULongs << hex("01020304050607") << hex("04030201050607");
    QTest::newRow("to 16") << &toBigEndianUShortArray << hex("010203") << hex("02010003");
    QTest::newRow("to 32") << &toBigEndianULongArray << hex("0102030405")
                           << hex("0403020100000005");
    QTest::newRow("reversed") << &reverseArray << hex("010203") << hex("030201");

    const struct
    {
        const char* name;
        Conversion pad;
        int unit;
    } pads[] = {
        {"pad 16", To16bitsData, 2}, {"pad 32", To32bitsData, 4}, {"pad 64", To64bitsData, 8}};
    for (const auto& pad : pads) {
        for (int size = 0; size <= 17; ++size) {
            QByteArray padded(size, '\xEE');
            while (padded.size() % pad.unit != 0)
                padded.append('\0');
            const QByteArray name = pad.name + (", " + QByteArray::number(size));
            QTest::newRow(name.constData()) << pad.pad << QByteArray(size, '\xEE') << padded;
        }
    }
}

// Catches: a lost or doubled padding, a swap across values, an argument changed.
void TestConversions::wholeArrays()
{
    QFETCH(Conversion, convert);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, converted);

    const QByteArray before = QByteArray(data.constData(), data.size());
    QCOMPARE(convert(data).toHex(), converted.toHex());
    QCOMPARE(data, before);
}

// Catches: a size that is negative or wraps round.
void TestConversions::wholeArraysRefuseBadCounts()
{
    const unsigned char text[] = "ABCD";
    const int counts[] = {-1, INT_MIN, INT_MAX, 0x40000001};
    for (int count : counts) {
        QVERIFY(fromBigEndianUShortArray(text, count).isEmpty());
        QVERIFY(fromBigEndianULongArray(text, count).isEmpty());
    }
}

void TestConversions::fittingARequest_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("length");

    const int lengthsOfThree[] = {1, 3, 6, 12, 24, 3, 1, 0};
    for (int type = 0; type < 8; ++type)
        QTest::newRow(("type " + QByteArray::number(type)).constData())
            << type << 3 << lengthsOfThree[type];
    QTest::newRow("negative type") << -1 << 3 << 0;
    QTest::newRow("no bits") << 0 << 0 << 0;
    QTest::newRow("9 bits") << 0 << 9 << 2;
    QTest::newRow("16 bits of type 6") << 6 << 16 << 2;
    QTest::newRow("no words") << 2 << 0 << 0;
}

// Catches: a wrong unit, bits rounded down, a host's own size taken for the length.
void TestConversions::fittingARequest()
{
    struct : CommunicatorCommand
    {
        int getDataSize() const override { return 77; }
    } command;
    QFETCH(int, type);
    QFETCH(int, count);
    QFETCH(int, length);
    command.type = type;
    command.count = count;

    QCOMPARE(GetSafeDataLen(command), length);
    for (int size = 0; size < 30; ++size) {
        const QByteArray data(size, '\xEE');
        const int kept = qMin(size, length);
        QCOMPARE(ToSafeData(command, data), data.left(kept) + QByteArray(length - kept, '\0'));
    }

    CommunicatorCommand odd;
    odd.type = 0;
    odd.count = -1;
    QCOMPARE(GetSafeDataLen(odd), 0x20000000);
    odd.type = 4;
    QVERIFY(ToSafeData(odd, hex("0102")).isEmpty());
    odd.count = INT_MAX;
    QCOMPARE(GetSafeDataLen(odd), INT_MAX);
}

void TestConversions::counting_data()
{
    QTest::addColumn<unsigned int>("offset");
    QTest::addColumn<unsigned int>("count");

    const unsigned int values[] = {0,  1,  2,  3,  4,  5,  7,  8,          9,          15,
                                   16, 17, 31, 32, 33, 63, 64, 0x7FFFFFFF, 0xFFFFFFF0, 0xFFFFFFFF};
    for (unsigned int offset : values) {
        for (unsigned int count : values)
            QTest::newRow(QByteArray::number(offset).append('+').append(QByteArray::number(count)))
                << offset << count;
    }
}

// Catches: rounding down, and a rounding that overflows near the largest count.
void TestConversions::counting()
{
    QFETCH(unsigned int, offset);
    QFETCH(unsigned int, count);

    const quint64 bits = (static_cast<quint64>(offset) + count) % 0x100000000ull;
    QCOMPARE(static_cast<quint64>(NumOfBitsToNumOfBytes(offset, count)), (bits + 7) / 8);
    QCOMPARE(static_cast<quint64>(NumOfBitsToNumOfWords(offset, count)), (bits + 15) / 16);
    QCOMPARE(static_cast<quint64>(NumOfBitsToNumOfDWords(offset, count)), (bits + 31) / 32);
    const quint64 bytes = count;
    QCOMPARE(static_cast<quint64>(NumOfBytesToNumOfWords(count)), (bytes + 1) / 2);
    QCOMPARE(static_cast<quint64>(NumOfBytesToNumOfDWords(count)), (bytes + 3) / 4);
    QCOMPARE(static_cast<quint64>(NumOfBytesToNumOfQuadWords(count)), (bytes + 7) / 8);
}

void TestConversions::shapingBits_data()
{
    QTest::addColumn<QByteArray>("bits");
    QTest::addColumn<int>("count");
    QTest::addColumn<QByteArray>("fitted");
    QTest::addColumn<QByteArray>("cleared");

    QTest::newRow("whole bytes") << hex("FFFFFF") << 16 << hex("FFFF") << hex("FFFFFF");
    QTest::newRow("one bit over") << hex("FFFFFF") << 9 << hex("FFFF") << hex("FF01FF");
    QTest::newRow("one bit short") << hex("FF") << 7 << hex("FF") << hex("7F");
    QTest::newRow("just past the end") << hex("FF") << 9 << hex("FF00") << hex("FF00");
    QTest::newRow("further out") << hex("FF") << 17 << hex("FF0000") << hex("FF");
    QTest::newRow("none") << hex("FF") << 0 << QByteArray() << hex("FF");
    QTest::newRow("negative") << hex("FF") << -3 << QByteArray() << hex("FF");
    QTest::newRow("lowest") << hex("FF") << INT_MIN << QByteArray() << hex("FF");
}

// Catches: a size rounded down, new bytes not zero, a neighbouring byte cleared.
void TestConversions::shapingBits()
{
    QFETCH(QByteArray, bits);
    QFETCH(int, count);
    QByteArray fitted = bits;
    FitBitArray(fitted, count);
    QTEST(fitted, "fitted");
    clearUnnecessaryBits(bits, count);
    QTEST(bits, "cleared");
}

// Catches: a start off by one, bytes other than 0 and 1, a read past the end.
void TestConversions::expandsBits()
{
    Random random;
    const QByteArray data = random.bytes(4);
    Bits bits = bitsOf(data);
    bits.resize(100);
    for (unsigned short first = 0; first < 40; ++first) {
        for (int count = 0; count < 50; ++count) {
            QByteArray expected;
            for (int i = 0; i < count; ++i)
                expected.append(bits[first + i] ? '\1' : '\0');
            QCOMPARE(ExpandBitsToBytes(data, first, count), expected);
        }
    }
    QVERIFY(ExpandBitsToBytes(data, 0, -1).isEmpty());
    QVERIFY(ExpandBitsToBytes(data, 0, INT_MIN).isEmpty());
    QCOMPARE(ExpandBitsToBytes(data, 65535, 3), QByteArray(3, '\0'));
}

// Catches: bits lost at a byte's edge, neighbours changed, a source changed.
void TestConversions::copiesBits()
{
    Random random;
    for (int i = 0; i < 2000; ++i) {
        QByteArray source = random.bytes(1 + random.below(6));
        const QByteArray sourceBefore = QByteArray(source.constData(), source.size());
        QByteArray dest = random.bytes(random.below(8));
        const int first = random.below(static_cast<int>(dest.size()) * 8 + 1);
        const int count = random.below(static_cast<int>(source.size()) * 8 + 1);
        const Bits from = bitsOf(source);
        Bits expected = bitsOf(dest);
        while (static_cast<int>(expected.size()) < first + count)
            expected.resize(expected.size() + 8);
        for (int p = 0; p < count; ++p)
            expected[first + p] = from[p];

        CopyBits(dest, source, first, count);
        QCOMPARE(dest.toHex(), bytesOf(expected).toHex());
        QCOMPARE(source, sourceBefore);
    }
}

// Catches: growth without end, positions that wrap round.
void TestConversions::copiesOnlyWhatIsThere()
{
    QByteArray source = hex("FF");
    QByteArray dest = hex("00");
    CopyBits(dest, source, 0, INT_MAX);
    QCOMPARE(dest.toHex(), hex("FF00").toHex());
    CopyBits(dest, source, 12, INT_MIN);
    QByteArray zeros = hex("00");
    CopyBits(dest, zeros, -4, 8);
    CopyBits(dest, source, 24, 8);
    CopyBits(dest, source, INT_MAX, INT_MAX);
    QCOMPARE(dest.toHex(), hex("FF00").toHex());
}

void TestConversions::shiftsToTheRight_data()
{
    QTest::addColumn<QByteArray>("bits");
    QTest::addColumn<int>("places");
    QTest::addColumn<QByteArray>("shifted");

    QTest::newRow("inside a byte") << hex("2143") << 4 << hex("3204");
    QTest::newRow("whole byte") << hex("010203") << 8 << hex("020301");
    QTest::newRow("byte and a half") << hex("010203") << 12 << hex("300001");
    QTest::newRow("not at all") << hex("0102") << 0 << hex("0102");
    QTest::newRow("all") << hex("0102") << 16 << hex("0102");
    QTest::newRow("far more") << hex("0102") << INT_MAX << hex("0102");
    QTest::newRow("negative") << hex("0102") << -1 << hex("0102");
    QTest::newRow("nothing") << QByteArray() << 3 << QByteArray();
}

// Catches: the bytes that moved to the end shifted too, a shift outside the array.
void TestConversions::shiftsToTheRight()
{
    QFETCH(QByteArray, bits);
    QFETCH(int, places);
    RightShiftNBits(bits, places);
    QTEST(bits, "shifted");
}

// Catches: bits lost between bytes for any place and length.
void TestConversions::shiftsLikeTheModel()
{
    Random random;
    for (int length = 1; length <= 7; ++length) {
        for (int n = 0; n < 8 * length; ++n) {
            QByteArray data = random.bytes(length);
            const Bits before = bitsOf(data);
            Bits expected(before.begin() + n, before.end());
            expected.resize(before.size() - (n - n % 8));
            expected.insert(expected.end(), before.begin(), before.begin() + (n - n % 8));
            RightShiftNBits(data, n);
            QCOMPARE(data.toHex(), bytesOf(expected).toHex());
        }
    }
}

// Catches: head and tail mixed up, an element left behind, bytes around touched.
void TestConversions::rotates()
{
    for (int head = -1; head < 9; ++head) {
        for (int tail = -1; tail < 9; ++tail) {
            QByteArray data = QByteArray("<abcdefghijklmnopqrst");
            QByteArray expected = data;
            if (head > 0 && tail > 0)
                expected =
                    "<" + data.mid(1 + head, tail) + data.mid(1, head) + data.mid(1 + head + tail);
            RotateArray(bytesOf(data) + 1, head, tail);
            QCOMPARE(data, expected);
        }
    }
}

QTEST_APPLESS_MAIN(TestConversions)
#include "tst_conversions.moc"
