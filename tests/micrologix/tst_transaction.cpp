#include <QtTest>

#include "support/exchange.h"

typedef QList<QByteArray> Pieces;

namespace {

const QByteArray ACK = hex("1006");
const QByteArray ENQ = hex("1005");
const QByteArray SILENCE;

}

class TestTransaction : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a wrong text, an ACK for a damaged reply, a drain where none belongs
    // or none where one does, data handed out after a failure.
    void reception()
    {
        const char* const silent = "PLC no response";
        const char* const loss = "packet loss";
        const char* const noAck = "PLC no ack";
        const char* const requestCrc = "read N7:0:request CRC error";
        const char* const crc = "read N7:0:response CRC error";
        const char* const refused = "invalid address:N7:0";
        const char* const wrong = "invalid response from PLC";
        const QByteArray NAK = hex("1015"), start = hex("10061002");
        const QByteArray whole = reply(1, hex("3412")), sound = whole.mid(2);
        const QByteArray dles = reply(1, hex("1010")), refusal = reply(1, "", "10");
        const QByteArray extended = reply(1, hex("09"), "F0");
        const struct
        {
            const char* name;
            Pieces answer;
            const char* text;
            int acks, drainRounds;
        } rows[] = {
            {"sound", Pieces() << whole, "", 1, 0},
            {"link: nothing", Pieces(), silent, 0, 0},
            {"link: one byte", Pieces() << hex("10"), loss, 0, 0},
            {"link: NAK", Pieces() << NAK, requestCrc, 0, 0},
            {"link: noise", Pieces() << hex("4142"), "invalid PLC response", 3, 3},
            {"ENQ, ACK", Pieces() << ENQ << whole, "", 2, 0},
            {"ENQ, silence, ACK", Pieces() << ENQ << SILENCE << whole, "", 2, 0},
            {"ENQ, ACK third", Pieces() << ENQ << SILENCE << SILENCE << whole, noAck, 1, 0},
            {"ENQ, silence", Pieces() << ENQ, noAck, 1, 0},
            {"ENQ, NAK", Pieces() << ENQ << NAK, requestCrc, 1, 0},
            {"ENQ, noise, half an ACK", Pieces() << ENQ << hex("4106") << hex("10"), noAck, 1, 0},
            {"start: nothing", Pieces() << ACK, silent, 0, 0},
            {"start: one byte", Pieces() << ACK + '\x10', loss, 0, 0},
            {"start: ACK", Pieces() << ACK + ACK, "invalid response from PLC3", 3, 3},
            {"start: ENQ, STX", Pieces() << ACK + ENQ + sound, "", 2, 0},
            {"start: STX third", Pieces() << ACK + ENQ + ACK + ACK + sound, noAck, 1, 0},
            {"header: five bytes", Pieces() << start + hex("00014F0001"), loss, 0, 0},
            {"header: late byte", Pieces() << start + hex("00014F0001") << whole.mid(9), loss, 0,
             0},
            {"header: lone DLE", Pieces() << start + hex("00014F000110"), loss, 0, 0},
            {"header: cut pair", Pieces() << start + hex("101010104F00") << hex("10"),
             "invalid response from PLC1", 3, 3},
            {"other panel", Pieces() << ACK + frameOf(hex("02014F0001003412")), wrong, 3, 3},
            {"other controller", Pieces() << ACK + frameOf(hex("00024F0001003412")), wrong, 3, 3},
            {"other command", Pieces() << ACK + frameOf(hex("0001460001003412")), wrong, 3, 3},
            {"request before", Pieces() << reply(0, hex("3412")), wrong, 3, 3},
            {"status 10", Pieces() << refusal, refused, 1, 0},
            {"status 10, damaged", Pieces() << damaged(refusal), crc, 0, 0},
            {"status 10, cut", Pieces() << refusal.left(13), loss, 0, 0},
            {"status F0, 09", Pieces() << extended, refused, 1, 0},
            {"status F0, 10 doubled", Pieces() << reply(1, hex("10"), "F0"), refused, 1, 0},
            {"status F0, damaged", Pieces() << damaged(extended), crc, 0, 0},
            {"status F0, lone DLE", Pieces() << extended.left(10) + hex("104110F6EF"), crc, 0, 0},
            {"status F0, cut", Pieces() << extended.left(13), crc, 0, 0},
            {"data: cut", Pieces() << whole.left(15), loss, 0, 0},
            {"data: late", Pieces() << whole.left(15) << whole.mid(15), loss, 0, 0},
            {"data: none", Pieces() << whole.left(10), loss, 0, 0},
            {"data: damaged", Pieces() << damaged(whole), crc, 0, 0},
            {"data: less", Pieces() << reply(1, hex("34")), loss, 0, 0},
            {"data: more", Pieces() << reply(1, hex("341256")), crc, 0, 0},
            {"data: DLEs, no check", Pieces() << dles.left(16), loss, 0, 0},
            {"data: DLEs, half a check", Pieces() << dles.left(17), crc, 0, 0},
            {"data: cut DLE pair", Pieces() << dles.left(13) << hex("10101003"), loss, 0, 0},
        };
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(row.answer);
            port.pendingRounds = 2;
            const QByteArray data = driver.read(&port, request(2, 1, "N7:0"));
            ROW_COMPARE(row.name, driver.getLastError(), row.text);
            ROW_COMPARE(row.name, driver.hasError(), *row.text != '\0');
            ROW_COMPARE(row.name, data, hex(*row.text == '\0' ? "3412" : ""));
            ROW_COMPARE(row.name, port.sent.size(), 1 + row.acks);
            ROW_COMPARE(row.name, port.sent.count(ACK), row.acks);
            ROW_COMPARE(row.name, port.calls.count("get 13"), row.drainRounds);
            ROW_COMPARE(row.name, port.calls.count("set 12=0"), 1 + qMax(0, row.drainRounds - 1));
        }
    }

    // Catches: a drain that never ends on a line that babbles, or gives it no time.
    void drainsAtMostAHundredTimes()
    {
        DriverABMicroLogix driver;
        ScriptedPort port;
        port.answer(hex("4142"));
        port.pendingRounds = 1000;
        QElapsedTimer timer;
        timer.start();
        driver.read(&port, request(2, 1, "N7:0"));
        QVERIFY(timer.elapsed() >= 300);
        QCOMPARE(port.sent.count(ACK), 100);
        QCOMPARE(port.calls.count("get 13"), 100);
    }

    // Catches: a frame sent in pieces, input emptied too late, a read too many or for
    // more than the reply holds (a wait for nothing), a reply full of DLEs cut short.
    void makesTheseCallsInThisOrder()
    {
        const QString start = "receive 2: 1006, receive 2: 1002, receive 6: 00014f00%1, ";
        const QString sound = start.arg("0100"), refused = "receive 6: 00014ff00100, ";
        const struct
        {
            int count;
            QByteArray answer;
            QString received;
        } rows[] = {
            {1, reply(1, hex("3412")), sound + "receive 6: 341210034fa7, send 1006"},
            {1, reply(1, hex("7810")), sound + "receive 6: 78101010038f, receive 1: 10, send 1006"},
            {5, reply(1, 'A' + QByteArray(9, '\x10')),
             sound
                 + "receive 14: 4110101010101010101010101010, receive 7: 10101010101003, "
                   "receive 2: ca17, send 1006"},
            {1, reply(1, hex("09"), "F0"),
             "receive 2: 1006, receive 2: 1002, " + refused + "receive 5: 0910031947, send 1006"},
            {1, reply(1, hex("10"), "F0"),
             "receive 2: 1006, receive 2: 1002, " + refused
                 + "receive 5: 1010100312, receive 1: d7, send 1006"},
            {1, reply(1, "", "10").left(13),
             "receive 2: 1006, receive 2: 1002, receive 6: 00014f101001, "
             "receive 1: 00, receive 4: 1003"},
            {1, ENQ, "receive 2: 1005, send 1006, receive 2: , receive 2: , receive 2: "},
        };
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(row.answer);
            driver.read(&port, request(2, row.count, "N7:0"));
            const QByteArray command =
                hex("A2") + static_cast<char>(2 * row.count) + hex("07890000");
            const QString sent = QString("send ") + requestFrame(1, command).toHex();
            ROW_COMPARE(row.answer.toHex(), port.calls.join(", "),
                        "delay, set 12=0, " + sent + ", " + row.received);
        }
    }

    // Catches: a header taken apart before it is folded, or read one byte short.
    void takesAHeaderFullOfDles()
    {
        DriverABMicroLogix driver;
        while (driver.getTNS() != 0x100F)
            driver.getNextTNS();
        ScriptedPort port;
        port.destination = 0x10;
        port.source = 0x10;
        port.answer(ACK + frameOf(hex("10104F0010101010")));
        QCOMPARE(driver.read(&port, request(2, 1, "N7:16")), hex("1010"));
        QCOMPARE(port.sent.first(), frameOf(hex("10100f001010a20207891000")));
    }

    // Catches: any single damaged, lost or delayed byte that comes back as data.
    void neverReturnsDamagedData()
    {
        const QByteArray expected = hex("341210785601"), line = reply(1, expected);
        QList<Pieces> faults;
        for (int at = 0; at < line.size(); ++at) {
            faults << (Pieces() << line.left(at));
            faults << (Pieces() << line.left(at) << line.mid(at));
            faults << (Pieces() << line.left(at) + line.mid(at + 1));
            faults << (Pieces() << line.left(at) + line.at(at) + line.mid(at));
            for (int bit = 0; bit < 8; ++bit) {
                QByteArray flipped = line;
                flipped[at] = static_cast<char>(flipped.at(at) ^ (1 << bit));
                faults << (Pieces() << flipped);
            }
        }
        for (int i = 0; i < faults.size(); ++i) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(faults.at(i));
            const QByteArray data = driver.read(&port, request(2, 3, "N7:0"));
            ROW_COMPARE(joined(faults.at(i)), data, driver.hasError() ? QByteArray() : expected);
        }
    }

    // Catches: an image taken apart although its check has failed.
    void handsOutNothingOfADamagedImage()
    {
        const struct
        {
            const char* request;
            int size;
        } rows[] = {{"1 1 N7:0", 2},     {"2 2 F8:0", 4},      {"2 1 T4:0", 6},
                    {"2 1 T4:0.ACC", 6}, {"0 1 B3:0/0", 2},    {"0 1 T4:0/1", 6},
                    {"0 1 T4:0/DN", 6},  {"0 1 T4:0.ACC/1", 6}};
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.answer(damaged(reply(1, QByteArray(row.size, '\xFF'))));
            ROW_COMPARE(row.request, driver.read(&port, request(row.request)), QByteArray());
            ROW_COMPARE(row.request, driver.hasError(), true);
            ROW_COMPARE(row.request, driver.read(&port, request(row.request)), QByteArray());
        }
    }

    // Catches: a reply cut short that is completed from the one before it, or from
    // whatever else the buffer was filled with.
    void keepsNothingOfTheReplyBefore()
    {
        DriverABMicroLogix driver;
        int tns = 2;
        while (reply(tns, hex("09"), "F0").right(1) != hex("01"))
            ++tns;
        while (driver.getTNS() != tns - 2)
            driver.getNextTNS();
        ScriptedPort port;
        port.answer(reply(tns - 1, hex("010101010101")));
        port.answer(reply(tns, hex("09"), "F0").left(14));
        QCOMPARE(driver.read(&port, request(2, 3, "N7:0")), hex("010101010101"));
        QVERIFY(driver.read(&port, request(2, 1, "N7:0")).isEmpty());
        QCOMPARE(driver.getLastError(), QString("read N7:0:response CRC error"));
        QCOMPARE(port.sent.count(ACK), 1);

        // So many DLEs that the buffer, once they are folded, is shorter than the reply.
        QByteArray dles = reply(1, QByteArray(82, '\x10'));
        ScriptedPort full;
        full.answer(dles.remove(dles.size() - 4, 1) + QByteArray(3, '\0'));
        QVERIFY(DriverABMicroLogix().read(&full, request(2, 83, "N7:0")).isEmpty());
        QCOMPARE(full.sent.count(ACK), 0);
    }

    // Catches: a port's count believed beyond the receive buffer, a station number
    // compared after it was cut to a byte.
    void survivesAnOddPort()
    {
        const struct
        {
            const char* name;
            int boast, destination;
            const char* text;
        } rows[] = {{"more than asked for", 100000, 1, ""},
                    {"negative", -1, 1, "packet loss"},
                    {"station", 0, 257, "invalid response from PLC"}};
        for (const auto& row : rows) {
            DriverABMicroLogix driver;
            ScriptedPort port;
            port.boast = row.boast;
            port.destination = row.destination;
            port.answer(reply(1, hex("3412")));
            ROW_COMPARE(row.name, driver.read(&port, request(2, 1, "N7:0")).isEmpty(),
                        *row.text != '\0');
            ROW_COMPARE(row.name, driver.getLastError(), row.text);
            ROW_COMPARE(row.name, port.sent.first().mid(2, 2), hex("0100"));
        }
    }
};

QTEST_APPLESS_MAIN(TestTransaction)
#include "tst_transaction.moc"
