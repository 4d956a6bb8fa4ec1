#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

#include <arpa/inet.h>
#include <atomic>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include "simulator/server.h"
#include "support/frames.h"
#include "support/ptypair.h"

using namespace simulator;

namespace {

// A host program that knows nothing but POSIX.
class Client
{
public:
    explicit Client(const QString& name)
    {
        if (!name.startsWith("tcp://")) {
            m_line = ::open(qPrintable(name), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
            return;
        }
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<quint16>(name.section(':', -1).toInt()));
        m_line = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ::connect(m_line, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    explicit Client(int line)
        : m_line(line)
        , m_isOwn(false)
    {}
    ~Client()
    {
        if (m_isOwn)
            ::close(m_line);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // What comes within @p patience ms of each other; "end" when the line ends.
    QByteArray ask(const QByteArray& bytes, int count, int patience = 2000)
    {
        QByteArray answer;
        if (!bytes.isEmpty()
            && ::send(m_line, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL)
                   < 0
            && ::write(m_line, bytes.constData(), static_cast<size_t>(bytes.size())) < 0)
            return "not sent";
        pollfd polled = {m_line, POLLIN, 0};
        while (answer.size() < count && ::poll(&polled, 1, patience) == 1) {
            char buffer[512];
            const auto wanted = static_cast<size_t>(count - answer.size());
            const ssize_t got = ::read(m_line, buffer, std::min(wanted, sizeof buffer));
            if (got <= 0)
                return answer + "end";
            answer.append(buffer, static_cast<int>(got));
        }
        return answer;
    }

private:
    int m_line;
    bool m_isOwn = true;
};

const QByteArray ACK = hex("1006");

QByteArray requestWith(char tns, char words = 1)
{
    return frameOf(hex("01000F00") + tns + hex("00A2") + static_cast<char>(2 * words)
                   + hex("07890000"));
}

QByteArray answerWith(char tns, char words = 1)
{
    return ACK + frameOf(hex("00014F00") + tns + '\0' + hex("2A00").repeated(words));
}

Controller controllerOf42s()
{
    DataTables tables = seededTables(1);
    for (int element = 0; element < 100; ++element)
        tables.file(7)->setWord(element, 0, 42);
    return Controller(tables);
}

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

ServerSettings settingsWith(const char* faults)
{
    QString error;
    ServerSettings settings;
    settings.faults = parseFaults(faults, &error).value();
    return settings;
}

}

/// The kinds of line, and what the server adds to a station on all of them.
class TestServer : public QObject
{
    Q_OBJECT

private slots:
    void servesEveryKind_data();
    void servesEveryKind();
    void putsASerialPortBack();
    void linksToAPseudoTerminal();
    void saysWhyAPlaceIsUnusable_data();
    void saysWhyAPlaceIsUnusable();
    void keepsALinesPace();
    void playsFaults();
    void livesUnlessItIsStill();
    void logsTransactions();
    void tellsOfABrokenLine();
    void looksInsideWhileServing();
    void enquiresInRealTime();
    void waitsForAClientThatDoesNotRead();
    void stopsPromptlyAndLeavesNothing();
    void saysWhyItCannotStart();
};

void TestServer::servesEveryKind_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("pty") << "pty";
    QTest::newRow("tcp") << "tcp";
    QTest::newRow("serial") << "serial";
}

// Catches: a kind that garbles bytes, serves one client only, burns the processor when
// its client goes, keeps counters from the controller, or shares state with another server.
void TestServer::servesEveryKind()
{
    QFETCH(QString, kind);
    const support::PtyPair wire;
    Place place = PtyPlace();
    if (kind == "tcp")
        place = TcpPlace();
    if (kind == "serial") {
        SerialPlace serial;
        serial.device = wire.slavePath();
        place = serial;
    }
    Server server(controllerOf42s());
    Server other(controllerOf42s());
    QString error;
    QVERIFY2(server.start(place, &error), qPrintable(error));
    QVERIFY2(other.start(TcpPlace(), &error), qPrintable(error));
    for (char tns = 1; tns < 4; ++tns) {
        Client client(server.portName());
        Client farEnd(wire.master());
        Client& used = kind == "serial" ? farEnd : client;
        const QByteArray answer = answerWith(tns);
        QCOMPARE(used.ask(requestWith(tns), sizeOf(answer)).toHex(), answer.toHex());
        QCOMPARE(Client(other.portName()).ask(requestWith(tns), 2).toHex(), ACK.toHex());
        QCOMPARE(used.ask(ACK + hex("1005"), 2).toHex(), ACK.toHex());
    }
    const double before = processorSeconds();
    QTest::qSleep(300);
    QVERIFY(processorSeconds() - before < 0.1);
    Client client(server.portName());
    Client farEnd(wire.master());
    Client& used = kind == "serial" ? farEnd : client;
    QCOMPARE(used.ask(frameOf(hex("010006000400 01 0000 04")), 18).mid(2),
             frameOf(hex("000146000400 0300 0400")));
    server.stop();
    QVERIFY(server.portName().isEmpty());
}

// Catches: a serial line set to other parameters than asked for, or left that way.
void TestServer::putsASerialPortBack()
{
    const support::PtyPair wire;
    SerialPlace place;
    place.device = wire.slavePath();
    place.baudRate = 9600;
    place.stopBits = 2;
    const auto settings = [&wire] {
        termios line = {};
        ::tcgetattr(wire.slave(), &line);
        return QString("%1 %2").arg(::cfgetospeed(&line)).arg(line.c_cflag & CSTOPB);
    };
    const QString before = settings();
    Server server(controllerOf42s());
    QString error;
    QVERIFY2(server.start(place, &error), qPrintable(error));
    QCOMPARE(settings(), QString("%1 %2").arg(B9600).arg(CSTOPB));
    server.stop();
    QCOMPARE(settings(), before);
}

// Catches: a link that stays, that destroys somebody's file, or that a killed
// simulator's link prevents.
void TestServer::linksToAPseudoTerminal()
{
    const QTemporaryDir folder;
    const QString link = folder.filePath("plc");
    QCOMPARE(::symlink("/dev/pts/9999", qPrintable(link)), 0);
    Server server(controllerOf42s());
    QString error;
    QVERIFY2(server.start(PtyPlace{link}, &error), qPrintable(error));
    QCOMPARE(QFile::symLinkTarget(link), server.portName());
    QCOMPARE(Client(link).ask(requestWith(1), 2), ACK);
    server.stop();
    QVERIFY(!QFileInfo(link).isSymLink());

    QFile file(link);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(!server.start(PtyPlace{link}, &error));
    QCOMPARE(error, QString("making the link %1: File exists").arg(link));
    QVERIFY(file.exists());
}

void TestServer::saysWhyAPlaceIsUnusable_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("message");
    QTest::newRow("no device") << "/nonexistent" << 9600 << ""
                               << "opening /nonexistent: No such file or directory";
    QTest::newRow("no terminal") << "/dev/null" << 9600 << ""
                                 << "opening /dev/null: Inappropriate ioctl for device";
    QTest::newRow("speed") << "/dev/null" << 9601 << ""
                           << "use 300 to 115200";
    QTest::newRow("host") << "" << 0 << "no.such.host.invalid"
                          << "no.such.host.invalid:0: ";
    QTest::newRow("address") << "" << 0 << "192.0.2.1"
                             << "listening on 192.0.2.1:0: Cannot assign requested address";
}

// Catches: a server that seems to run on a line that it does not have.
void TestServer::saysWhyAPlaceIsUnusable()
{
    QFETCH(QString, device);
    QFETCH(int, baudRate);
    QFETCH(QString, host);
    QFETCH(QString, message);
    SerialPlace serial;
    serial.device = device;
    serial.baudRate = baudRate;
    TcpPlace tcp;
    tcp.host = host;
    Server server(controllerOf42s());
    QString error;
    QVERIFY(!server.start(host.isEmpty() ? Place(serial) : Place(tcp), &error));
    QVERIFY2(error.contains(message), qPrintable(error));
    QVERIFY(server.portName().isEmpty());
}

// Catches: bytes that travel faster or much slower than the line they stand for.
void TestServer::keepsALinesPace()
{
    ServerSettings settings;
    settings.pace = 9600;
    Server server(controllerOf42s(), settings);
    QString error;
    QVERIFY2(server.start(PtyPlace(), &error), qPrintable(error));
    Client client(server.portName());
    const double lineTime =
        1000.0 * 10 * (sizeOf(requestWith(1, 100)) + sizeOf(answerWith(1, 100))) / 9600;
    double best = 1e9; // of some: a busy machine delays one or the other
    for (char tns = 1; tns < 6 && best >= 1.3 * lineTime; ++tns) {
        const QByteArray answer = answerWith(tns, 100);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(client.ask(requestWith(tns, 100), sizeOf(answer)), answer);
        best = std::min(best, static_cast<double>(clock.nsecsElapsed()) / 1e6);
        client.ask(ACK, 1, 100);
    }
    QVERIFY2(best > lineTime - 1 && best < 1.3 * lineTime,
             qPrintable(QString("%1 ms instead of %2").arg(best).arg(lineTime)));
}

// Catches: faults that don't reach the line, the controller or the connection, and a
// station that goes on about a reply which was never made.
void TestServer::playsFaults()
{
    ServerSettings settings = settingsWith("nak@1,late@2:1500,swap@3:1000,program@4,hang-up@5");
    settings.station.ackTimeoutMs = 60000;
    Server server(controllerOf42s(), settings);
    QString error;
    QVERIFY2(server.start(TcpPlace(), &error), qPrintable(error));
    Client client(server.portName());
    QCOMPARE(client.ask(requestWith(1), 20, 500), hex("1015"));
    QCOMPARE(client.ask(requestWith(2), 20, 500), ACK);
    QCOMPARE(client.ask({}, 14).toHex(), answerWith(2).mid(2).toHex());
    QCOMPARE(client.ask(ACK + requestWith(3), 16).toHex(), answerWith(3).toHex());
    QCOMPARE(client.ask(ACK + frameOf(hex("01000600 0400 03")), 38).mid(15, 11),
             QByteArray("1761-L32BWA"));
    QCOMPARE(int(*server.snapshot().file(2)->word(1) & 0x1F), 0x01);
    QCOMPARE(client.ask(ACK + requestWith(5), 16), QByteArray("end"));
    QCOMPARE(Client(server.portName()).ask(requestWith(6), 2), ACK);
}

// Catches: a still controller that moves, and life that requests do not see.
void TestServer::livesUnlessItIsStill()
{
    DataTables tables = seededTables(1);
    tables.add(4, FileType::Timer, 1).setWord(0, 0, 0x8000);
    tables.file(4)->setWord(0, 1, 30000);
    for (const bool isAlive : {false, true}) {
        ServerSettings settings;
        settings.isAlive = isAlive;
        Server server{Controller(tables), settings};
        QString error;
        QVERIFY2(server.start(PtyPlace(), &error), qPrintable(error));
        QTest::qSleep(40);
        Client client(server.portName());
        QCOMPARE(client.ask(requestWith(1), 2), ACK);
        QTRY_COMPARE(server.snapshot() != tables, isAlive);
        QVERIFY(!isAlive || *server.snapshot().file(4)->word(0, 2) >= 4);
    }
}

// Catches: a transaction without its line, or with another's address, status, time or fault.
void TestServer::logsTransactions()
{
    ServerSettings settings = settingsWith("silence@3");
    QStringList lines;
    settings.log = [&lines](const Exchange& exchange) { lines << textOf(exchange); };
    Server server(controllerOf42s(), settings);
    QString error;
    QVERIFY2(server.start(PtyPlace(), &error), qPrintable(error));
    Client client(server.portName());
    client.ask(requestWith(1), 16);
    client.ask(ACK, 1, 1000); // the pause behind it is nobody's time
    client.ask(frameOf(hex("01000F00 0200 A2 02 04 86 FF2C01 02")), 14);
    client.ask(ACK + requestWith(3), 1, 50);
    client.ask(frameOf(hex("01000600 0400 03")), 38);
    server.stop();
    const QString text =
        lines.replaceInStrings(QRegularExpression(" \\d{1,3}\\.\\d ms"), "").join('\n');
    QCOMPARE(text, QString("0F A2 N7:0 2 bytes STS 00\n0F A2 T4:300.2 2 bytes STS 50\n"
                           "0F A2 N7:0 2 bytes STS 00 silence\n06 03 STS 00"));
}

// Catches: a line that breaks in silence.
void TestServer::tellsOfABrokenLine()
{
    support::PtyPair wire;
    SerialPlace place;
    place.device = wire.slavePath();
    ServerSettings settings;
    QString reason;
    std::atomic<bool> isBroken(false);
    settings.broken = [&](const QString& text) {
        reason = text;
        isBroken = true;
    };
    Server server(controllerOf42s(), settings);
    QString error;
    QVERIFY2(server.start(place, &error), qPrintable(error));
    wire.closeMaster();
    QTRY_VERIFY(isBroken);
    server.stop();
    QCOMPARE(reason, wire.slavePath() + ": the other end has gone");
}

// Catches: a snapshot that lags behind a reply or shows half of a write or change, and a
// change that requests do not see.
void TestServer::looksInsideWhileServing()
{
    PtyServer server(controllerOf42s());
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server.portName());
    server.change([](DataTables& tables) { tables.file(7)->setWord(0, 0, 0x1010); });
    QCOMPARE(client.ask(requestWith(0x34), 18).mid(2), frameOf(hex("00014F0034001010")));
    client.ask(ACK, 0);

    DataTables expected = server.snapshot();
    const auto write = [&client](char round) { // N7:0 to 39
        client.ask(frameOf(hex("01000F00") + round + hex("00AA5007890000") + QByteArray(80, round)),
                   14);
        client.ask(ACK, 0);
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
void TestServer::enquiresInRealTime()
{
    StationSettings settings;
    settings.ackTimeoutMs = 60;
    PtyServer server(controllerOf42s(), settings);
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server.portName());
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(client.ask(requestWith(0x34), 22).mid(16).toHex(), QByteArray("100510051005"));
    QVERIFY(clock.elapsed() >= 178 && clock.elapsed() < 1500);
    QCOMPARE(client.ask({}, 1, 200), QByteArray());
}

// Catches: a server that blocks in a write, drops bytes, or hoards what is not read.
void TestServer::waitsForAClientThatDoesNotRead()
{
    PtyServer server(controllerOf42s());
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Client client(server.portName());
    const auto fill = [&client] {
        int sent = 0;
        QElapsedTimer sinceSent;
        for (sinceSent.start(); sent < 1000000 && sinceSent.elapsed() < 200;) {
            if (client.ask(hex("1005"), 0) == "not sent")
                continue;
            ++sent;
            sinceSent.restart();
        }
        return sent;
    };
    const int sent = fill();
    QVERIFY(sent < 1000000);
    QCOMPARE(client.ask({}, 2 * sent).toHex(), hex("1015").repeated(sent).toHex());
    QVERIFY(fill() < 1000000);
    server.stop(); // while stuck; would hang in a blocking write
}

// Catches: a stop that waits for a client or a time-out, and descriptors left open.
void TestServer::stopsPromptlyAndLeavesNothing()
{
    const int before = openDescriptors();
    {
        PtyServer server(controllerOf42s());
        server.stop();
        QString error;
        for (int round = 0; round < 10; ++round) {
            QVERIFY2(server.start(&error), qPrintable(error));
            Client client(server.portName());
            QCOMPARE(sizeOf(client.ask(requestWith(1), 16)), 16);
            QElapsedTimer clock;
            clock.start();
            server.stop();
            QVERIFY(clock.elapsed() < 2000);
            QVERIFY(server.portName().isEmpty());
        }
        QVERIFY(server.start(&error));
        QVERIFY(!server.start(&error));
        QCOMPARE(error, QString("already serving on %1; stop it first").arg(server.portName()));
    }
    QCOMPARE(openDescriptors(), before);
}

// Catches: a failed step that is not reported or leaves the steps before it open.
void TestServer::saysWhyItCannotStart()
{
    PtyServer server(controllerOf42s());
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

QTEST_APPLESS_MAIN(TestServer)
#include "tst_server.moc"
