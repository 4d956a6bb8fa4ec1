#include <QtTest>

#include <atomic>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/wire.h"

using host::DevicePort;
using host::PortSettings;
using support::PeerThread;
using support::sleepMs;
using support::Wire;
using support::WireKind;

namespace {

// Above any delay of a busy machine, below any wait without end.
const int Soon = 3000;

struct Step
{
    int delayMs;
    QByteArray bytes;
};
using Steps = QList<Step>;

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

QByteArray receive(DevicePort& port, int maxBytes)
{
    QByteArray buffer(maxBytes + 1, '#'); // one more, to see what writes past the end
    const int n = port.receiveData(reinterpret_cast<unsigned char*>(buffer.data()), maxBytes);
    if (n < 0 || n > maxBytes || buffer.at(n) != '#')
        return "wrong count";
    return buffer.left(n);
}

void send(DevicePort& port, const QByteArray& bytes)
{
    port.sendData(reinterpret_cast<const unsigned char*>(bytes.constData()),
                  static_cast<int>(bytes.size()));
}

int pending(DevicePort& port)
{
    QVariant value;
    port.getParameter(PORT_PARAM_INPUT_PENDING, value);
    return value.toInt();
}

void clearInput(DevicePort& port)
{
    port.setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
}

double cpuMilliseconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

void addKinds()
{
    QTest::addColumn<WireKind>("kind");
    QTest::newRow("pseudo-terminal") << WireKind::PseudoTerminal;
    QTest::newRow("TCP") << WireKind::Tcp;
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

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const auto n = std::min<qint64>(size, m_there.size());
        std::copy_n(m_there.constData(), n, data);
        m_there.remove(0, static_cast<int>(n));
        return n;
    }
    qint64 writeData(const char*, qint64 size) override { return size; }

private:
    QVector<QByteArray> m_coming;
    QByteArray m_there;
};

}

Q_DECLARE_METATYPE(Steps)
Q_DECLARE_METATYPE(WireKind)
Q_DECLARE_METATYPE(Loss)
Q_DECLARE_METATYPE(host::PortSettings)

class TestDevicePort : public QObject
{
    Q_OBJECT

private slots:
    void receives_data();
    void receives();
    void wholeWaitIsCapped();
    void waitsOncePerArrival();
    void ignoresWhatItCannotDo();
    void pendingAndClear_data() { addKinds(); }
    void pendingAndClear();
    void leavesADeviceThatAlwaysHasMore();
    void leavesAFlood_data() { addKinds(); }
    void leavesAFlood();
    void loss_data();
    void loss();
    void sendsToADeafPeer_data() { addKinds(); }
    void sendsToADeafPeer();
    void worksInAnyThread_data() { addKinds(); }
    void worksInAnyThread();
};

void TestDevicePort::receives_data()
{
    QTest::addColumn<WireKind>("kind");
    QTest::addColumn<PortSettings>("settings");
    QTest::addColumn<int>("bytesSentBefore");
    QTest::addColumn<Steps>("steps");
    QTest::addColumn<int>("maxBytes");
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<int>("atLeastMs");

    for (const WireKind kind : {WireKind::PseudoTerminal, WireKind::Tcp}) {
        const auto row = [kind](const char* name) -> QTestData& {
            return QTest::addRow("%s, %s", kind == WireKind::Tcp ? "TCP" : "pty", name) << kind;
        };
        row("at once") << waiting(9000) << 0 << Steps{{0, "abcd"}} << 4 << QByteArray("abcd") << 0;
        row("in chunks") << waiting(9000) << 0 << Steps{{0, "a"}, {20, "bc"}, {20, "d"}} << 4
                         << QByteArray("abcd") << 40;
        row("more than asked") << waiting(9000) << 0 << Steps{{0, "abcd"}} << 2 << QByteArray("ab")
                               << 0;
        row("nothing") << waiting(100) << 0 << Steps() << 4 << QByteArray() << 100;
        row("a part") << waiting(100) << 0 << Steps{{0, "ab"}} << 4 << QByteArray("ab") << 100;
        row("slow, but not silent")
            << waiting(500, 0.2) << 0 << Steps{{200, "a"}, {200, "b"}, {200, "c"}, {200, "d"}} << 4
            << QByteArray("abcd") << 800;
        row("request still on the line")
            << waiting(200, 0.05) << 10 << Steps{{450, "ab"}} << 2 << QByteArray("ab") << 400;
    }
}

// Catches: a time-out that isn't one of silence or runs while the request is
// still going out, a lost part, a wait that spins.
void TestDevicePort::receives()
{
    QFETCH(WireKind, kind);
    QFETCH(PortSettings, settings);
    QFETCH(int, bytesSentBefore);
    QFETCH(Steps, steps);
    QFETCH(int, maxBytes);
    QFETCH(QByteArray, received);
    QFETCH(int, atLeastMs);

    Wire wire(kind, settings);
    QVERIFY(wire.isValid());
    send(wire.port(), QByteArray(bytesSentBefore, 'r'));
    QElapsedTimer clock;
    clock.start();
    const double cpuBefore = cpuMilliseconds();
    const PeerThread peer([&wire, &steps] {
        for (const Step& step : std::as_const(steps)) {
            sleepMs(step.delayMs);
            wire.peerWrites(step.bytes);
        }
    });
    QCOMPARE(receive(wire.port(), maxBytes), received);
    const auto elapsed = clock.elapsed();
    QVERIFY2(elapsed >= atLeastMs && elapsed < atLeastMs + Soon,
             qPrintable(QString::number(elapsed)));
    QVERIFY(cpuMilliseconds() - cpuBefore < 80);
}

// Catches: a wait without end on a peer that always sends a little.
void TestDevicePort::wholeWaitIsCapped()
{
    Wire wire(WireKind::PseudoTerminal, waiting(200, 0.01));
    QVERIFY(wire.isValid());
    const PeerThread peer([&wire] {
        for (int i = 0; i < 26; ++i) {
            sleepMs(50);
            wire.peerWrites("x");
        }
    });
    QElapsedTimer clock;
    clock.start();
    const QByteArray received = receive(wire.port(), 20);
    QVERIFY(clock.elapsed() >= 600); // 200 + 2 * 20 * 10
    QVERIFY2(received.size() < 20, "the wait lasted 1000 ms or more");
    QVERIFY(!received.isEmpty());
}

// Catches: a wait though enough is there, more than one wait for an arrival, and
// a device that can't wait asked again and again.
void TestDevicePort::waitsOncePerArrival()
{
    CountingDevice device({"abc", "de", "fghi"});
    DevicePort port(&device, waiting(9000));
    const QList<QPair<QByteArray, int>> expected = {
        {"a", 1}, {"bc", 1}, {"defg", 3}, {"hi", 3}, {"", 4}};
    for (const auto& [bytes, waits] : expected) {
        QCOMPARE(receive(port, std::max(1, static_cast<int>(bytes.size()))), bytes);
        QCOMPARE(device.waits, waits);
    }
}

// Catches: a foreign parameter taken for an own one, and unchecked arguments.
void TestDevicePort::ignoresWhatItCannotDo()
{
    PortSettings settings = waiting(9000);
    settings.retryCount = 4;
    settings.destination = 257;
    settings.source = 6;
    settings.delayMs = 7;
    CountingDevice device({"abc"});
    DevicePort port(&device, settings);
    QCOMPARE(pending(port), 3);

    unsigned char byte = 'x';
    QCOMPARE(port.receiveData(nullptr, 1), 0);
    QCOMPARE(port.receiveData(&byte, 0), 0);
    QCOMPARE(port.receiveData(&byte, -1), 0);
    port.sendData(nullptr, 1);
    port.sendData(&byte, -1);
    QVariant value(5);
    port.getParameter(PORT_PARAM_CLEAR_INPUT, value);
    QCOMPARE(value, QVariant(5));
    port.setParameter(PORT_PARAM_INPUT_PENDING, QVariant(0));
    QCOMPARE(receive(port, 3), QByteArray("abc"));
    QCOMPARE(port.retryCount(), 4);
    QCOMPARE(port.destinationAddress(), 257);
    QCOMPARE(port.sourceAddress(), 6);
    QCOMPARE(port.delayTime(), 7U);
}

// Catches: bytes overlooked because the operating system still holds them, and
// bytes of an earlier answer that survive the clearing.
void TestDevicePort::pendingAndClear()
{
    QFETCH(WireKind, kind);
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

// Catches: counting or clearing that goes on until the device has no more.
void TestDevicePort::leavesADeviceThatAlwaysHasMore()
{
    CountingDevice device(QVector<QByteArray>(20000, "x"));
    DevicePort port(&device, waiting(9000));
    clearInput(port);
    QVERIFY(device.waits < 1000);
    QVERIFY(pending(port) > 0);
    QVERIFY(device.waits < 2000);
}

// Catches: the same over real lines, and a flood that keeps a receiver busy.
void TestDevicePort::leavesAFlood()
{
    QFETCH(WireKind, kind);
    Wire wire(kind, waiting(9000));
    QVERIFY(wire.isValid());
    QElapsedTimer clock;
    clock.start();
    std::atomic<bool> isOver{false};
    ::fcntl(wire.peer(), F_SETFL, O_NONBLOCK);
    const PeerThread peer([&] {
        const QByteArray flood(4096, 'f');
        pollfd room = {wire.peer(), POLLOUT, 0};
        while (!isOver && clock.elapsed() < 2LL * Soon) {
            if (::write(wire.peer(), flood.constData(), 4096) < 0)
                ::poll(&room, 1, 10);
        }
    });
    const QByteArray first = receive(wire.port(), 1);
    clearInput(wire.port());
    sleepMs(20);
    const int count = pending(wire.port());
    clearInput(wire.port());
    const auto elapsed = clock.elapsed();
    isOver = true;
    QCOMPARE(first, QByteArray("f"));
    QVERIFY(count > 0);
    QVERIFY2(elapsed < Soon, qPrintable(QString::number(elapsed)));
}

void TestDevicePort::loss_data()
{
    QTest::addColumn<WireKind>("kind");
    QTest::addColumn<Loss>("how");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("error");

    const QString unplugged = "the serial line is gone: unplugged, or its other end is closed";
    const QString ended = "the connection is gone: The remote host closed the connection";
    const QString closed = "the device is closed";
    const QString deleted = "the device has been deleted";
    const auto pty = WireKind::PseudoTerminal;
    const auto tcp = WireKind::Tcp;
    QTest::newRow("pty hung up") << pty << Loss::PeerCloses << QByteArray() << unplugged;
    QTest::newRow("pty hung up in an answer")
        << pty << Loss::PeerCloses << QByteArray("ab") << unplugged;
    QTest::newRow("pty closed") << pty << Loss::DeviceClosed << QByteArray() << closed;
    QTest::newRow("pty deleted") << pty << Loss::DeviceDeleted << QByteArray() << deleted;
    QTest::newRow("TCP ended") << tcp << Loss::PeerCloses << QByteArray() << ended;
    QTest::newRow("TCP ended in an answer") << tcp << Loss::PeerCloses << QByteArray("ab") << ended;
    QTest::newRow("TCP ended and seen before")
        << tcp << Loss::SeenByEventLoop << QByteArray("ab") << ended;
    QTest::newRow("TCP reset") << tcp << Loss::PeerResets << QByteArray() << ended;
    QTest::newRow("TCP closed") << tcp << Loss::DeviceClosed << QByteArray() << closed;
    QTest::newRow("TCP deleted") << tcp << Loss::DeviceDeleted << QByteArray() << deleted;
}

// Catches: a lost line waited for, asked again without end, or not told of; an
// answer's part dropped with it.
void TestDevicePort::loss()
{
    QFETCH(WireKind, kind);
    QFETCH(Loss, how);
    QFETCH(QByteArray, before);
    QFETCH(QString, error);

    Wire wire(kind, PortSettings());
    QVERIFY(wire.isValid());
    DevicePort port(&wire.link().device(), waiting(60000));
    QCOMPARE(port.deviceError(), QString());
    QElapsedTimer clock;
    clock.start();
    if (how == Loss::DeviceClosed)
        wire.link().device().close();
    if (how == Loss::DeviceDeleted)
        wire.deleteLink();
    const PeerThread peer([&] {
        wire.peerWrites(before);
        sleepMs(100);
        const linger atOnce = {1, 0};
        if (how == Loss::PeerResets)
            ::setsockopt(wire.peer(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        wire.peerCloses();
    });
    if (how == Loss::SeenByEventLoop)
        QTRY_COMPARE(port.deviceError(), error);
    QCOMPARE(receive(port, 4), before);
    QCOMPARE(port.deviceError(), error);

    const double cpuBefore = cpuMilliseconds();
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(receive(port, 4), QByteArray());
        send(port, "request");
        QCOMPARE(pending(port), 0);
        clearInput(port);
    }
    QVERIFY(cpuMilliseconds() - cpuBefore < 80);
    QVERIFY(clock.elapsed() < Soon);
    QCOMPARE(port.deviceError(), error);
}

// Catches: a send that blocks for good or piles up, and a frame torn because
// its rest was dropped.
void TestDevicePort::sendsToADeafPeer()
{
    QFETCH(WireKind, kind);
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

// Catches: a port that only works with an event loop, in the main thread or in
// a QThread, and complaints of Qt about the thread.
void TestDevicePort::worksInAnyThread()
{
    QFETCH(WireKind, kind);
    static std::atomic<int> warnings;
    warnings = 0;
    const auto previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString&) { ++warnings; });
    QByteArray request;
    QByteArray answer;
    std::thread([&] {
        Wire wire(kind, waiting(9000));
        if (!wire.isValid())
            return;
        send(wire.port(), "request");
        request = wire.peerReads(7);
        wire.peerWrites("answer");
        answer = receive(wire.port(), 6);
    }).join();
    qInstallMessageHandler(previous);
    QCOMPARE(request, QByteArray("request"));
    QCOMPARE(answer, QByteArray("answer"));
    QCOMPARE(warnings.load(), 0);
}

QTEST_GUILESS_MAIN(TestDevicePort)
#include "tst_deviceport.moc"
