#include <QtTest>

#include "drivers/micrologix/micrologix.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/scriptedport.h"

typedef QList<QByteArray> Commands;
typedef QList<QByteArray> Pieces;
Q_DECLARE_METATYPE(Commands)

namespace {

/// The frame of the command that the request with number @p tns carries.
QByteArray requestFrame(int tns, const QByteArray& command)
{
    QByteArray message = hex("01000F00");
    message += static_cast<char>(tns);
    message += '\0';
    return frameOf(message + command);
}

QByteArray reply(int tns, const char* status = "00", const char* extended = "")
{
    QByteArray message = hex("00014F") + hex(status);
    message += static_cast<char>(tns);
    message += '\0';
    return hex("1006") + frameOf(message + hex(extended));
}

}

class TestWrites : public QObject
{
    Q_OBJECT

private slots:
    void writes_data();
    void writes();
    void refusesBeforeSending_data();
    void refusesBeforeSending();
    void hasNoWriteForOtherTypes_data();
    void hasNoWriteForOtherTypes();
    void confirmation_data();
    void confirmation();
    void makesTheseCallsInThisOrder();
    void stopsAtTheFirstRefusedWord();
    void keepsTheTextOfAnEarlierFailure();
};

void TestWrites::writes_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<Commands>("commands"); // from the function code on

    // Bits: AB, size 2, file, type, element, sub-element, mask, value.
    const QByteArray on = hex("01");
    QTest::newRow("bit on") << 0 << "B3:2/5" << on << (Commands() << hex("AB0203850200 2000 2000"));
    QTest::newRow("bit off") << 0 << "B3:2/5" << hex("00")
                             << (Commands() << hex("AB0203850200 2000 0000"));
    QTest::newRow("any bit of the first byte")
        << 0 << "B3:2/5" << hex("0200") << (Commands() << hex("AB0203850200 2000 2000"));
    QTest::newRow("no data is off")
        << 0 << "B3:2/5" << QByteArray() << (Commands() << hex("AB0203850200 2000 0000"));
    QTest::newRow("high byte") << 0 << "N7:0/15" << on
                               << (Commands() << hex("AB0207890000 0080 0080"));
    QTest::newRow("timer mnemonic")
        << 0 << "T10:1/DN" << on << (Commands() << hex("AB020A860100 0020 0020"));
    QTest::newRow("counter mnemonic")
        << 0 << "c5:0/cu" << on << (Commands() << hex("AB0205870000 0080 0080"));
    QTest::newRow("control mnemonic")
        << 0 << "R6:0/FD" << on << (Commands() << hex("AB0206880000 0001 0001"));
    QTest::newRow("bit of a named word")
        << 0 << "T4:0.ACC/3" << on << (Commands() << hex("AB0204860002 0800 0800"));
    QTest::newRow("carried into the next word")
        << 0 << "B3:0/18" << on << (Commands() << hex("AB0203850100 0400 0400"));
    QTest::newRow("carried into the next timer")
        << 0 << "T4:0/29" << on << (Commands() << hex("AB0204860100 0020 0020"));
    QTest::newRow("carried into the next timer's word")
        << 0 << "T4:0.ACC/20" << on << (Commands() << hex("AB0204860102 1000 1000"));
    QTest::newRow("carried as far as can be")
        << 0 << "N7:65520/255" << on << (Commands() << hex("AB020789FFFFFF00 0080 0080"));
    QTest::newRow("bit number cut to 8 bits")
        << 0 << "B3:0/256" << on << (Commands() << hex("AB0203850000 0100 0100"));

    // Words: AA, size, file, type, element, sub-element, data.
    QTest::newRow("words") << 2 << "N7:0" << hex("34127856")
                           << (Commands() << hex("AA0407890000 34127856"));
    QTest::newRow("odd bytes") << 1 << "N7:0" << hex("010203")
                               << (Commands() << hex("AA0307890000 010203"));
    QTest::newRow("float") << 3 << "F8:1" << hex("0000803F")
                           << (Commands() << hex("AA04088A0100 0000803F"));
    QTest::newRow("no words") << 5 << "N7:300" << QByteArray()
                              << (Commands() << hex("AA000789FF2C0100"));
    QTest::newRow("most bytes") << 5 << "N7:0" << QByteArray(255, 'a')
                                << (Commands() << hex("AAFF07890000") + QByteArray(255, 'a'));
    QTest::newRow("timers, padded")
        << 1 << "T4:0" << hex("010203")
        << (Commands() << hex("AA0204860000 0102") << hex("AA0204860100 0300"));
    QTest::newRow("counters") << 2 << "C5:2" << hex("010203040506")
                              << (Commands() << hex("AA0205870200 0102") << hex("AA0205870300 0304")
                                             << hex("AA0205870400 0506"));
    QTest::newRow("elements round the end")
        << 2 << "T4:65535" << hex("01020304")
        << (Commands() << hex("AA020486FFFFFF00 0102") << hex("AA0204860000 0304"));
    QTest::newRow("no timers") << 2 << "T4:0" << QByteArray() << Commands();
    QTest::newRow("accumulators") << 2 << "T4:0.ACC" << hex("01020304")
                                  << (Commands()
                                      << hex("AA0204860002 0102") << hex("AA0204860102 0304"));
    QTest::newRow("length") << 2 << "R6:1.LEN" << hex("0102")
                            << (Commands() << hex("AA0206880101 0102"));
    QTest::newRow("named word with a tail")
        << 2 << "T4:0.PRE/3" << hex("0102") << (Commands() << hex("AA0204860001 0102"));
    QTest::newRow("unknown word name")
        << 2 << "T4:0.XYZ" << hex("0102") << (Commands() << hex("AA02048600FF 0102"));
    QTest::newRow("no named words") << 2 << "T4:0.ACC" << QByteArray() << Commands();
}

// Catches: a write that reaches another element, word or bit, or other data.
void TestWrites::writes()
{
    QFETCH(int, type);
    QFETCH(QString, address);
    QFETCH(QByteArray, data);
    QFETCH(Commands, commands);

    DriverABMicroLogix driver;
    ScriptedPort port;
    QList<QByteArray> expected;
    for (int i = 0; i < commands.size(); ++i) {
        port.answer(reply(i + 1));
        expected << requestFrame(i + 1, commands.at(i)) << hex("1006");
    }
    QVERIFY2(driver.write(&port, request(type, 1, address), data),
             qPrintable(driver.getLastError()));
    QVERIFY(!driver.hasError());
    QCOMPARE(port.sent.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(port.sent.at(i).toHex(), expected.at(i).toHex());
}

void TestWrites::refusesBeforeSending_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("text");

    const QString format("invalid bit address format");
    QTest::newRow("bit without a number") << 0 << "N7:0" << 1 << format;
    QTest::newRow("bit with a tail") << 0 << "T4:0/1a" << 1 << format;
    QTest::newRow("word without an element") << 2 << "N7" << 2 << format;
    QTest::newRow("word with a bit") << 2 << "N7:0/3" << 2 << format;
    QTest::newRow("null") << 2 << QString() << 2 << format;
    QTest::newRow("mnemonic of a plain file") << 0 << "N7:0/DN" << 1 << "invalid address:N7:0/DN";
    QTest::newRow("no such counter bit") << 0 << "C5:0/XY" << 1 << "invalid address:C5:0/XY";
    QTest::newRow("no such control bit") << 0 << "R6:0/XY" << 1 << "invalid address:R6:0/XY";
    QTest::newRow("carried too far") << 0 << "B3:65535/16" << 1 << "invalid address:B3:65535/16";
    QTest::newRow("too many bytes") << 5 << "N7:0" << 256 << "invalid address:N7:0";
    QTest::newRow("file beyond 255") << 2 << "N300:0" << 2 << "invalid address:N300:0";
    QTest::newRow("bit of a file beyond 255") << 0 << "B300:0/1" << 1 << "invalid address:B300:0/1";
    QTest::newRow("timer file beyond 255")
        << 2 << "T256:0.ACC" << 2 << "invalid address:T256:0.ACC";
}

// Catches: a write that goes out although it would land somewhere else.
void TestWrites::refusesBeforeSending()
{
    QFETCH(int, type);
    QFETCH(QString, address);
    QFETCH(int, size);
    QFETCH(QString, text);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.retries = 2;
    QVERIFY(!driver.write(&port, request(type, 1, address), QByteArray(size, '\x01')));
    QVERIFY(driver.hasError());
    QCOMPARE(driver.getLastError(), text);
    QCOMPARE(port.calls, QStringList() << "delay"
                                       << "delay"
                                       << "delay");
}

void TestWrites::hasNoWriteForOtherTypes_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("64-bit") << 4;
    QTest::newRow("bit too") << 6;
    QTest::newRow("unknown") << 7;
    QTest::newRow("negative") << -1;
}

// Catches: an unknown type written as something else, or retried.
void TestWrites::hasNoWriteForOtherTypes()
{
    QFETCH(int, type);

    DriverABMicroLogix driver;
    driver.setCommError("earlier");
    ScriptedPort port;
    port.retries = 3;
    QVERIFY(!driver.write(&port, request(type, 1, "N7:0"), hex("0100")));
    QVERIFY(!driver.hasError());
    QCOMPARE(port.calls, QStringList() << "delay");
}

void TestWrites::confirmation_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("acks");

    const QString loss("packet loss");
    const QString responseCrc("read N7:0:response CRC error");
    const QByteArray sound = reply(1);
    QByteArray damaged = sound;
    damaged[damaged.size() - 1] = static_cast<char>(~damaged.at(damaged.size() - 1));
    QTest::newRow("sound") << sound << QString() << 1;
    QTest::newRow("NAK") << hex("1015") << "read N7:0:request CRC error" << 0;
    QTest::newRow("no trailer") << sound.left(10) << loss << 0;
    QTest::newRow("one byte") << sound.left(11) << loss << 0;
    QTest::newRow("two bytes") << sound.left(12) << responseCrc << 0;
    QTest::newRow("three bytes") << sound.left(13) << responseCrc << 0;
    QTest::newRow("damaged") << damaged << responseCrc << 0;
    QTest::newRow("refused") << reply(1, "10") << "invalid address:N7:0" << 1;
    QTest::newRow("refused, extended") << reply(1, "F0", "0B") << "invalid address:N7:0" << 1;
    QTest::newRow("reply of a read") << reply(1, "00", "3412") << responseCrc << 0;
}

// Catches: a write reported as done without the controller's sound word for it.
void TestWrites::confirmation()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, text);
    QFETCH(int, acks);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(answer);
    QCOMPARE(driver.write(&port, request(2, 1, "N7:0"), hex("3412")), text.isEmpty());
    QCOMPARE(driver.getLastError(), text);
    QCOMPARE(driver.hasError(), !text.isEmpty());
    QCOMPARE(port.sent.size(), 1 + acks);
}

// Catches: a frame sent in pieces, input emptied too late, a read too many.
void TestWrites::makesTheseCallsInThisOrder()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(reply(1));
    QVERIFY(driver.write(&port, request(0, 1, "B3:0/0"), hex("01")));
    const QString frame = QString::fromLatin1(port.sent.first().toHex());
    const QString check = QString::fromLatin1(reply(1).right(2).toHex());
    QCOMPARE(port.calls, QStringList() << "delay"
                                       << "set 12=0"
                                       << "send " + frame << "receive 2: 1006"
                                       << "receive 2: 1002"
                                       << "receive 6: 00014f000100"
                                       << "receive 4: 1003" + check << "send 1006");
}

// Catches: words written behind one that the controller has refused, and a retry
// that does not begin again.
void TestWrites::stopsAtTheFirstRefusedWord()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.retries = 1;
    port.answer(reply(1)).answer(reply(2, "10")).answer(reply(3)).answer(reply(4, "10"));
    QVERIFY(!driver.write(&port, request(2, 1, "T4:5"), hex("010203040506")));
    QCOMPARE(driver.getLastError(), QString("invalid address:T4:5"));
    QCOMPARE(port.sent.size(), 8);
    QCOMPARE(port.sent.at(4), requestFrame(3, hex("AA0204860500 0102")));
    QCOMPARE(port.calls.count("delay"), 2);
}

// Catches: a text cleared by a success that the host has yet to show.
void TestWrites::keepsTheTextOfAnEarlierFailure()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(QByteArray()).answer(reply(2));
    QVERIFY(!driver.write(&port, request(2, 1, "N7:0"), hex("3412")));
    QVERIFY(driver.write(&port, request(2, 1, "N7:0"), hex("3412")));
    QVERIFY(!driver.hasError());
    QCOMPARE(driver.getLastError(), QString("PLC no response"));
}

QTEST_APPLESS_MAIN(TestWrites)
#include "tst_writes.moc"
