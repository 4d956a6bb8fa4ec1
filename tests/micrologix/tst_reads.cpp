#include <QElapsedTimer>
#include <QtTest>

#include "support/exchange.h"

class TestReads : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a wrong size, file, element form or word, and data cut wrongly.
    void reads()
    {
        const char* const timers = "00A00A000500002014000700";
        const char* const bits = "00C010001400 010014000600";
        const char* const ones = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF";
        // Words of the request, the command from its size byte on, data, result.
        const char* const rows[][4] = {
            {"2 2 N7:0", "0407890000", "01020304", "01020304"},
            {"2 0 N7:0", "0007890000", "", ""},
            {"1 3 N7:0", "0407890000", "01020304", "010203"},
            {"5 1 B3:9", "0203850900", "0102", "01"},
            {"3 2 N7:10", "0807890A00", "0102030405060708", "0102030405060708"},
            {"2 2 F8:0", "04088A0000", "0000803F", "0000803F"},
            {"2 1 F8:0", "04088A0000", "0000803F", "0000"},
            {"1 5 f8:0", "08088A0000", "0102030405060708", "0102030405"},
            {"3 2 F8:1", "08088A0100", "0000803F00000040", "0000803F00000040"},
            {"2 1 I:0", "0201830000", "0102", "0102"},
            {"2 1 O5:0", "0200820000", "0102", "0102"},
            {"2 1 I300:0", "0201830000", "0102", "0102"},
            {"2 1 O300:0", "0200820000", "0102", "0102"},
            {"2 1 N7:254", "020789FE00", "0102", "0102"},
            {"2 1 N7:255", "020789FFFF0000", "0102", "0102"},
            {"2 1 N255:0", "02FF890000", "0102", "0102"},
            {"2 1 N7:65537", "0207890100", "0102", "0102"},
            {"2 1 NX:0", "0200890000", "0102", "0102"},
            {"2 1 NX99999999999999999999:0", "0200890000", "0102", "0102"},
            {"2 1 L9:0", "02FF000000", "0102", "0102"},
            {"2 2 T4:300", "0C0486FF2C0100", timers, "00A00020"},
            {"2 2 t4:0.preset/3", "0C04860000", timers, "0A001400"},
            {"2 2 T4:0.DN", "0C04860000", timers, "05000700"},
            {"3 1 T4:0", "0C04860000", timers, "00A00020"},
            {"2 1 T4:0.PRX", "0604860000", "00A00A000500", "0500"},
            {"2 1 C5:1.ACC", "0605870100", "008005000300", "0300"},
            {"2 1 R6:0.LEN", "0606880000", "008005000300", "0500"},
            {"2 1 R6:0.PRE", "0606880000", "008005000300", "0300"},
            {"0 1 B3:0/5", "0203850000", "2000", "01"},
            {"6 1 N7:2/15", "0207890200", "0080", "0100"},
            {"0 2 B3:0/15", "0403850000", "00800100", "030000"},
            {"0 16 N7:10/3", "0407890A00", "F8FF0300", "FF7F00"},
            {"0 1 B3:0/300", "0603850000", "000000000010", "010000000000"}, // cut to 8 bits
            {"0 0 B3:0/0", "0003850000", "", ""},
            {"0 4 T4:0/14", "0C04860000", bits, "070000"},
            {"0 3 T4:0/DN", "1204860000", "002000000000 000000000000 00A000000000", "0500"},
            {"0 1 c5:0/cu", "0605870000", "008000000000", "0100"},
            {"0 1 R6:0/FD", "0606880000", "000100000000", "0100"},
            {"0 4 C5:0/XY", "1805870000", ones, "00"},
            {"0 1 T4:1.ACC/3", "0604860100", "000000000800", "01"},
            {"0 1 T4:1.PRE/20", "0C04860100", bits, "010000"},
            {"0 1 R6:0.LEN/0", "0606880000", "000001000000", "01"},
            {"0 1 R6:0.PRE/0", "0606880000", "000000000100", "01"},
        };
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(reply(1, hex(row[2])));
            ROW_COMPARE(row[0], driver.read(&port, request(row[0])), hex(row[3]));
            ROW_COMPARE(row[0], driver.hasError(), false);
            ROW_COMPARE(row[0], port.sent.first(), requestFrame(1, hex("A2") + hex(row[1])));
        }
    }

    // Catches: a byte count that wraps and brings back short data, and a request
    // that goes out although it can't be carried.
    void refusesBeforeSending()
    {
        checkRefusals(false, "2 1 N7,2 1 N7:0/3,2 1  N7:0,2 1 ,3 1 F8:0.ACC,2 1 -T4:0.ACC",
                      "invalid address format");
        checkRefusals(false,
                      "0 1 N7:0,0 1 T4:0/1a,0 1 -B3:0/1,0 1 T4:0/DN1,0 1 -T4:0/DN,"
                      "0 1 -T4:0.ACC/3,0 1 T4:0.ACC/3x",
                      "invalid bit address format");
        checkRefusals(
            false,
            "0 2033 B3:0/0,0 657 T4:0/16,0 43 T4:0/DN,0 2147483647 T4:0.ACC/255,0 -1 B3:0/5,"
            "2 1 N256:0,2 1 N99999999999999999999:0,0 1 T300:0/DN,2 128 N7:0,2 43 T4:0,"
            "2 43 T4:0.ACC,3 64 F8:0,3 64 N7:0,1 255 N7:0,2 -2147483648 N7:0,"
            "3 1073741824 N7:0,3 -2147483648 N7:0,2 -2147483648 F8:0,1 2147483647 F8:0,1 -1 N7:0,3 "
            "-1 F8:0",
            "invalid address:%1");
    }

    // Catches: data of a plain file handed out under a name that only timers have.
    void refusesNamesOfPlainFiles()
    {
        const char* const rows[] = {"2 1 N7:0.ACC", "0 1 N7:0/DN", "0 1 N7:0.ACC/1"};
        for (const char* row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(reply(1, hex("010203040506")));
            ROW_COMPARE(row, driver.read(&port, request(row)), QByteArray());
            ROW_COMPARE(row, driver.getLastError(), "invalid bit address format");
            ROW_COMPARE(row, port.sent.last(), hex("1006"));
        }
    }

    // Catches: a limit off by one, and a reply stored past the buffer.
    void carriesWhatTheBufferHolds()
    {
        DriverABMicroLogix driver;
        ScriptedPort port;
        const QByteArray largest(246, 'a');
        port.answer(reply(1, largest)).answer(reply(2, QByteArray(248, 'a')));
        port.answer(reply(3, QByteArray(245, 'a') + '\x10')).answer(reply(4, largest));
        QCOMPARE(driver.read(&port, request(2, 123, "N7:0")), largest);
        QVERIFY(driver.read(&port, request(2, 124, "N7:0")).isEmpty());
        QCOMPARE(driver.getLastError(), QString("packet loss"));
        QCOMPARE(port.calls.last(), QString("receive 6: 00014f000200"));
        QVERIFY(driver.read(&port, request(2, 123, "N7:0")).isEmpty());
        QCOMPARE(driver.getLastError(), QString("read N7:0:response CRC error"));
        QCOMPARE(driver.read(&port, request("0 1968 N7:0/0")), largest);
    }

    // Catches: an attempt too many or too few, a transaction number used twice, a
    // delay left out.
    void retries()
    {
        const struct
        {
            const char* name;
            int retryCount, soundAttempt, attempts;
        } rows[] = {{"never answered", 3, 0, 4}, {"at once", 3, 1, 1},    {"third time", 3, 3, 3},
                    {"too late", 1, 3, 2},       {"no retries", 0, 0, 1}, {"negative", -5, 0, 1}};
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.retries = row.retryCount;
            for (int attempt = 1; attempt < row.soundAttempt; ++attempt)
                port.answer(QByteArray());
            port.answer(row.soundAttempt > 0 ? reply(row.soundAttempt, hex("3412")) : QByteArray());
            const bool sound = row.soundAttempt > 0 && row.soundAttempt <= row.attempts;
            ROW_COMPARE(row.name, driver.read(&port, request(2, 1, "N7:0")),
                        hex(sound ? "3412" : ""));
            ROW_COMPARE(row.name, driver.hasError(), !sound);
            ROW_COMPARE(row.name, port.calls.count("delay"), row.attempts);
            ROW_COMPARE(row.name, port.sent.size(), row.attempts + (sound ? 1 : 0));
            for (int attempt = 1; attempt <= row.attempts; ++attempt)
                ROW_COMPARE(row.name, port.sent.at(attempt - 1).at(6), attempt);
            ROW_COMPARE(row.name, driver.getLastError().isEmpty(), row.attempts == 1 && sound);
        }
    }

    // Catches: retries decided by the flag behind an overridden hasError(), and a delay
    // that is asked for and not kept.
    void letsASubclassDecideAboutRetries()
    {
        class Stubborn : public DriverABMicroLogix
        {
        public:
            bool hasError() override { return true; }
        } driver;
        ScriptedPort port;
        port.retries = 59;
        port.delay = 1;
        for (int attempt = 1; attempt <= 60; ++attempt)
            port.answer(reply(attempt, hex("3412")));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(driver.read(&port, request(2, 1, "N7:0")), hex("3412"));
        QCOMPARE(port.calls.count("delay"), 60);
        QVERIFY(timer.elapsed() >= 60);
    }
};

QTEST_APPLESS_MAIN(TestReads)
#include "tst_reads.moc"
