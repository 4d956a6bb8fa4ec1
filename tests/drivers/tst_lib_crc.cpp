#include <QtTest>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "drivers/lib_crc.h"
#include "support/bytes.h"

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

unsigned int run(Update update, unsigned int crc, const QByteArray& data, int from, int to)
{
    for (int i = from; i < to; ++i)
        crc = update(crc, bytesOf(data)[i], i > 0 ? bytesOf(data)[i - 1] : 0);
    return crc;
}

/// A division by the polynomial, one bit at a time and without a table; with the
/// high bit first it is 16 bits wide.
unsigned int bitwise(unsigned int crc, unsigned char byte, unsigned int polynomial,
                     bool lowBitFirst)
{
    crc ^= lowBitFirst ? byte : static_cast<unsigned int>(byte) << 8;
    for (int bit = 0; bit < 8; ++bit) {
        const bool divides = ((crc >> (lowBitFirst ? 0 : 15)) & 1) != 0;
        crc = lowBitFirst ? crc >> 1 : (crc << 1) & 0xFFFF;
        crc ^= divides ? polynomial : 0;
    }
    return crc;
}

}

Q_DECLARE_METATYPE(Update)

class TestLibCrc : public QObject
{
    Q_OBJECT

private slots:
    void firstCallsFromManyThreads_data() { variants(); }
    void firstCallsFromManyThreads();
    void checkValueAndPieces_data() { variants(); }
    void checkValueAndPieces();
    void everyByteAgreesWithTheBitwiseCrc_data() { variants(); }
    void everyByteAgreesWithTheBitwiseCrc();

private:
    static void variants();
};

void TestLibCrc::variants()
{
    QTest::addColumn<Update>("update");
    QTest::addColumn<unsigned int>("start");
    QTest::addColumn<unsigned int>("last"); // exclusive-ored at the end
    QTest::addColumn<unsigned int>("check");
    QTest::addColumn<unsigned int>("polynomial");
    QTest::addColumn<bool>("lowBitFirst");

    // The values of the check message "123456789" as the catalogue of
    // parametrised CRC algorithms lists them.
    QTest::newRow("XMODEM") << &narrow<update_crc_ccitt> << 0u << 0u << 0x31C3u << 0x1021u << false;
    QTest::newRow("CCITT-FALSE") << &narrow<update_crc_ccitt> << 0xFFFFu << 0u << 0x29B1u << 0x1021u
                                 << false;
    QTest::newRow("CCITT, augmented")
        << &narrow<update_crc_ccitt> << 0x1D0Fu << 0u << 0xE5CCu << 0x1021u << false;
    QTest::newRow("ARC") << &narrow<update_crc_16> << 0u << 0u << 0xBB3Du << 0xA001u << true;
    QTest::newRow("MODBUS") << &narrow<update_crc_16> << 0xFFFFu << 0u << 0x4B37u << 0xA001u
                            << true;
    QTest::newRow("KERMIT") << &narrow<update_crc_kermit> << 0u << 0u << 0x2189u << 0x8408u << true;
    QTest::newRow("DNP") << &narrow<update_crc_dnp> << 0u << 0xFFFFu << 0xEA82u << 0xA6BCu << true;
    QTest::newRow("CRC-32") << &wide << 0xFFFFFFFFu << 0xFFFFFFFFu << 0xCBF43926u << 0xEDB88320u
                            << true;
    QTest::newRow("SICK") << &sick << 0u << 0u << 0xA656u << 0u << false;
}

// Catches: a table that another thread sees half built.
void TestLibCrc::firstCallsFromManyThreads()
{
    QFETCH(Update, update);
    QFETCH(unsigned int, start);
    QFETCH(unsigned int, last);
    QFETCH(unsigned int, check);

    const QByteArray digits("123456789");
    std::vector<unsigned int> results(4);
    std::atomic<int> missing(static_cast<int>(results.size()));
    std::vector<std::thread> threads;
    threads.reserve(results.size());
    for (unsigned int& result : results) {
        threads.push_back(std::thread([&] {
            --missing;
            while (missing > 0)
                std::this_thread::yield();
            result = run(update, start, digits, 0, 9) ^ last;
        }));
    }
    for (std::thread& thread : threads)
        thread.join();
    for (unsigned int result : results)
        QCOMPARE(result, check);
}

// Catches: a wrong polynomial or order, and a running value kept between calls.
void TestLibCrc::checkValueAndPieces()
{
    QFETCH(Update, update);
    QFETCH(unsigned int, start);
    QFETCH(unsigned int, last);
    QFETCH(unsigned int, check);

    const QByteArray digits("123456789");
    for (int cut = 0; cut <= digits.size(); ++cut) {
        const unsigned int first = run(update, start, digits, 0, cut);
        run(update, ~start, digits, 0, cut);
        QCOMPARE(run(update, first, digits, cut, 9) ^ last, check);
    }
}

// Catches: a wrong entry anywhere in a table, and a lost bit of the running value.
void TestLibCrc::everyByteAgreesWithTheBitwiseCrc()
{
    QFETCH(Update, update);
    QFETCH(unsigned int, polynomial);
    QFETCH(bool, lowBitFirst);

    const unsigned int mask = polynomial > 0xFFFF ? 0xFFFFFFFF : 0xFFFF;
    std::mt19937 engine(1);
    for (int i = 0; i < 4096; ++i) {
        const unsigned int crc = static_cast<quint32>(engine()) & mask;
        const unsigned char byte = static_cast<unsigned char>(i);
        const unsigned char previous = static_cast<unsigned char>(engine());
        // SICK's shifts one bit a byte and takes the byte in pairs.
        const unsigned int expected =
            polynomial == 0
                ? ((crc * 2) & 0xFFFF) ^ (crc > 0x7FFF ? 0x8005 : 0) ^ (previous * 256u + byte)
                : bitwise(crc, byte, polynomial, lowBitFirst);
        QCOMPARE(update(crc, byte, previous), expected);
    }
}

QTEST_APPLESS_MAIN(TestLibCrc)
#include "tst_lib_crc.moc"
