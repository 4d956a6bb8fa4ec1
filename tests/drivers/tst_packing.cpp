#include <QtTest>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>

#include "drivers/tools/packing.h"
#include "support/bytes.h"
#include "support/rows.h"

namespace {

/// The bytes of one value, by hand.
QByteArray modelOf(char letter, quint32 value)
{
    const int width = std::strchr("Cc", letter) != 0 ? 1 : std::strchr("Ssvn", letter) != 0 ? 2 : 4;
    QByteArray bytes;
    for (int i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    if (std::strchr("nN", letter) != 0)
        std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

/// Packs "C", the field and "n" both ways, and unpacks them again.
template <typename Argument>
void checkField(const QByteArray& field, Argument argument, const QByteArray& elements,
                const QByteArray& bytes)
{
    const QByteArray format = "C" + field + "n", packed = hex("A5") + bytes + hex("1234");
    const int length = sizeOf(packed);
    QByteArray buffer(length + 1, '\x55'), unpacked(elements.size() + 4, '\x55');
    ROW_COMPARE(field, ByteArrayPack(format, 0x2A5, argument, 0x71234), packed);
    ROW_COMPARE(field, DataPack(bytesOf(buffer), format, 0x2A5, argument, 0x71234), length);
    ROW_COMPARE(field, buffer, packed + '\x55');

    unsigned char before = 0;
    unsigned short after = 0;
    ROW_COMPARE(field, DataUnpack(bytesOf(packed), format, &before, unpacked.data(), &after),
                length);
    ROW_COMPARE(field, unpacked, elements + "UUUU");
    ROW_COMPARE(field, before, 0xA5);
    ROW_COMPARE(field, after, 0x1234);
}

}

class TestPacking : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a wrong width or order, a lost truncation, an argument too many or too
    // few, a sign extended into the neighbour of a variable; a count that is off by
    // one, read by its last digit, or sticks to the field behind it.
    void fields()
    {
        std::mt19937 engine(2);
        const int counts[] = {1, 2, 9, 10, 123};
        for (const char* letter = "CcSsvnIiLlVN"; *letter != '\0'; ++letter) {
            const int width = sizeOf(modelOf(*letter, 0));
            for (int i = 0; i < 200; ++i) {
                const quint32 value = i < 100 ? static_cast<quint32>(engine()) : 0xFF80FF80u + i;
                const QByteArray element(reinterpret_cast<const char*>(&value), width);
                checkField(QByteArray(1, *letter), value, element, modelOf(*letter, value));
            }
            for (int i = 0; i < 5 && std::strchr("CcvnVN", *letter) != 0; ++i) {
                QByteArray elements, bytes;
                while (elements.size() < counts[i] * width) {
                    const quint32 value = static_cast<quint32>(engine());
                    elements.append(reinterpret_cast<const char*>(&value), width);
                    bytes += modelOf(*letter, value);
                }
                const QByteArray field = "0" + QByteArray::number(counts[i]) + *letter;
                checkField(field, elements.constData(), elements, bytes);
            }
        }
    }

    // Catches: a gap that writes where it only steps over, or takes an argument.
    void gaps()
    {
        QByteArray buffer(20, '\x55');
        QCOMPARE(DataPack(bytesOf(buffer), "xCX2x0x3X0XC", 1, 2), 9);
        QCOMPARE(buffer.left(10), hex("0001550000555555 02 55"));
        QCOMPARE(DataPack(bytesOf(buffer), "C12xC", 3, 4), 14);
        QCOMPARE(buffer.left(15), hex("03 000000000000000000000000 04 55"));
        QCOMPARE(ByteArrayPack("xCXC", 1, 2), hex("00010002"));

        const QByteArray source = hex("00010203040506070809");
        unsigned char first = 0, second = 0;
        QCOMPARE(DataUnpack(bytesOf(source), "x2XC0x0X3xXC", &first, &second), 9);
        QCOMPARE(first * 256 + second, 0x308);
        QCOMPARE(DataUnpack(bytesOf(source), "2147483647x"), INT_MAX);
    }

    // Catches: an error taken for a field, a partial array handed out, fields before
    // the error lost.
    void formatErrors()
    {
        // Without a digit an unknown letter, with one a bad count.
        const char* const rows[] = {"y",
                                    "A",
                                    " ",
                                    "/",
                                    ":",
                                    "\xE9",
                                    "3",
                                    "2S",
                                    "2s",
                                    "2I",
                                    "2i",
                                    "2L",
                                    "2l",
                                    "2y",
                                    "2-",
                                    "0C",
                                    "0v",
                                    "0N",
                                    "00",
                                    "0S",
                                    "2 C",
                                    "4294967297C",
                                    "4294967297x",
                                    "21474836471C",
                                    "18446744073709551617C"};
        for (const char* row : rows) {
            const QByteArray format = QByteArray("C") + row;
            const int error = *row >= '0' && *row <= '9' ? -1 : 0;
            unsigned char v[4] = {9, 9, 9, 9};
            QByteArray buffer(8, '\x55');
            ROW_COMPARE(row, DataPack(bytesOf(buffer), format, 0x66, v, v), error);
            ROW_COMPARE(row, buffer, hex("6655555555555555"));
            ROW_COMPARE(row, DataUnpack(bytesOf(buffer), format, v, v + 1, v + 1), -1);
            ROW_COMPARE(row, v[0] * 256 + v[1], 0x6609);
            ROW_COMPARE(row, ByteArrayPack(format, 0x66, v, v), QByteArray());
        }
        unsigned char unused = 0;
        QCOMPARE(DataPack(&unused, "") + DataUnpack(&unused, ""), 0);
        QCOMPARE(ByteArrayPack("C2x", 1) + ByteArrayPack("C0X", 1) + ByteArrayPack(""),
                 QByteArray());
    }
};

QTEST_APPLESS_MAIN(TestPacking)
#include "tst_packing.moc"
