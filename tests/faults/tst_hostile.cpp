#include <QElapsedTimer>
#include <QtTest>
#include <climits>
#include <functional>

#include <sys/socket.h>

#include "drivers/micrologix/micrologix.h"
#include "host/requestplan.h"
#include "simulator/models.h"
#include "simulator/server.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/resources.h"
#include "support/virtualline.h"
#include "support/wire.h"

using simulator::DataTables;
using support::VirtualLine;

namespace {

// Above any delay of a busy machine, below any wait without end.
const int SOON_MS = 10000;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
const int MANY_ROWS = 100000; // these builds are the slow ones
#else
const int MANY_ROWS = 1000000;
#endif
const int WORD = 2;

/// A port that does something of its own before or after a call of another one.
class MeddlingPort : public AbstractDeviceInterface
{
public:
    explicit MeddlingPort(AbstractDeviceInterface& port)
        : m_port(port)
    {}

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        ++calls;
        if (beforeReceiving)
            beforeReceiving();
        const int count = m_port.receiveData(buffer, maxBytes);
        return told ? told(count) : count;
    }
    void sendData(const unsigned char* data, int length) override
    {
        ++sent;
        m_port.sendData(data, length);
    }
    void getParameter(int id, QVariant& value) override { m_port.getParameter(id, value); }
    void setParameter(int id, const QVariant& value) override { m_port.setParameter(id, value); }
    int retryCount() override { return m_port.retryCount(); }
    int destinationAddress() override { return m_port.destinationAddress(); }
    int sourceAddress() override { return m_port.sourceAddress(); }
    unsigned int delayTime() override { return 0; }

    int calls = 0; ///< of receiveData
    int sent = 0;  ///< calls of sendData
    std::function<void()> beforeReceiving;
    std::function<int(int)> told; ///< the count that the driver is told

private:
    AbstractDeviceInterface& m_port;
};

DataTables tables()
{
    return simulator::seededTables(1);
}

host::PortSettings patience(int timeoutMs, int retries)
{
    host::PortSettings settings;
    settings.timeoutMs = timeoutMs;
    settings.retryCount = retries;
    return settings;
}

}

class TestHostile : public QObject
{
    Q_OBJECT

private slots:
    void oddRequests();
    void portsThatLie();
    void devicesClosedInTheMiddle();
    void peersThatBreakOff();
    void peersThatNeverStop();
    void aLateReplyToAFormerDriver();
    void tagListsOfAMillionRows();
};

// Catches: a crash, an answer of no sensible size, a failure without a word, and a write that
// fails after it has changed the controller's memory.
void TestHostile::oddRequests()
{
    const QStringList addresses = {QString(),
                                   "",
                                   " ",
                                   ":",
                                   "/",
                                   ".",
                                   "N7",
                                   "N7:",
                                   "N7:0",
                                   "n7:0",
                                   "B3:0/",
                                   "B3:2/5",
                                   "T4:1/DN",
                                   "T4:1.ACC",
                                   "T4:1.ACC/3",
                                   "R6:0.LEN/99999999999",
                                   "F8:1",
                                   "X9:0",
                                   "N7:4294967296",
                                   "N99999999999:0",
                                   QString("N7:0") + QChar(0) + "/1",
                                   QString("N7:") + QChar(0x0663),
                                   QString("N7:%1").arg(QString(100000, '9')),
                                   QString(100000, 'N') + "7:0"};
    const int counts[] = {INT_MIN, -1, 0, 1, 124, INT_MAX};
    const QByteArray data[] = {QByteArray(), QByteArray(""), QByteArray(1, 1),
                               QByteArray(1000000, 1)};
    VirtualLine line({tables()});
    DriverABMicroLogix driver;
    QElapsedTimer clock;
    clock.start();
    for (const QString& address : addresses) {
        for (int type = -1; type <= 7; ++type) {
            for (const int count : counts) {
                const CommunicatorCommand command = request(type, count, address);
                const QString what = QString("%1 %2 %3").arg(type).arg(count).arg(address.left(40));
                driver.setCommError(QString());
                const QByteArray read = driver.read(&line, command);
                QVERIFY2(!driver.hasError() || (read.isEmpty() && !driver.getLastError().isEmpty()),
                         qPrintable(what));
                QVERIFY2(read.size() <= 255, qPrintable(what));
            }
            for (const QByteArray& bytes : data) {
                const DataTables before = line.tables();
                const bool isDone = driver.write(&line, request(type, 1, address), bytes);
                // Words of timers, counters and controls are written one by one.
                const bool isMany = !address.isEmpty() && QString("TCR").contains(address.at(0));
                QVERIFY2(isDone || isMany || line.tables() == before, qPrintable(address.left(40)));
                QVERIFY2(!(isDone && driver.hasError()), qPrintable(address.left(40)));
            }
        }
    }
    QVERIFY2(clock.elapsed() < SOON_MS, qPrintable(QString::number(clock.elapsed())));
}

// Catches: a count believed beyond what was asked for or below nothing, and what was never
// received handed out.
void TestHostile::portsThatLie()
{
    const CommunicatorCommand command = request(WORD, 3, "N7:2");
    const QByteArray right = tables().file(7)->read(2, 0, 6).value();
    for (const int lie : {INT_MIN, -1, 0, 1, 3, INT_MAX}) {
        for (int call = 1; call <= 6; ++call) {
            for (const char* const script : {"", "half", "lose-reply", "sts", "ext-sts"}) {
                QString error;
                VirtualLine line({tables(), simulator::parseFaults(script, &error).value()});
                MeddlingPort port(line);
                port.told = [&](int count) { return port.calls >= call ? lie : count; };
                DriverABMicroLogix driver;
                const QByteArray read = driver.read(&port, command);
                QVERIFY(driver.hasError() ? read.isEmpty() : read == right);
                QVERIFY(port.calls < 100);
            }
        }
    }
}

// Catches: a device used after it was closed, and a wait on it.
void TestHostile::devicesClosedInTheMiddle()
{
    for (const bool isPty : {true, false}) {
        for (int call = 1; call <= 4; ++call) {
            simulator::Server server{simulator::Controller(tables())};
            QString error;
            const bool isUp = isPty ? server.start(simulator::PtyPlace(), &error)
                                    : server.start(simulator::TcpPlace(), &error);
            QVERIFY2(isUp, qPrintable(error));
            const auto link = host::Link::open(server.portName(), host::LineSettings(),
                                               patience(60000, 3), &error);
            QVERIFY2(link, qPrintable(error));
            MeddlingPort port(link->port());
            port.beforeReceiving = [&] {
                if (port.calls == call)
                    link->device().close();
            };
            QElapsedTimer clock;
            clock.start();
            DriverABMicroLogix driver;
            const QByteArray read = driver.read(&port, request(WORD, 1, "N7:2"));
            QCOMPARE(read.toHex(), QByteArray(driver.hasError() ? "" : "1000"));
            QVERIFY(driver.hasError() || call > 1); // what had come before is still there
            QCOMPARE(link->port().deviceError(), QString("the device is closed"));
            QVERIFY(clock.elapsed() < SOON_MS);
        }
    }
}

// Catches: a connection that ends in the middle of a reply and is waited for, or the part
// that came taken for the whole.
void TestHostile::peersThatBreakOff()
{
    const QByteArray whole = hex("1006") + frameOf(hex("00014F0001003412"));
    for (int length = 0; length <= whole.size(); ++length) {
        support::Wire wire(support::WireKind::Tcp, patience(60000, 0));
        QVERIFY(wire.isValid());
        const support::PeerThread peer([&] {
            wire.peerReads(18);
            wire.peerWrites(whole.left(length));
            wire.peerCloses();
        });
        QElapsedTimer clock;
        clock.start();
        DriverABMicroLogix driver;
        const QByteArray read = driver.read(&wire.port(), request(WORD, 1, "N7:0"));
        QCOMPARE(read.toHex(), QByteArray(length == whole.size() ? "3412" : ""));
        QCOMPARE(driver.hasError(), read.isEmpty());
        QVERIFY(clock.elapsed() < SOON_MS);
    }
}

// Catches: a call that lasts as long as a peer sends, memory that grows with what it sends,
// and noise taken for data.
void TestHostile::peersThatNeverStop()
{
    const QByteArray reply = frameOf(hex("00014F0001003412"));
    const QByteArray endless[] = {hex("00"), hex("1005"), hex("1006"), hex("1006") + reply};
    for (const QByteArray& pattern : endless) {
        support::Wire wire(support::WireKind::Tcp, patience(200, 0));
        QVERIFY(wire.isValid());
        std::atomic<bool> isOver(false);
        const support::PeerThread peer([&] {
            const QByteArray chunk = pattern.repeated(10000);
            const timeval often = {0, 100000};
            ::setsockopt(wire.peer(), SOL_SOCKET, SO_SNDTIMEO, &often, sizeof often);
            const int much = 4 << 20; // so that there is always more in the kernel
            ::setsockopt(wire.peer(), SOL_SOCKET, SO_SNDBUF, &much, sizeof much);
            while (!isOver)
                ::send(wire.peer(), chunk.constData(), static_cast<size_t>(chunk.size()),
                       MSG_NOSIGNAL);
        });
        const support::Resources before = support::Resources::now();
        QElapsedTimer clock;
        clock.start();
        DriverABMicroLogix driver;
        MeddlingPort port(wire.port());
        const QByteArray read = driver.read(&port, request(WORD, 1, "N7:0"));
        const qint64 elapsed = clock.elapsed();
        const bool hasGrown = support::Resources::now().hasGrownSince(before, 16 << 10);
        isOver = true;
        QVERIFY2(elapsed < 3 * SOON_MS, pattern.toHex() + QByteArray::number(elapsed));
        QVERIFY2(port.sent <= 102, QByteArray::number(port.sent)); // request, ACK, 100 to end it
        QVERIFY2(!hasGrown, pattern.toHex().constData());
        QVERIFY(driver.hasError() ? read.isEmpty() : read == hex("3412"));
    }
}

// Catches: a reply that comes after its time-out taken for the answer to another request of
// the same driver; and a change of what docs/reliability.md tells of two drivers, of which
// the second begins with the number that the first began with.
void TestHostile::aLateReplyToAFormerDriver()
{
    const QByteArray first = tables().file(7)->read(0, 0, 2).value();
    const QByteArray second = tables().file(7)->read(1, 0, 2).value();
    for (const bool isSameDriver : {true, false}) {
        QString error;
        VirtualLine line({tables(), simulator::parseFaults("late@1:600", &error).value()});
        DriverABMicroLogix driver;
        DriverABMicroLogix newDriver;
        QVERIFY(driver.read(&line, request(WORD, 1, "N7:0")).isEmpty());
        line.retries = 3;
        const QByteArray read =
            (isSameDriver ? driver : newDriver).read(&line, request(WORD, 1, "N7:1"));
        QCOMPARE(read.toHex(), (isSameDriver ? second : first).toHex());
    }
}

// Catches: a list read, refused or planned in a time that grows faster than the list, so
// that this test runs out of its own; rows that get lost; an error without the bad row's line.
void TestHostile::tagListsOfAMillionRows()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    file.write("name,address,type\n");
    for (int i = 0; i < MANY_ROWS; ++i)
        file.write(QByteArray::number(i) + ",N" + QByteArray::number(9 + i % 200) + ':'
                   + QByteArray::number(i / 200 * 3) + ",i16\n");
    QVERIFY(file.flush());
    QString error;
    const auto tags = host::loadTagList(file.fileName(), &error);
    QVERIFY2(tags, qPrintable(error));
    size_t planned = 0;
    for (const host::PlannedRead& read : host::planReads(*tags, host::PlanSettings()))
        planned += read.slices.size();
    QCOMPARE(planned, size_t(MANY_ROWS));

    file.write("0,N7:0\nbehind it,N7:0\n");
    QVERIFY(file.flush());
    QVERIFY(!host::loadTagList(file.fileName(), &error));
    QCOMPARE(error, QString("%1: line %2: the name '0' is taken by line 2; give another")
                        .arg(file.fileName())
                        .arg(MANY_ROWS + 2));
}

QTEST_GUILESS_MAIN(TestHostile)
#include "tst_hostile.moc"
