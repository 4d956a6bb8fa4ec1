#include <QtTest>

#include "support/exchange.h"

class TestWrites : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a write that reaches another element, word or bit, or other data.
    void writes()
    {
        // Words of the request, data, commands from the function code on.
        const char* const rows[][3] = {
            // Bits: AB, size 2, file, type, element, sub-element, mask, value.
            {"0 1 B3:2/5", "01", "AB0203850200 2000 2000"},
            {"0 1 B3:2/5", "00", "AB0203850200 2000 0000"},
            {"0 1 B3:2/5", "0200", "AB0203850200 2000 2000"},
            {"0 1 B3:2/5", "", "AB0203850200 2000 0000"},
            {"0 1 T10:1/DN", "01", "AB020A860100 0020 0020"},
            {"0 1 c5:0/cu", "01", "AB0205870000 0080 0080"},
            {"0 1 R6:0/FD", "01", "AB0206880000 0001 0001"},
            {"0 1 T4:0.ACC/3", "01", "AB0204860002 0800 0800"},
            {"0 1 B3:0/18", "01", "AB0203850100 0400 0400"},
            {"0 1 T4:0/29", "01", "AB0204860100 0020 0020"},
            {"0 1 T4:0.ACC/20", "01", "AB0204860102 1000 1000"},
            {"0 1 N7:65520/255", "01", "AB020789FFFFFF00 0080 0080"},
            {"0 1 B3:0/256", "01", "AB0203850000 0100 0100"}, // cut to 8 bits
            // Words: AA, size, file, type, element, sub-element, data.
            {"2 1 N7:0", "34127856", "AA0407890000 34127856"},
            {"1 1 N7:0", "010203", "AA0307890000 010203"},
            {"3 1 F8:1", "0000803F", "AA04088A0100 0000803F"},
            {"5 1 N7:300", "", "AA000789FF2C0100"},
            {"1 1 T4:0", "010203", "AA0204860000 0102, AA0204860100 0300"},
            {"2 1 C5:2", "01020304", "AA0205870200 0102, AA0205870300 0304"},
            {"2 1 T4:65535", "01020304", "AA020486FFFFFF00 0102, AA0204860000 0304"},
            {"2 1 T4:0", "", ""},
            {"2 1 T4:0.ACC", "01020304", "AA0204860002 0102, AA0204860102 0304"},
            {"2 1 R6:1.LEN", "0102", "AA0206880101 0102"},
            {"2 1 T4:0.PRE/3", "0102", "AA0204860001 0102"},
            {"2 1 T4:0.XYZ", "0102", "AA02048600FF 0102"},
            {"2 1 T4:0.ACC", "", ""},
        };
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            QList<QByteArray> commands = QByteArray(row[2]).split(','), expected;
            commands.removeAll("");
            for (int tns = 1; tns <= commands.size(); ++tns) {
                port.answer(reply(tns));
                expected << requestFrame(tns, hex(commands.at(tns - 1))) << hex("1006");
            }
            ROW_COMPARE(row[0], driver.write(&port, request(row[0]), hex(row[1])), true);
            ROW_COMPARE(row[0], driver.hasError(), false);
            ROW_COMPARE(row[0], joined(port.sent), joined(expected));
        }
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.answer(reply(1));
        const QByteArray many(255, 'a');
        QVERIFY(driver.write(&port, request("5 1 N7:0"), many));
        QCOMPARE(port.sent.first(), requestFrame(1, hex("AAFF07890000") + many));
    }

    // Catches: a write that goes out although it would land somewhere else.
    void refusesBeforeSending()
    {
        checkRefusals(true, "0 1 N7:0,0 1 T4:0/1a,2 2 N7,2 2 N7:0/3,2 2 ",
                      "invalid bit address format");
        checkRefusals(true,
                      "0 1 N7:0/DN,0 1 C5:0/XY,0 1 R6:0/XY,0 1 B3:65535/16,5 256 N7:0,2 2 N256:0,"
                      "0 1 B300:0/1,2 2 T256:0.ACC",
                      "invalid address:%1");
    }

    // Catches: an unknown type read or written as something else, or retried.
    void doesNothingForOtherTypes()
    {
        const char* const rows[] = {"4 1 N7:0", "6 1 N7:0", "7 1 N7:0", "-1 1 N7:0"};
        for (const char* row : rows) {
            DriverABMicroLogix driver;
            driver.setCommError("earlier");
            ScriptedPort port;
            port.retries = 3;
            ROW_COMPARE(row, driver.write(&port, request(row), hex("0100")), false);
            ROW_COMPARE(row, driver.hasError(), false);
            ROW_COMPARE(row, port.calls.join(" "), "delay");
            driver.setCommError("earlier");
            if (*row == '6')
                continue;
            ROW_COMPARE(row, driver.read(&port, request(row)), QByteArray());
            ROW_COMPARE(row, driver.hasError(), false);
            ROW_COMPARE(row, port.calls.join(" "), "delay delay");
        }
    }

    // Catches: a write reported as done without the controller's sound word for it.
    void confirmation()
    {
        const char* const crc = "read N7:0:response CRC error";
        const QByteArray sound = reply(1);
        const struct
        {
            const char* name;
            QByteArray answer;
            const char* text;
            int acks;
        } rows[] = {
            {"sound", sound, "", 1},
            {"NAK", hex("1015"), "read N7:0:request CRC error", 0},
            {"no trailer", sound.left(10), "packet loss", 0},
            {"one byte", sound.left(11), "packet loss", 0},
            {"two bytes", sound.left(12), crc, 0},
            {"three bytes", sound.left(13), crc, 0},
            {"damaged", damaged(sound), crc, 0},
            {"refused", reply(1, "", "10"), "invalid address:N7:0", 1},
            {"refused, extended", reply(1, hex("0B"), "F0"), "invalid address:N7:0", 1},
            {"reply of a read", reply(1, hex("3412")), crc, 0},
        };
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(row.answer);
            const bool done = driver.write(&port, request(2, 1, "N7:0"), hex("3412"));
            ROW_COMPARE(row.name, done, *row.text == '\0');
            ROW_COMPARE(row.name, driver.getLastError(), row.text);
            ROW_COMPARE(row.name, driver.hasError(), !done);
            ROW_COMPARE(row.name, port.sent.size(), 1 + row.acks);
        }
    }

    // Catches: a frame sent in pieces, input emptied too late, a read too many.
    void makesTheseCallsInThisOrder()
    {
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.answer(reply(1));
        QVERIFY(driver.write(&port, request(0, 1, "B3:0/0"), hex("01")));
        const QByteArray sent = port.sent.first().toHex(), check = reply(1).right(2).toHex();
        QCOMPARE(
            port.calls.join(", ").toLatin1(),
            "delay, set 12=0, send " + sent
                + ", receive 2: 1006, receive 2: 1002, receive 6: 00014f000100, receive 4: 1003"
                + check + ", send 1006");
    }

    // Catches: words written behind one that the controller has refused, and a retry
    // that does not begin again.
    void stopsAtTheFirstRefusedWord()
    {
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.retries = 1;
        port.answer(reply(1))
            .answer(reply(2, "", "10"))
            .answer(reply(3))
            .answer(reply(4, "", "10"));
        QVERIFY(!driver.write(&port, request(2, 1, "T4:5"), hex("010203040506")));
        QCOMPARE(driver.getLastError(), QString("invalid address:T4:5"));
        QCOMPARE(port.sent.size(), 8);
        QCOMPARE(port.sent.at(4), requestFrame(3, hex("AA0204860500 0102")));
        QCOMPARE(port.calls.count("delay"), 2);
    }

    // Catches: a text cleared by a success that the host has yet to show.
    void keepsTheTextOfAnEarlierFailure()
    {
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.answer(QByteArray()).answer(reply(2));
        QVERIFY(!driver.write(&port, request(2, 1, "N7:0"), hex("3412")));
        QVERIFY(driver.write(&port, request(2, 1, "N7:0"), hex("3412")));
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString("PLC no response"));
    }
};

QTEST_APPLESS_MAIN(TestWrites)
#include "tst_writes.moc"
