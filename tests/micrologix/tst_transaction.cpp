#include <QtTest>

#include "drivers/micrologix/micrologix.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/scriptedport.h"

typedef QList<QByteArray> Pieces;
Q_DECLARE_METATYPE(Pieces)

namespace {

const QByteArray ACK = hex("1006");
const QByteArray NAK = hex("1015");
const QByteArray ENQ = hex("1005");
const QByteArray STX = hex("1002");
const QByteArray SILENCE;

/// The reply of station 1 to station 0 for the first request.
QByteArray reply(const char* statusToData)
{
    QByteArray message = hex("00014F") + hex(statusToData);
    return frameOf(message);
}

QByteArray damaged(QByteArray frame)
{
    frame[frame.size() - 1] = static_cast<char>(frame.at(frame.size() - 1) ^ 0x40);
    return frame;
}

CommunicatorCommand words(const char* address, int count)
{
    return request(2, count, QLatin1String(address));
}

int countOf(const QStringList& calls, const char* prefix)
{
    int count = 0;
    for (int i = 0; i < calls.size(); ++i)
        count += calls.at(i).startsWith(QLatin1String(prefix)) ? 1 : 0;
    return count;
}

}

class TestTransaction : public QObject
{
    Q_OBJECT

private slots:
    void reception_data();
    void reception();
    void drainsAtMostAHundredTimes();
    void makesTheseCallsInThisOrder();
    void asksOnlyForWhatIsMissing();
    void takesAHeaderFullOfDles();
    void neverReturnsDamagedData();
    void survivesAPortThatBoasts_data();
    void survivesAPortThatBoasts();
    void neverAcceptsAStationBeyondAByte();
};

void TestTransaction::reception_data()
{
    QTest::addColumn<Pieces>("answer");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("acks");
    QTest::addColumn<int>("drainRounds");

    const QString noResponse("PLC no response");
    const QString loss("packet loss");
    const QString noAck("PLC no ack");
    const QString requestCrc("read N7:0:request CRC error");
    const QString responseCrc("read N7:0:response CRC error");
    const QString refused("invalid address:N7:0");
    const QString wrongReply("invalid response from PLC");
    const QByteArray sound = reply("0001003412");
    const QByteArray start = ACK + STX;

    QTest::newRow("sound") << (Pieces() << ACK + sound) << QString() << 1 << 0;
    QTest::newRow("link answer: nothing") << Pieces() << noResponse << 0 << 0;
    QTest::newRow("link answer: one byte") << (Pieces() << hex("10")) << loss << 0 << 0;
    QTest::newRow("link answer: NAK") << (Pieces() << NAK) << requestCrc << 0 << 0;
    QTest::newRow("link answer: noise")
        << (Pieces() << hex("4142")) << "invalid PLC response" << 3 << 3;
    QTest::newRow("ENQ, ACK") << (Pieces() << ENQ << ACK + sound) << QString() << 2 << 0;
    QTest::newRow("ENQ, silence, ACK")
        << (Pieces() << ENQ << SILENCE << ACK + sound) << QString() << 2 << 0;
    QTest::newRow("ENQ, ACK only in the third read")
        << (Pieces() << ENQ << SILENCE << SILENCE << ACK + sound) << noAck << 1 << 0;
    QTest::newRow("ENQ, silence") << (Pieces() << ENQ) << noAck << 1 << 0;
    QTest::newRow("ENQ, NAK") << (Pieces() << ENQ << NAK) << requestCrc << 1 << 0;

    QTest::newRow("reply start: nothing") << (Pieces() << ACK) << noResponse << 0 << 0;
    QTest::newRow("reply start: one byte") << (Pieces() << ACK + '\x10') << loss << 0 << 0;
    QTest::newRow("reply start: another ACK")
        << (Pieces() << ACK + ACK) << "invalid response from PLC3" << 3 << 3;
    QTest::newRow("reply start: ENQ, STX")
        << (Pieces() << ACK + ENQ + sound) << QString() << 2 << 0;
    QTest::newRow("reply start: ENQ, STX only in the third read")
        << (Pieces() << ACK + ENQ + ACK + ACK + sound) << noAck << 1 << 0;

    QTest::newRow("header: five bytes")
        << (Pieces() << start + hex("00014F0001")) << loss << 0 << 0;
    QTest::newRow("header: ends before a DLE's partner")
        << (Pieces() << start + hex("00014F000110")) << loss << 0 << 0;
    QTest::newRow("header: ends inside a DLE pair")
        << (Pieces() << start + hex("101010104F00") << hex("10")) << "invalid response from PLC1"
        << 3 << 3;
    QTest::newRow("header: for another panel")
        << (Pieces() << ACK + frameOf(hex("02014F0001003412"))) << wrongReply << 3 << 3;
    QTest::newRow("header: from another controller")
        << (Pieces() << ACK + frameOf(hex("00024F0001003412"))) << wrongReply << 3 << 3;
    QTest::newRow("header: to another command")
        << (Pieces() << ACK + frameOf(hex("0001460001003412"))) << wrongReply << 3 << 3;
    QTest::newRow("header: the request before")
        << (Pieces() << ACK + frameOf(hex("00014F0000003412"))) << wrongReply << 3 << 3;

    QTest::newRow("status 10") << (Pieces() << ACK + reply("100100")) << refused << 1 << 0;
    QTest::newRow("status 10, damaged")
        << (Pieces() << ACK + damaged(reply("100100"))) << responseCrc << 0 << 0;
    QTest::newRow("status 10, cut")
        << (Pieces() << ACK + reply("100100").left(11)) << loss << 0 << 0;
    QTest::newRow("status F0, extended 09")
        << (Pieces() << ACK + reply("F0010009")) << refused << 1 << 0;
    QTest::newRow("status F0, extended 10, doubled")
        << (Pieces() << ACK + reply("F0010010")) << refused << 1 << 0;
    QTest::newRow("status F0, damaged")
        << (Pieces() << ACK + damaged(reply("F0010009"))) << responseCrc << 0 << 0;
    QTest::newRow("status F0, cut")
        << (Pieces() << ACK + reply("F0010009").left(11)) << responseCrc << 0 << 0;

    QTest::newRow("data: cut") << (Pieces() << ACK + sound.left(13)) << loss << 0 << 0;
    QTest::newRow("data: none") << (Pieces() << ACK + sound.left(8)) << loss << 0 << 0;
    QTest::newRow("data: damaged check")
        << (Pieces() << ACK + damaged(sound)) << responseCrc << 0 << 0;
    QTest::newRow("data: less than asked for")
        << (Pieces() << ACK + reply("00010034")) << loss << 0 << 0;
    QTest::newRow("data: more than asked for")
        << (Pieces() << ACK + reply("000100341256")) << responseCrc << 0 << 0;
    QTest::newRow("data: doubled DLEs whole, check missing")
        << (Pieces() << ACK + reply("0001001010").left(14)) << loss << 0 << 0;
    QTest::newRow("data: DLE and its partner apart")
        << (Pieces() << ACK + reply("0001001010").left(11) << hex("10101003")) << loss << 0 << 0;
}

// Catches: a wrong text, an ACK for a damaged reply, a drain where none belongs
// or none where one does, data handed out after a failure.
void TestTransaction::reception()
{
    QFETCH(Pieces, answer);
    QFETCH(QString, text);
    QFETCH(int, acks);
    QFETCH(int, drainRounds);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(answer);
    port.pendingRounds = 2;
    const QByteArray data = driver.read(&port, words("N7:0", 1));

    QCOMPARE(driver.getLastError(), text);
    QCOMPARE(driver.hasError(), !text.isEmpty());
    QCOMPARE(data.toHex(), text.isEmpty() ? QByteArray("3412") : QByteArray());
    QCOMPARE(port.sent.size(), 1 + acks);
    QCOMPARE(port.sent.count(ACK), acks);
    QCOMPARE(countOf(port.calls, "get 13"), drainRounds);
    QCOMPARE(countOf(port.calls, "set 12=0"), 1 + qMax(0, drainRounds - 1));
}

// Catches: a drain that never ends on a line that babbles.
void TestTransaction::drainsAtMostAHundredTimes()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(hex("4142"));
    port.pendingRounds = 1000;
    driver.read(&port, words("N7:0", 1));
    QCOMPARE(port.sent.count(ACK), 100);
    QCOMPARE(countOf(port.calls, "get 13"), 100);
}

// Catches: a frame sent in pieces, input emptied too late, a read too many.
void TestTransaction::makesTheseCallsInThisOrder()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(ACK + hex("100200014F000100341210034FA7"));
    QCOMPARE(driver.read(&port, words("N7:0", 1)), hex("3412"));
    QCOMPARE(port.calls, QStringList() << "delay"
                                       << "set 12=0"
                                       << "send 100201000f000100a20207890000100362b0"
                                       << "receive 2: 1006"
                                       << "receive 2: 1002"
                                       << "receive 6: 00014f000100"
                                       << "receive 6: 341210034fa7"
                                       << "send 1006");
}

// Catches: asking for more than the reply holds (a wait for nothing), and a
// reply full of DLEs cut short.
void TestTransaction::asksOnlyForWhatIsMissing()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.answer(ACK + reply("00010010101010101010101010"));
    QCOMPARE(driver.read(&port, words("N7:0", 5)), QByteArray(10, '\x10'));
    QCOMPARE(port.calls.mid(6), QStringList() << "receive 14: 1010101010101010101010101010"
                                              << "receive 7: 10101010101010"
                                              << "receive 3: 03cfea"
                                              << "send 1006");
}

// Catches: a header taken apart before it is folded, or read one byte short.
void TestTransaction::takesAHeaderFullOfDles()
{
    DriverABMicroLogix driver;
    while (driver.getTNS() != 0x100F)
        driver.getNextTNS();
    ScriptedPort port;
    port.destination = 0x10;
    port.source = 0x10;
    port.answer(ACK + frameOf(hex("10104F0010101010")));
    QCOMPARE(driver.read(&port, words("N7:16", 1)), hex("1010"));
    QCOMPARE(port.sent.first().toHex(), QByteArray("1002101010100f0010101010a20207891010001003")
                                            + port.sent.first().right(2).toHex());
}

// Catches: any single damaged, lost or delayed byte that comes back as data.
void TestTransaction::neverReturnsDamagedData()
{
    const QByteArray line = ACK + reply("000100341210785601");
    const QByteArray expected = hex("341210785601");
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
        const QByteArray data = driver.read(&port, words("N7:0", 3));
        if (driver.hasError() ? !data.isEmpty() : data != expected)
            QFAIL(qPrintable(QString::fromLatin1("fault %1 gave %2")
                                 .arg(i)
                                 .arg(QString::fromLatin1(data.toHex()))));
    }
}

void TestTransaction::survivesAPortThatBoasts_data()
{
    QTest::addColumn<int>("boast");
    QTest::addColumn<QString>("text");
    QTest::newRow("more than asked for") << 100000 << QString();
    QTest::newRow("a negative count") << -1 << "packet loss";
}

// Catches: a port's count believed beyond the receive buffer.
void TestTransaction::survivesAPortThatBoasts()
{
    QFETCH(int, boast);
    QFETCH(QString, text);

    DriverABMicroLogix driver;
    ScriptedPort port;
    port.boast = boast;
    port.answer(ACK + reply("0001003412"));
    driver.read(&port, words("N7:0", 1));
    QCOMPARE(driver.getLastError(), text);
}

// Catches: a station number compared after it was cut to a byte.
void TestTransaction::neverAcceptsAStationBeyondAByte()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.destination = 257;
    port.answer(ACK + reply("0001003412"));
    QVERIFY(driver.read(&port, words("N7:0", 1)).isEmpty());
    QCOMPARE(driver.getLastError(), QString("invalid response from PLC"));
    QCOMPARE(port.sent.first().mid(2, 2), hex("0100"));
}

QTEST_APPLESS_MAIN(TestTransaction)
#include "tst_transaction.moc"
