#include <QElapsedTimer>
#include <QtTest>
#include <climits>

#include "drivers/micrologix/micrologix.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/scriptedport.h"

namespace {

QByteArray soundAnswer(int tns, const QByteArray& data)
{
    QByteArray message = hex("00014F00");
    message += static_cast<char>(tns);
    message += static_cast<char>(tns >> 8);
    return hex("1006") + frameOf(message + data);
}

}

class TestReads : public QObject
{
    Q_OBJECT

private slots:
    void reads_data();
    void reads();
    void refusesBeforeSending_data();
    void refusesBeforeSending();
    void hasNoReadForOtherTypes_data();
    void hasNoReadForOtherTypes();
    void refusesNamesOfPlainFiles_data();
    void refusesNamesOfPlainFiles();
    void carriesWhatTheBufferHolds();
    void retries_data();
    void retries();
    void letsASubclassDecideAboutRetries();
    void pausesBeforeEveryAttempt();
};

void TestReads::reads_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("command"); // from the size byte on
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("result");

    const QByteArray timers = hex("00A00A000500002014000700");
    QTest::newRow("words") << 2 << 2 << "N7:0" << hex("0407890000") << hex("01020304")
                           << hex("01020304");
    QTest::newRow("no words") << 2 << 0 << "N7:0" << hex("0007890000") << QByteArray()
                              << QByteArray();
    QTest::newRow("odd bytes") << 1 << 3 << "N7:0" << hex("0407890000") << hex("01020304")
                               << hex("010203");
    QTest::newRow("block") << 5 << 1 << "B3:9" << hex("0203850900") << hex("0102") << hex("01");
    QTest::newRow("double words") << 3 << 2 << "N7:10" << hex("0807890A00")
                                  << hex("0102030405060708") << hex("0102030405060708");
    QTest::newRow("words of a float file")
        << 2 << 2 << "F8:0" << hex("04088A0000") << hex("0000803F") << hex("0000803F");
    QTest::newRow("one word of a float file")
        << 2 << 1 << "F8:0" << hex("04088A0000") << hex("0000803F") << hex("0000");
    QTest::newRow("bytes of a float file")
        << 1 << 5 << "f8:0" << hex("08088A0000") << hex("0102030405060708") << hex("0102030405");
    QTest::newRow("floats") << 3 << 2 << "F8:1" << hex("08088A0100") << hex("0000803F00000040")
                            << hex("0000803F00000040");
    QTest::newRow("input file") << 2 << 1 << "I:0" << hex("0201830000") << hex("0102")
                                << hex("0102");
    QTest::newRow("output file") << 2 << 1 << "O5:0" << hex("0200820000") << hex("0102")
                                 << hex("0102");
    QTest::newRow("highest short element")
        << 2 << 1 << "N7:254" << hex("020789FE00") << hex("0102") << hex("0102");
    QTest::newRow("lowest long element")
        << 2 << 1 << "N7:255" << hex("020789FFFF0000") << hex("0102") << hex("0102");
    QTest::newRow("element beyond 16 bits")
        << 2 << 1 << "N7:65537" << hex("0207890100") << hex("0102") << hex("0102");
    QTest::newRow("timers, first words")
        << 2 << 2 << "T4:300" << hex("0C0486FF2C0100") << timers << hex("00A00020");
    QTest::newRow("timer presets")
        << 2 << 2 << "T4:0.PRE" << hex("0C04860000") << timers << hex("0A001400");
    QTest::newRow("name that begins with a key")
        << 2 << 2 << "t4:0.preset/3" << hex("0C04860000") << timers << hex("0A001400");
    QTest::newRow("any other timer name")
        << 2 << 2 << "T4:0.DN" << hex("0C04860000") << timers << hex("05000700");
    QTest::newRow("counter accumulator")
        << 2 << 1 << "C5:1.ACC" << hex("0605870100") << hex("008005000300") << hex("0300");
    QTest::newRow("control length")
        << 2 << 1 << "R6:0.LEN" << hex("0606880000") << hex("008005000300") << hex("0500");
    QTest::newRow("control has no PRE")
        << 2 << 1 << "R6:0.PRE" << hex("0606880000") << hex("008005000300") << hex("0300");
    const QByteArray timerBits = hex("00C010001400 010014000600");
    QTest::newRow("a bit") << 0 << 1 << "B3:0/5" << hex("0203850000") << hex("2000") << hex("01");
    QTest::newRow("a bit, other type")
        << 6 << 1 << "N7:2/15" << hex("0207890200") << hex("0080") << hex("0100");
    QTest::newRow("bits over two words")
        << 0 << 2 << "B3:0/15" << hex("0403850000") << hex("00800100") << hex("030000");
    QTest::newRow("a word of bits, shifted")
        << 0 << 16 << "N7:10/3" << hex("0407890A00") << hex("F8FF0300") << hex("FF7F00");
    QTest::newRow("bit number cut to 8 bits")
        << 0 << 1 << "B3:0/300" << hex("0603850000") << hex("000000000010") << hex("010000000000");
    QTest::newRow("no bits") << 0 << 0 << "B3:0/0" << hex("0003850000") << QByteArray()
                             << QByteArray();
    QTest::newRow("most bits") << 0 << 1968 << "N7:0/0" << hex("F607890000") << QByteArray(246, 'a')
                               << QByteArray(246, 'a');
    QTest::newRow("control-word bits")
        << 0 << 4 << "T4:0/14" << hex("0C04860000") << timerBits << hex("070000");
    QTest::newRow("mnemonic, three timers")
        << 0 << 3 << "T4:0/DN" << hex("1204860000") << hex("002000000000 000000000000 00A000000000")
        << hex("0500");
    QTest::newRow("mnemonic of a counter")
        << 0 << 1 << "c5:0/cu" << hex("0605870000") << hex("008000000000") << hex("0100");
    QTest::newRow("mnemonic of a control")
        << 0 << 1 << "R6:0/FD" << hex("0606880000") << hex("000100000000") << hex("0100");
    QTest::newRow("unknown mnemonic")
        << 0 << 4 << "C5:0/XY" << hex("1805870000") << QByteArray(24, '\xFF') << hex("00");
    QTest::newRow("accumulator bit")
        << 0 << 1 << "T4:1.ACC/3" << hex("0604860100") << hex("000000000800") << hex("01");
    QTest::newRow("preset bit of the next timer")
        << 0 << 1 << "T4:1.PRE/20" << hex("0C04860100") << timerBits << hex("010000");
    QTest::newRow("control length bit")
        << 0 << 1 << "R6:0.LEN/0" << hex("0606880000") << hex("000001000000") << hex("01");
    QTest::newRow("position, whatever the name")
        << 0 << 1 << "R6:0.PRE/0" << hex("0606880000") << hex("000000000100") << hex("01");
    QTest::newRow("file that no letter names")
        << 2 << 1 << "L9:0" << hex("02FF000000") << hex("0102") << hex("0102");
}

// Catches: a wrong size, file, element form or word, and data cut wrongly.
void TestReads::reads()
{
    QFETCH(int, type);
    QFETCH(int, count);
    QFETCH(QString, address);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, result);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(soundAnswer(1, data));
    QCOMPARE(driver.read(&port, request(type, count, address)).toHex(), result.toHex());
    QVERIFY2(!driver.hasError(), qPrintable(driver.getLastError()));
    QCOMPARE(port.sent.first().toHex(), frameOf(hex("01000F000100A2") + command).toHex());
}

void TestReads::refusesBeforeSending_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("text");

    const QString format("invalid address format");
    QTest::newRow("no element") << 2 << 1 << "N7" << format;
    QTest::newRow("bit address") << 2 << 1 << "N7:0/3" << format;
    QTest::newRow("leading blank") << 2 << 1 << " N7:0" << format;
    QTest::newRow("empty") << 2 << 1 << "" << format;
    QTest::newRow("null") << 2 << 1 << QString() << format;
    QTest::newRow("named word of a float") << 3 << 1 << "F8:0.ACC" << format;
    const QString bitFormat("invalid bit address format");
    QTest::newRow("bits of a word address") << 0 << 1 << "N7:0" << bitFormat;
    QTest::newRow("bit with a tail") << 0 << 1 << "T4:0/1a" << bitFormat;
    QTest::newRow("bits") << 0 << 2033 << "B3:0/0"
                          << "invalid address:B3:0/0";
    QTest::newRow("timer bits") << 0 << 657 << "T4:0/16"
                                << "invalid address:T4:0/16";
    QTest::newRow("mnemonic bits") << 0 << 43 << "T4:0/DN"
                                   << "invalid address:T4:0/DN";
    QTest::newRow("most bits") << 0 << INT_MAX << "T4:0.ACC/255"
                               << "invalid address:T4:0.ACC/255";
    QTest::newRow("negative bits") << 0 << -1 << "B3:0/5"
                                   << "invalid address:B3:0/5";
    QTest::newRow("file beyond 255") << 2 << 1 << "N256:0"
                                     << "invalid address:N256:0";
    QTest::newRow("file beyond any integer") << 2 << 1 << "N99999999999999999999:0"
                                             << "invalid address:N99999999999999999999:0";
    QTest::newRow("timer file beyond 255") << 0 << 1 << "T300:0/DN"
                                           << "invalid address:T300:0/DN";
    QTest::newRow("words") << 2 << 128 << "N7:0"
                           << "invalid address:N7:0";
    QTest::newRow("elements") << 2 << 43 << "T4:0"
                              << "invalid address:T4:0";
    QTest::newRow("named words") << 2 << 43 << "T4:0.ACC"
                                 << "invalid address:T4:0.ACC";
    QTest::newRow("floats") << 3 << 64 << "F8:0"
                            << "invalid address:F8:0";
    QTest::newRow("double words") << 3 << 64 << "N7:0"
                                  << "invalid address:N7:0";
    QTest::newRow("bytes") << 1 << 255 << "N7:0"
                           << "invalid address:N7:0";
    QTest::newRow("wrapping words") << 2 << INT_MIN << "N7:0"
                                    << "invalid address:N7:0";
    QTest::newRow("wrapping double words") << 3 << 0x40000000 << "N7:0"
                                           << "invalid address:N7:0";
    QTest::newRow("wrapping words of floats") << 2 << INT_MIN << "F8:0"
                                              << "invalid address:F8:0";
    QTest::newRow("most bytes") << 1 << INT_MAX << "F8:0"
                                << "invalid address:F8:0";
    QTest::newRow("negative bytes") << 1 << -1 << "N7:0"
                                    << "invalid address:N7:0";
    QTest::newRow("negative floats") << 3 << -1 << "F8:0"
                                     << "invalid address:F8:0";
}

// Catches: a byte count that wraps and brings back short data, and a request
// that goes out although it can't be carried.
void TestReads::refusesBeforeSending()
{
    QFETCH(int, type);
    QFETCH(int, count);
    QFETCH(QString, address);
    QFETCH(QString, text);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.retries = 2;
    QVERIFY(driver.read(&port, request(type, count, address)).isEmpty());
    QVERIFY(driver.hasError());
    QCOMPARE(driver.getLastError(), text);
    QCOMPARE(port.calls, QStringList() << "delay"
                                       << "delay"
                                       << "delay");
    QCOMPARE(static_cast<int>(driver.getTNS()), 0);
}

void TestReads::hasNoReadForOtherTypes_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("64-bit") << 4;
    QTest::newRow("unknown") << 7;
    QTest::newRow("negative") << -1;
}

// Catches: an unknown type read as something else, or retried.
void TestReads::hasNoReadForOtherTypes()
{
    QFETCH(int, type);

    DriverABMicroLogix driver;
    driver.setCommError("earlier");
    ScriptedPort port;
    port.retries = 3;
    QVERIFY(driver.read(&port, request(type, 1, "N7:0")).isEmpty());
    QVERIFY(!driver.hasError());
    QCOMPARE(port.calls, QStringList() << "delay");
}

void TestReads::refusesNamesOfPlainFiles_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("address");
    QTest::newRow("word name") << 2 << "N7:0.ACC";
    QTest::newRow("mnemonic") << 0 << "N7:0/DN";
    QTest::newRow("bit of a word name") << 0 << "N7:0.ACC/1";
}

// Catches: data of a plain file handed out under a name that only timers have.
void TestReads::refusesNamesOfPlainFiles()
{
    QFETCH(int, type);
    QFETCH(QString, address);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(soundAnswer(1, hex("010203040506")));
    QVERIFY(driver.read(&port, request(type, 1, address)).isEmpty());
    QCOMPARE(driver.getLastError(), QString("invalid bit address format"));
    QCOMPARE(port.sent.last(), hex("1006"));
}

// Catches: a limit off by one, and a reply stored past the buffer.
void TestReads::carriesWhatTheBufferHolds()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    const QByteArray largest(246, 'a');
    port.answer(soundAnswer(1, largest)).answer(soundAnswer(2, QByteArray(248, 'a')));
    port.answer(soundAnswer(3, QByteArray(245, 'a') + '\x10'));
    QCOMPARE(driver.read(&port, request(2, 123, "N7:0")), largest);
    QVERIFY(driver.read(&port, request(2, 124, "N7:0")).isEmpty());
    QCOMPARE(driver.getLastError(), QString("packet loss"));
    QCOMPARE(port.calls.last(), QString("receive 6: 00014f000200"));
    QVERIFY(driver.read(&port, request(2, 123, "N7:0")).isEmpty());
    QCOMPARE(driver.getLastError(), QString("read N7:0:response CRC error"));
}

void TestReads::retries_data()
{
    QTest::addColumn<int>("retryCount");
    QTest::addColumn<int>("soundAttempt");
    QTest::addColumn<int>("attempts");

    QTest::newRow("never answered") << 3 << 0 << 4;
    QTest::newRow("answered at once") << 3 << 1 << 1;
    QTest::newRow("answered the third time") << 3 << 3 << 3;
    QTest::newRow("answered too late") << 1 << 3 << 2;
    QTest::newRow("no retries") << 0 << 0 << 1;
    QTest::newRow("a negative number of retries") << -5 << 0 << 1;
}

// Catches: an attempt too many or too few, a transaction number used twice, a
// delay left out.
void TestReads::retries()
{
    QFETCH(int, retryCount);
    QFETCH(int, soundAttempt);
    QFETCH(int, attempts);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.retries = retryCount;
    for (int attempt = 1; attempt < soundAttempt; ++attempt)
        port.answer(QByteArray());
    port.answer(soundAttempt > 0 ? soundAnswer(soundAttempt, hex("3412")) : QByteArray());

    const bool sound = soundAttempt > 0 && soundAttempt <= attempts;
    QCOMPARE(driver.read(&port, request(2, 1, "N7:0")), sound ? hex("3412") : QByteArray());
    QCOMPARE(driver.hasError(), !sound);
    QCOMPARE(port.calls.count("delay"), attempts);
    QCOMPARE(port.sent.size(), attempts + (sound ? 1 : 0));
    for (int attempt = 1; attempt <= attempts; ++attempt)
        QCOMPARE(static_cast<int>(port.sent.at(attempt - 1).at(6)), attempt);
    QCOMPARE(driver.getLastError().isEmpty(), attempts == 1 && sound);
}

// Catches: retries decided by the flag behind an overridden hasError().
void TestReads::letsASubclassDecideAboutRetries()
{
    class Stubborn : public DriverABMicroLogix
    {
    public:
        bool hasError() override { return true; }
    } driver;

    ScriptedPort port;
    port.retries = 2;
    for (int tns = 1; tns <= 3; ++tns)
        port.answer(soundAnswer(tns, hex("3412")));
    QCOMPARE(driver.read(&port, request(2, 1, "N7:0")), hex("3412"));
    QCOMPARE(port.calls.count("delay"), 3);
}

// Catches: a delay that is asked for and not kept.
void TestReads::pausesBeforeEveryAttempt()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.delay = 20;
    port.retries = 2;
    QElapsedTimer timer;
    timer.start();
    driver.read(&port, request(2, 1, "N7"));
    QVERIFY(timer.elapsed() >= 60);
}

QTEST_APPLESS_MAIN(TestReads)
#include "tst_reads.moc"
