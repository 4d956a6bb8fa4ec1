#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#include "simulator/server.h"
#include "support/frames.h"

using namespace simulator;

namespace {

constexpr const char* ACK = "1006";
constexpr const char* READ34 = "100201000F003412A202078900001003 8934";
constexpr const char* READ35 = "100201000F003512A202078900001003 84A4";
constexpr const char* ANSWER34 = "100200014F0034122A001003AA7D"; // N7:0 is 42

Controller controllerWith(quint16 value)
{
    DataTables tables = seededTables(1);
    tables.file(7)->setWord(0, 0, value);
    return Controller(tables);
}

// A host program that knows nothing but POSIX.
class Client
{
public:
    explicit Client(const PtyServer& server)
        : m_port(::open(qPrintable(server.portName()), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {}
    ~Client() { ::close(m_port); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool send(const QByteArray& bytes)
    {
        return ::write(m_port, bytes.constData(), static_cast<size_t>(bytes.size()))
               == bytes.size();
    }

    // Reads until @p count bytes are there or nothing comes for @p patience ms.
    QByteArray take(int count, int patience = 2000)
    {
        QByteArray bytes;
        pollfd polled = {m_port, POLLIN, 0};
        while (bytes.size() < count && ::poll(&polled, 1, patience) == 1) {
            char buffer[4096];
            const auto wanted = static_cast<size_t>(count - bytes.size());
            const ssize_t got = ::read(m_port, buffer, std::min(wanted, sizeof buffer));
            if (got <= 0)
                break;
            bytes.append(buffer, static_cast<int>(got));
        }
        return bytes;
    }

    QByteArray ask(const QByteArray& bytes, int count)
    {
        return send(bytes) ? take(count) : QByteArray("not sent");
    }

private:
    int m_port;
};

int openDescriptors()
{
    DIR* folder = ::opendir("/proc/self/fd");
    int count = 0;
    while (::readdir(folder))
        ++count;
    ::closedir(folder);
    return count;
}

double processorSeconds()
{
    timespec used;
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + 1e-9 * static_cast<double>(used.tv_nsec);
}

}

class TestPtyServer : public QObject
{
    Q_OBJECT

private slots:
    void servesOneClientAfterTheOther();
    void serversAreIndependent();
    void looksInsideWhileServing();
    void enquiresInRealTime();
    void waitsForAClientThatDoesNotRead();
    void stopsPromptlyAndLeavesNothing();
    void saysWhyItCannotStart();
};

// Catches: a port that is not raw, or dies, or burns the processor when its client
// goes, and counters that don't reach the controller.
void TestPtyServer::servesOneClientAfterTheOther()
{
    PtyServer server(controllerWith(42));
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    {
        Client client(server);
        QCOMPARE(client.ask(hex(READ34), 16).toHex(), hex(ACK).toHex() + hex(ANSWER34).toHex());
        QVERIFY(client.send(hex(ACK)));
    }
    const double before = processorSeconds();
    QTest::qSleep(300);
    QVERIFY(processorSeconds() - before < 0.1);

    Client client(server);
    QCOMPARE(client.ask(hex(READ35), 16).toHex(),
             hex(ACK).toHex() + "100200014f0035122a00100397bd");
    QVERIFY(client.send(hex(ACK)));
    QCOMPARE(client.ask(frameOf(hex("010006003612 01 0000 04")), 18).mid(2),
             frameOf(hex("000146003612 0200 0300")));
}

// Catches: state that two servers share.
void TestPtyServer::serversAreIndependent()
{
    PtyServer first(controllerWith(42));
    PtyServer second(controllerWith(0x1010));
    QString error;
    QVERIFY2(first.start(&error), qPrintable(error));
    QVERIFY2(second.start(&error), qPrintable(error));
    QVERIFY(first.portName() != second.portName());
    Client toFirst(first);
    Client toSecond(second);
    QVERIFY(toFirst.send(hex(READ34)));
    QCOMPARE(toSecond.ask(hex(READ34), 18).toHex(),
             hex(ACK).toHex() + "100200014f00341210101010100387b0");
    QCOMPARE(toFirst.take(16).toHex(), hex(ACK).toHex() + hex(ANSWER34).toHex());
}

// Catches: a snapshot that lags behind a reply or shows half of a write or change, and a
// change that requests do not see.
void TestPtyServer::looksInsideWhileServing()
{
    PtyServer server(controllerWith(42));
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server);
    server.change([](DataTables& tables) { tables.file(7)->setWord(0, 0, 0x1010); });
    QCOMPARE(client.ask(hex(READ34), 18).mid(2), frameOf(hex("00014F0034121010")));
    client.send(hex(ACK));

    DataTables expected = server.snapshot();
    const auto write = [&client](char round) { // N7:0 to 39
        client.ask(frameOf(hex("01000F00") + round + hex("00AA5007890000") + QByteArray(80, round)),
                   14);
        client.send(hex(ACK));
    };
    for (char round = 0x20; round < 0x70; ++round) {
        write(round);
        QVERIFY(expected.file(7)->write(0, 0, QByteArray(80, round)));
        QVERIFY(server.snapshot() == expected);
    }

    std::atomic<bool> done(false);
    std::thread owner([&server, &done] {
        for (quint16 round = 0; !done; ++round)
            server.change([round](DataTables& tables) {
                for (int element = 0; element < 40; ++element)
                    tables.file(7)->setWord(element, 0, round);
            });
    });
    int mixed = 0;
    for (char round = 0x20; round < 0x70; ++round) {
        write(round);
        for (int look = 0; look < 500; ++look) {
            const DataTables seen = server.snapshot();
            const QByteArray words = *seen.file(7)->read(0, 0, 80);
            mixed += words != words.left(2).repeated(40) ? 1 : 0;
        }
    }
    done = true;
    owner.join();
    QCOMPARE(mixed, 0);
}

// Catches: a server that sleeps past its station's deadline or never wakes for it.
void TestPtyServer::enquiresInRealTime()
{
    StationSettings settings;
    settings.ackTimeoutMs = 60;
    PtyServer server(controllerWith(42), settings);
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(client.ask(hex(READ34), 22).mid(16).toHex(), QByteArray("100510051005"));
    QVERIFY(clock.elapsed() >= 178 && clock.elapsed() < 1500);
    QCOMPARE(client.take(1, 200).toHex(), QByteArray());
}

// Catches: a server that blocks in a write, drops bytes, or hoards what is not read.
void TestPtyServer::waitsForAClientThatDoesNotRead()
{
    PtyServer server(controllerWith(42));
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server);
    const auto fill = [&client] {
        int sent = 0;
        QElapsedTimer sinceSent;
        for (sinceSent.start(); sent < 1000000 && sinceSent.elapsed() < 200;) {
            if (!client.send(hex("1005")))
                continue;
            ++sent;
            sinceSent.restart();
        }
        return sent;
    };
    const int sent = fill();
    QVERIFY(sent < 1000000);
    QCOMPARE(client.take(2 * sent).toHex(), hex("1015").repeated(sent).toHex());
    QVERIFY(fill() < 1000000);
    server.stop(); // while stuck; would hang in a blocking write
}

// Catches: a stop that waits for a client or a time-out, and descriptors left open.
void TestPtyServer::stopsPromptlyAndLeavesNothing()
{
    const int before = openDescriptors();
    {
        PtyServer server(controllerWith(42));
        server.stop();
        QString error;
        for (int round = 0; round < 10; ++round) {
            QVERIFY2(server.start(&error), qPrintable(error));
            Client client(server);
            QCOMPARE(static_cast<int>(client.ask(hex(READ34), 16).size()), 16);
            QElapsedTimer clock;
            clock.start();
            server.stop();
            QVERIFY(clock.elapsed() < 500);
            QVERIFY(server.portName().isEmpty());
        }
        QVERIFY(server.start(&error));
        QVERIFY(!server.start(&error));
        QCOMPARE(error, QString("already serving on %1; stop it first").arg(server.portName()));
    }
    QCOMPARE(openDescriptors(), before);
}

// Catches: a failed step that is not reported or leaves the steps before it open.
void TestPtyServer::saysWhyItCannotStart()
{
    PtyServer server(controllerWith(42));
    const int before = openDescriptors();
    rlimit usual;
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    const int firstFree = ::dup(0);
    ::close(firstFree);
    const char* const actions[] = {"opening a pseudo-terminal: ", "opening /dev/pts/",
                                   "making the server's wake-up descriptor: "};
    for (int step = 0; step < 3; ++step) {
        rlimit tight = usual;
        tight.rlim_cur = static_cast<rlim_t>(firstFree + step);
        ::setrlimit(RLIMIT_NOFILE, &tight);
        QString error;
        const bool started = server.start(&error);
        ::setrlimit(RLIMIT_NOFILE, &usual);
        QVERIFY(!started);
        QVERIFY2(error.startsWith(actions[step]), qPrintable(error));
        QVERIFY2(error.endsWith(": Too many open files"), qPrintable(error));
        QCOMPARE(openDescriptors(), before);
    }
}

QTEST_APPLESS_MAIN(TestPtyServer)
#include "tst_ptyserver.moc"
