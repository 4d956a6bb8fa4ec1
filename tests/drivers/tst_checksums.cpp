#include <QtTest>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "drivers/lib_crc.h"
#include "drivers/tools/checksums.h"
#include "support/bytes.h"
#include "support/rows.h"

namespace {

/// Any of the update functions, with the byte before for the one that takes it.
typedef unsigned int (*Update)(unsigned int crc, unsigned char byte, unsigned char previous);

template <unsigned short (*Function)(unsigned short, unsigned char)>
unsigned int narrow(unsigned int crc, unsigned char byte, unsigned char)
{
    return Function(static_cast<unsigned short>(crc), byte);
}

unsigned int wide(unsigned int crc, unsigned char byte, unsigned char)
{
    return update_crc_32(crc, byte);
}

unsigned int sick(unsigned int crc, unsigned char byte, unsigned char previous)
{
    return update_crc_sick(static_cast<unsigned short>(crc), byte, previous);
}

// The values of the check message "123456789" as the catalogue of parametrised
// CRC algorithms lists them; the last value is exclusive-ored at the end.
const struct Variant
{
    const char* name;
    Update update;
    unsigned int start, last, check, polynomial;
    bool lowBitFirst;
} VARIANTS[] = {
    {"XMODEM", narrow<update_crc_ccitt>, 0, 0, 0x31C3, 0x1021, false},
    {"CCITT-FALSE", narrow<update_crc_ccitt>, 0xFFFF, 0, 0x29B1, 0x1021, false},
    {"ARC", narrow<update_crc_16>, 0, 0, 0xBB3D, 0xA001, true},
    {"MODBUS", narrow<update_crc_16>, 0xFFFF, 0, 0x4B37, 0xA001, true},
    {"KERMIT", narrow<update_crc_kermit>, 0, 0, 0x2189, 0x8408, true},
    {"DNP", narrow<update_crc_dnp>, 0, 0xFFFF, 0xEA82, 0xA6BC, true},
    {"CRC-32", wide, 0xFFFFFFFF, 0xFFFFFFFF, 0xCBF43926, 0xEDB88320, true},
    {"SICK", sick, 0, 0, 0xA656, 0, false},
};

unsigned int run(Update update, unsigned int crc, int from, int to)
{
    const QByteArray digits("123456789");
    for (int i = from; i < to; ++i)
        crc = update(crc, bytesOf(digits)[i], i > 0 ? bytesOf(digits)[i - 1] : 0);
    return crc;
}

/// A division by the polynomial, one bit at a time and without a table; with the
/// high bit first it is 16 bits wide. SICK's shifts one bit a byte and takes the
/// byte in pairs.
unsigned int bitwise(const Variant& row, unsigned int crc, unsigned char byte,
                     unsigned char previous)
{
    if (row.polynomial == 0)
        return ((crc * 2) & 0xFFFF) ^ (crc > 0x7FFF ? 0x8005 : 0) ^ (previous * 256u + byte);
    crc ^= row.lowBitFirst ? byte : static_cast<unsigned int>(byte) << 8;
    for (int bit = 0; bit < 8; ++bit) {
        const bool divides = ((crc >> (row.lowBitFirst ? 0 : 15)) & 1) != 0;
        crc = row.lowBitFirst ? crc >> 1 : (crc << 1) & 0xFFFF;
        crc ^= divides ? row.polynomial : 0;
    }
    return crc;
}

}

class TestChecksums : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a table that is used while another thread's first call builds it. It
    // stands first, before any other call.
    void firstCallsFromManyThreads()
    {
        for (const Variant& row : VARIANTS) {
            unsigned int results[4] = {};
            std::atomic<int> missing(4);
            std::vector<std::thread> threads;
            for (unsigned int& result : results)
                threads.push_back(std::thread([&row, &missing, &result] {
                    --missing;
                    while (missing > 0)
                        std::this_thread::yield();
                    result = run(row.update, row.start, 0, 9) ^ row.last;
                }));
            for (std::thread& thread : threads)
                thread.join();
            for (unsigned int result : results)
                ROW_COMPARE(row.name, result, row.check);
        }
    }

    // Catches: a wrong polynomial or order, and a running value kept between calls.
    void checkValueAndPieces()
    {
        for (const Variant& row : VARIANTS) {
            for (int cut = 0; cut <= 9; ++cut) {
                const unsigned int first = run(row.update, row.start, 0, cut);
                run(row.update, ~row.start, 0, cut);
                ROW_COMPARE(row.name, run(row.update, first, cut, 9) ^ row.last, row.check);
            }
        }
    }

    // Catches: a wrong entry anywhere in a table, and a lost bit of the running value.
    void everyByteAgreesWithTheBitwiseCrc()
    {
        std::mt19937 engine(1);
        for (const Variant& row : VARIANTS) {
            for (int i = 0; i < 4096; ++i) {
                const unsigned int mask = row.polynomial > 0xFFFF ? 0xFFFFFFFF : 0xFFFF;
                const unsigned int crc = static_cast<quint32>(engine()) & mask;
                const unsigned char byte = static_cast<unsigned char>(i);
                const unsigned char previous = static_cast<unsigned char>(engine());
                ROW_COMPARE(row.name, row.update(crc, byte, previous),
                            bitwise(row, crc, byte, previous));
            }
        }
    }

    // Catches: signed bytes, bytes paired into words, a lost carry, a read past the length.
    void blocks()
    {
        const struct
        {
            const char* name;
            QByteArray data;
            int length, sum8, sum16, xored, crc;
        } rows[] = {
            {"digits", "123456789", 9, 0xDD, 0x01DD, 0x31, 0xBB3D},
            {"carry out of a byte", hex("FF02"), 2, 0x01, 0x0101, 0xFD, 0x31C0},
            {"carry out of 16 bits", QByteArray(300, '\xFF'), 300, 0xD4, 0x2AD4, 0x00, 0xEB55},
            {"only the length given", hex("010203"), 1, 1, 1, 1, 0xC0C1},
            {"negative length", QByteArray(), -1, 0, 0, 0, 0},
        };
        for (const auto& row : rows) {
            const unsigned char* const bytes = row.length > 0 ? bytesOf(row.data) : 0;
            ROW_COMPARE(row.name, UInt8CheckSum(bytes, row.length), row.sum8);
            ROW_COMPARE(row.name, UShortCheckSum(bytes, row.length), row.sum16);
            ROW_COMPARE(row.name, XorUInt8CheckSum(bytes, row.length), row.xored);
            ROW_COMPARE(row.name, CRC16Calculate(bytes, row.length), row.crc);
        }
    }
};

QTEST_APPLESS_MAIN(TestChecksums)
#include "tst_checksums.moc"
