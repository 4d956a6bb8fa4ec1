#include <QtTest>

#include <ctime>

#include <sys/socket.h>

#include "support/messages.h"
#include "support/named.h"
#include "support/wire.h"

using host::DevicePort;
using host::PortSettings;
using support::clearInput;
using support::PeerThread;
using support::pending;
using support::receive;
using support::send;
using support::sleepMs;
using support::Wire;
using support::WireKind;

namespace {

// Above any delay of a busy machine, below any wait without end.
const int Soon = 3000;

const WireKind Kinds[] = {WireKind::PseudoTerminal, WireKind::Tcp};

enum class Loss
{
    PeerCloses,
    PeerResets,
    SeenByEventLoop,
    DeviceClosed,
    DeviceDeleted
};

PortSettings waiting(int timeoutMs, double secondsPerByte = 1e-9)
{
    PortSettings settings;
    settings.timeoutMs = timeoutMs;
    settings.secondsPerByte = secondsPerByte;
    return settings;
}

double cpuMilliseconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// A device that hands out one chunk per wait and counts the waits.
class CountingDevice : public QIODevice
{
public:
    explicit CountingDevice(const QVector<QByteArray>& chunks)
        : m_coming(chunks)
    {
        open(ReadWrite | Unbuffered);
    }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_there.size(); }
    bool waitForReadyRead(int) override
    {
        ++waits;
        if (m_coming.isEmpty())
            return false;
        m_there += m_coming.takeFirst();
        return true;
    }
    int waits = 0;
    qint64 written = 0;

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const auto n = std::min<qint64>(size, m_there.size());
        std::copy_n(m_there.constData(), n, data);
        m_there.remove(0, static_cast<int>(n));
        return n;
    }
    qint64 writeData(const char*, qint64 size) override
    {
        written += size;
        return size;
    }

private:
    QVector<QByteArray> m_coming;
    QByteArray m_there;
};

}

class TestDevicePort : public QObject
{
    Q_OBJECT

private slots:
    void receives();
    void wholeWaitIsCapped();
    void answersComeFasterThanTheLine();
    void asksTheDeviceSparingly();
    void pendingAndClear();
    void loss();
    void sendsToADeafPeer();
    void worksInAnyThread();
};

// Catches: a time-out that isn't one of silence or runs while the request is
// still going out, a lost part, a wait that spins.
void TestDevicePort::receives()
{
    const struct
    {
        const char* name;
        PortSettings settings;
        int bytesSentBefore;
        QVector<QPair<int, QByteArray>> steps; // milliseconds to wait, bytes to write
        int maxBytes;
        QByteArray received;
        int atLeastMs;
    } rows[] = {
        {"in chunks", waiting(9000), 0, {{0, "a"}, {20, "bc"}, {20, "d"}}, 4, "abcd", 40},
        {"more than asked", waiting(9000), 0, {{0, "abcd"}}, 2, "ab", 0},
        {"nothing", waiting(100), 0, {}, 4, "", 100},
        {"a part", waiting(100), 0, {{0, "ab"}}, 4, "ab", 100},
        {"slow", waiting(300, 0.1), 0, {{150, "a"}, {150, "b"}, {150, "c"}}, 3, "abc", 450},
        {"request still going out", waiting(150, 0.03), 10, {{300, "ab"}}, 2, "ab", 290},
    };
    for (const WireKind kind : Kinds) {
        for (const auto& row : rows) {
            Wire wire(kind, row.settings);
            QVERIFY(wire.isValid());
            send(wire.port(), QByteArray(row.bytesSentBefore, 'r'));
            QElapsedTimer clock;
            clock.start();
            const double cpuBefore = cpuMilliseconds();
            const PeerThread peer([&wire, &row] {
                for (const auto& [delayMs, bytes] : row.steps) {
                    sleepMs(delayMs);
                    wire.peerWrites(bytes);
                }
            });
            QCOMPARE(named(row.name, receive(wire.port(), row.maxBytes)),
                     named(row.name, row.received));
            const auto elapsed = clock.elapsed();
            QVERIFY2(elapsed >= row.atLeastMs && elapsed < row.atLeastMs + Soon, row.name);
            QVERIFY2(cpuMilliseconds() - cpuBefore < 80, row.name);
        }
    }
}

// Catches: a wait without end on a peer that always sends a little.
void TestDevicePort::wholeWaitIsCapped()
{
    Wire wire(WireKind::PseudoTerminal, waiting(200, 0.002));
    QVERIFY(wire.isValid());
    const PeerThread peer([&wire] {
        for (int i = 0; i < 50; ++i) {
            sleepMs(40);
            wire.peerWrites("x");
        }
    });
    QElapsedTimer clock;
    clock.start();
    const QByteArray received = receive(wire.port(), 50);
    QVERIFY(clock.elapsed() >= 400); // 200 + 2 * 50 * 2
    QVERIFY2(received.size() < 50, "the wait lasted 2 s or more");
    QVERIFY(!received.isEmpty());
}

// Catches: line time of requests answered long ago that adds up and prolongs the wait for an
// answer that does not come.
void TestDevicePort::answersComeFasterThanTheLine()
{
    Wire wire(WireKind::PseudoTerminal, waiting(100, 0.01));
    QVERIFY(wire.isValid());
    for (int i = 0; i < 5; ++i) {
        send(wire.port(), QByteArray(100, 'r'));
        wire.peerWrites("ab");
        QCOMPARE(receive(wire.port(), 2), QByteArray("ab"));
    }
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(receive(wire.port(), 2), QByteArray());
    QVERIFY(clock.elapsed() < 2000);
}

// Catches: a wait though enough is there, more than one wait for an arrival, a device that
// can't wait asked again and again, counting or clearing that goes on until the device has no
// more, a foreign parameter taken for an own one, and unchecked arguments.
void TestDevicePort::asksTheDeviceSparingly()
{
    CountingDevice device({"abc", "de", "fghi"});
    PortSettings settings = waiting(9000);
    settings.retryCount = 4;
    settings.destination = 257;
    settings.source = 6;
    settings.delayMs = 7;
    DevicePort port(&device, settings);
    QCOMPARE(receive(port, 1), QByteArray("a"));
    unsigned char byte = 'x';
    QCOMPARE(port.receiveData(nullptr, 1), 0);
    QCOMPARE(port.receiveData(&byte, 0), 0);
    QCOMPARE(port.receiveData(&byte, -1), 0);
    port.sendData(nullptr, 1);
    port.sendData(&byte, -1);
    QCOMPARE(device.written, 0);
    QVariant value(5);
    port.getParameter(PORT_PARAM_CLEAR_INPUT, value);
    QCOMPARE(value, QVariant(5));
    port.setParameter(PORT_PARAM_INPUT_PENDING, QVariant(0));
    const QPair<QByteArray, int> rows[] = {{"bc", 1}, {"defg", 3}, {"hi", 3}, {"", 4}};
    for (const auto& [bytes, waits] : rows) {
        QCOMPARE(receive(port, std::max(1, static_cast<int>(bytes.size()))), bytes);
        QCOMPARE(device.waits, waits);
    }
    QCOMPARE(port.retryCount(), 4);
    QCOMPARE(port.destinationAddress(), 257);
    QCOMPARE(port.sourceAddress(), 6);
    QCOMPARE(port.delayTime(), 7U);

    CountingDevice endless(QVector<QByteArray>(20000, "x"));
    DevicePort busy(&endless, waiting(9000));
    clearInput(busy);
    QVERIFY(endless.waits < 1000);
    QVERIFY(pending(busy) > 0);
    QVERIFY(endless.waits < 2000);
}

// Catches: bytes overlooked because the operating system still holds them, and
// bytes of an earlier answer that survive the clearing.
void TestDevicePort::pendingAndClear()
{
    for (const WireKind kind : Kinds) {
        Wire wire(kind, waiting(9000));
        QVERIFY(wire.isValid());

        QCOMPARE(pending(wire.port()), 0);
        wire.peerWrites("0123456789");
        QVERIFY(wire.arrives(10));
        QCOMPARE(pending(wire.port()), 10);
        QCOMPARE(receive(wire.port(), 4), QByteArray("0123"));
        wire.peerWrites("abcde");
        QVERIFY(wire.arrives(5));
        QCOMPARE(pending(wire.port()), 11);

        wire.peerWrites("in the kernel");
        QVERIFY(wire.arrives(13));
        clearInput(wire.port());
        QCOMPARE(pending(wire.port()), 0);
        wire.peerWrites("stale");
        QVERIFY(wire.arrives(5));
        clearInput(wire.port());
        wire.peerWrites("new");
        QCOMPARE(receive(wire.port(), 3), QByteArray("new"));
    }
}

// Catches: a lost line waited for, asked again without end, or not told of; an
// answer's part dropped with it.
void TestDevicePort::loss()
{
    const QString unplugged = "the serial line is gone: unplugged, or its other end is closed";
    const QString ended = "the connection is gone: The remote host closed the connection";
    const QString closed = "the device is closed";
    const QString deleted = "the device has been deleted";
    const struct
    {
        const char* name;
        WireKind kind;
        Loss how;
        QByteArray before;
        QString error;
    } rows[] = {
        {"pty hung up", WireKind::PseudoTerminal, Loss::PeerCloses, "", unplugged},
        {"pty hung up in an answer", WireKind::PseudoTerminal, Loss::PeerCloses, "ab", unplugged},
        {"pty closed", WireKind::PseudoTerminal, Loss::DeviceClosed, "", closed},
        {"pty deleted", WireKind::PseudoTerminal, Loss::DeviceDeleted, "", deleted},
        {"TCP ended", WireKind::Tcp, Loss::PeerCloses, "", ended},
        {"TCP ended in an answer", WireKind::Tcp, Loss::PeerCloses, "ab", ended},
        {"TCP ended and seen before", WireKind::Tcp, Loss::SeenByEventLoop, "ab", ended},
        {"TCP reset", WireKind::Tcp, Loss::PeerResets, "", ended},
        {"TCP deleted", WireKind::Tcp, Loss::DeviceDeleted, "", deleted},
    };
    for (const auto& row : rows) {
        Wire wire(row.kind, PortSettings());
        QVERIFY(wire.isValid());
        DevicePort port(&wire.link().device(), waiting(60000));
        QCOMPARE(port.deviceError(), QString());
        QElapsedTimer clock;
        clock.start();
        if (row.how == Loss::DeviceClosed)
            wire.link().device().close();
        if (row.how == Loss::DeviceDeleted)
            wire.deleteLink();
        const PeerThread peer([&] {
            wire.peerWrites(row.before);
            sleepMs(50);
            const linger atOnce = {1, 0};
            if (row.how == Loss::PeerResets)
                ::setsockopt(wire.peer(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
            wire.peerCloses();
        });
        if (row.how == Loss::SeenByEventLoop)
            QTRY_COMPARE(port.deviceError(), row.error);
        QCOMPARE(named(row.name, receive(port, 4)), named(row.name, row.before));
        QCOMPARE(named(row.name, port.deviceError()), named(row.name, row.error));

        const double cpuBefore = cpuMilliseconds();
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(receive(port, 4), QByteArray());
            send(port, "request");
            QCOMPARE(pending(port), 0);
            clearInput(port);
        }
        QVERIFY2(cpuMilliseconds() - cpuBefore < 80, row.name);
        QVERIFY2(clock.elapsed() < Soon, row.name);
        QCOMPARE(named(row.name, port.deviceError()), named(row.name, row.error));
    }
}

// Catches: a send that blocks for good or piles up, and a frame torn because
// its rest was dropped.
void TestDevicePort::sendsToADeafPeer()
{
    for (const WireKind kind : Kinds) {
        Wire wire(kind, waiting(200));
        QVERIFY(wire.isValid());
        const QByteArray big(kind == WireKind::Tcp ? 16 << 20 : 1 << 16, 'b');
        QIODevice& device = wire.link().device();

        QElapsedTimer clock;
        clock.start();
        send(wire.port(), big);
        QVERIFY(clock.elapsed() >= 200);
        const qint64 unsent = device.bytesToWrite();
        QVERIFY(unsent > 0);
        QCOMPARE(wire.port().deviceError(),
                 QString("the other end takes no bytes: %1 are still to be sent").arg(unsent));
        send(wire.port(), "dropped");
        QVERIFY(clock.elapsed() < Soon + big.size() / 500);
        QVERIFY(device.bytesToWrite() <= unsent);

        QByteArray received;
        {
            const PeerThread peer([&] { received = wire.peerReads(big.size() + 4); });
            while (device.bytesToWrite() > 0 && clock.elapsed() < 30000)
                device.waitForBytesWritten(100);
            send(wire.port(), "last");
            QCOMPARE(wire.port().deviceError(), QString());
        }
        QCOMPARE(received.size(), big.size() + 4);
        QVERIFY(received.endsWith("blast"));
    }
}

// Catches: a port that only works with an event loop, in the main thread or in
// a QThread, and complaints of Qt about the thread.
void TestDevicePort::worksInAnyThread()
{
    for (const WireKind kind : Kinds) {
        const KeptMessages warnings;
        QByteArray request, answer;
        std::thread([&] {
            Wire wire(kind, waiting(9000));
            if (!wire.isValid())
                return;
            send(wire.port(), "request");
            request = wire.peerReads(7);
            wire.peerWrites("answer");
            answer = receive(wire.port(), 6);
        }).join();
        QCOMPARE(request, QByteArray("request"));
        QCOMPARE(answer, QByteArray("answer"));
        QCOMPARE(warnings.list(), QStringList());
    }
}

QTEST_GUILESS_MAIN(TestDevicePort)
#include "tst_deviceport.moc"
