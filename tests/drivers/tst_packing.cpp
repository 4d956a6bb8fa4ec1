#include <QtTest>

#include <cstring>
#include <random>

#include "drivers/tools/packing.h"
#include "support/bytes.h"

namespace {

/// The bytes of one value, by hand.
QByteArray modelOf(char letter, quint32 value)
{
    const char bytes[4] = {static_cast<char>(value), static_cast<char>(value >> 8),
                           static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
    const char reversed[4] = {bytes[3], bytes[2], bytes[1], bytes[0]};
    if (std::strchr("Cc", letter) != 0)
        return QByteArray(bytes, 1);
    if (std::strchr("Ssv", letter) != 0)
        return QByteArray(bytes, 2);
    if (letter == 'n')
        return QByteArray(reversed + 2, 2);
    return letter == 'N' ? QByteArray(reversed, 4) : QByteArray(bytes, 4);
}

QByteArray packByTwin(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    QByteArray packed = VByteArrayPack(format, arguments);
    va_end(arguments);
    return packed;
}

int packByTwin(unsigned char* buffer, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = VDataPack(buffer, format, arguments);
    va_end(arguments);
    return length;
}

int unpackByTwin(const unsigned char* buffer, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = VDataUnpack(buffer, format, arguments);
    va_end(arguments);
    return length;
}

}

class TestPacking : public QObject
{
    Q_OBJECT

private slots:
    void goldenFrames();
    void singleFields_data();
    void singleFields();
    void arrayFields_data();
    void arrayFields();
    void gaps();
    void formatErrors_data();
    void formatErrors();
};

// Catches: fields in another order than the commands', through the twins as well.
void TestPacking::goldenFrames()
{
    const QByteArray typed = hex("01020F003412AB020789");
    QCOMPARE(ByteArrayPack("CCCCvCCCC", 1, 2, 15, 0, 0x1234, 0xAB, 2, 7, 0x89), typed);
    QCOMPARE(packByTwin("CCCCvCCCC", 1, 2, 15, 0, 0x1234, 0xAB, 2, 7, 0x89), typed);

    const QByteArray range = hex("01020F003412 01 0500 0A00 0709");
    QCOMPARE(ByteArrayPack("CCCCvCvvCC", 1, 2, 15, 0, 0x1234, 1, 5, 10, 7, 9), range);
    QByteArray buffer(13, '\x55');
    QCOMPARE(packByTwin(bytesOf(buffer), "CCCCvCvvCC", 1, 2, 15, 0, 0x1234, 1, 5, 10, 7, 9), 13);
    QCOMPARE(buffer, range);

    const QByteArray reply = hex("1002 1002010F4F 00 3412");
    unsigned char field[5] = {0};
    unsigned short transaction = 0;
    QCOMPARE(unpackByTwin(bytesOf(reply), "xxCCCCCxv", field, field + 1, field + 2, field + 3,
                          field + 4, &transaction),
             10);
    QCOMPARE(QByteArray(reinterpret_cast<char*>(field), 5), reply.mid(2, 5));
    QCOMPARE(static_cast<int>(transaction), 0x1234);
}

void TestPacking::singleFields_data()
{
    QTest::addColumn<char>("letter");
    for (const char* letter = "CcSsvnIiLlVN"; *letter != '\0'; ++letter)
        QTest::newRow(QByteArray(1, *letter).constData()) << *letter;
}

// Catches: a wrong width or order, a lost truncation, an argument too many or too
// few, a sign extended into the neighbour of a variable.
void TestPacking::singleFields()
{
    QFETCH(char, letter);
    std::mt19937 engine(2);
    const QByteArray format = QByteArray("C") + letter + "n";
    for (int i = 0; i < 200; ++i) {
        const quint32 value = i < 100 ? static_cast<quint32>(engine()) : 0xFF80FF80u + i;
        const QByteArray bytes = modelOf(letter, value);
        const QByteArray packed = hex("A5") + bytes + hex("1234");
        QCOMPARE(ByteArrayPack(format, 0x2A5, value, 0x71234).toHex(), packed.toHex());

        QByteArray buffer(packed.size() + 1, '\x55');
        QCOMPARE(DataPack(bytesOf(buffer), format, 0x2A5, value, 0x71234),
                 static_cast<int>(packed.size()));
        QCOMPARE(buffer.toHex(), (packed + '\x55').toHex());

        unsigned char before = 0;
        union {
            quint8 narrow;
            quint16 word;
            quint32 whole;
        } variable = {0};
        variable.whole = 0x55555555;
        unsigned short after = 0;
        QCOMPARE(DataUnpack(bytesOf(buffer), format, &before, &variable, &after),
                 static_cast<int>(packed.size()));
        QCOMPARE(before, static_cast<unsigned char>(0xA5));
        QCOMPARE(after, static_cast<unsigned short>(0x1234));
        const int width = static_cast<int>(bytes.size());
        QCOMPARE(width == 1   ? variable.narrow
                 : width == 2 ? variable.word
                              : variable.whole,
                 width == 4 ? value : value & ((1u << (8 * width)) - 1));
        if (width < 4)
            QCOMPARE(variable.whole >> (8 * width), 0x55555555u >> (8 * width));
    }
}

void TestPacking::arrayFields_data()
{
    QTest::addColumn<char>("letter");
    QTest::addColumn<int>("count");
    const int counts[] = {1, 2, 9, 10, 123};
    for (const char* letter = "CcvnVN"; *letter != '\0'; ++letter) {
        for (int count : counts)
            QTest::newRow((QByteArray::number(count) + *letter).constData()) << *letter << count;
    }
}

// Catches: a count that is off by one or read by its last digit, elements of the
// wrong width or order, a count that sticks to the field behind it.
void TestPacking::arrayFields()
{
    QFETCH(char, letter);
    QFETCH(int, count);
    std::mt19937 engine(3);
    quint32 elements[124];
    const int width = static_cast<int>(modelOf(letter, 0).size());
    QByteArray packed = hex("A5");
    for (int i = 0; i < count; ++i) {
        const quint32 value = static_cast<quint32>(engine());
        // The array holds host-order elements of the letter's own width.
        const quint16 word = static_cast<quint16>(value);
        char* const element = reinterpret_cast<char*>(elements) + static_cast<size_t>(i) * width;
        if (width == 2)
            std::memcpy(element, &word, 2);
        else if (width == 4)
            std::memcpy(element, &value, 4);
        else
            *element = static_cast<char>(value);
        packed += modelOf(letter, value);
    }
    packed += hex("3412");
    const QByteArray format = "C0" + QByteArray::number(count) + letter + "v";
    QCOMPARE(ByteArrayPack(format, 0xA5, elements, 0x1234).toHex(), packed.toHex());

    QByteArray buffer(packed.size() + 1, '\x55');
    QCOMPARE(DataPack(bytesOf(buffer), format, 0xA5, elements, 0x1234),
             static_cast<int>(packed.size()));
    QCOMPARE(buffer.toHex(), (packed + '\x55').toHex());

    quint32 unpacked[124];
    std::memset(unpacked, 0x55, sizeof unpacked);
    unsigned char before = 0;
    unsigned short after = 0;
    QCOMPARE(DataUnpack(bytesOf(buffer), format, &before, unpacked, &after),
             static_cast<int>(packed.size()));
    QVERIFY(std::memcmp(unpacked, elements, static_cast<size_t>(count) * width) == 0);
    QCOMPARE(
        static_cast<int>(reinterpret_cast<char*>(unpacked)[static_cast<size_t>(count) * width]),
        0x55);
    QCOMPARE(static_cast<int>(after), 0x1234);
}

// Catches: a gap that writes where it only steps over, or takes an argument.
void TestPacking::gaps()
{
    QByteArray buffer(20, '\x55');
    QCOMPARE(DataPack(bytesOf(buffer), "xCX2x0x3X0XC", 1, 2), 9);
    QCOMPARE(buffer.left(10).toHex(), hex("0001550000555555 02 55").toHex());
    QCOMPARE(DataPack(bytesOf(buffer), "C12xC", 3, 4), 14);
    QCOMPARE(buffer.left(15).toHex(), hex("03 000000000000000000000000 04 55").toHex());
    QCOMPARE(ByteArrayPack("xCXC", 1, 2).toHex(), hex("00010002").toHex());

    const QByteArray source = hex("00010203040506070809");
    unsigned char first = 0;
    unsigned char second = 0;
    QCOMPARE(DataUnpack(bytesOf(source), "x2XC0x0X3xXC", &first, &second), 9);
    QCOMPARE(static_cast<int>(first), 3);
    QCOMPARE(static_cast<int>(second), 8);
}

void TestPacking::formatErrors_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<int>("packed");
    QTest::addColumn<int>("unpacked");

    const char* const unknown[] = {"y", "A", " ", "/", ":", "\xE9"};
    for (const char* letter : unknown)
        QTest::newRow(letter) << QByteArray("C") + letter + "C" << 0 << -1;
    const char* const badCounts[] = {
        "3",  "2S", "2s", "2I", "2i",  "2L",          "2l",
        "2y", "2-", "0C", "0c", "0v",  "0n",          "0V",
        "0N", "0",  "00", "0S", "2 C", "4294967297C", "18446744073709551617C"};
    for (const char* field : badCounts)
        QTest::newRow(field) << QByteArray("C") + field << -1 << -1;
}

// Catches: an error taken for a field, a partial array handed out, fields before
// the error lost.
void TestPacking::formatErrors()
{
    QFETCH(QByteArray, format);
    unsigned char values[4] = {9, 9, 9, 9};
    QByteArray buffer(8, '\x55');

    QTEST(DataPack(bytesOf(buffer), format, 0x66, values, values), "packed");
    QCOMPARE(buffer.toHex(), hex("6655555555555555").toHex());
    QTEST(DataUnpack(bytesOf(buffer), format, values, values + 1, values + 1), "unpacked");
    QCOMPARE(static_cast<int>(values[0]), 0x66);
    QCOMPARE(static_cast<int>(values[1]), 9);
    QVERIFY(ByteArrayPack(format, 0x66, values, values).isEmpty());

    QCOMPARE(DataPack(bytesOf(buffer), ""), 0);
    QCOMPARE(DataUnpack(bytesOf(buffer), ""), 0);
    QVERIFY(ByteArrayPack("").isEmpty());
    QVERIFY(ByteArrayPack("C2x", 1).isEmpty());
    QVERIFY(ByteArrayPack("C0X", 1).isEmpty());
}

QTEST_APPLESS_MAIN(TestPacking)
#include "tst_packing.moc"
