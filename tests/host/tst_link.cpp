#include <QtTest>

#include <termios.h>
#include <unistd.h>

#include <QHostInfo>
#include <QTcpServer>
#include <QTcpSocket>

#include "support/named.h"
#include "support/wire.h"

using host::LineSettings;
using host::Link;
using host::PortSettings;
using support::PtyPair;
using support::TcpListener;

class TestLink : public QObject
{
    Q_OBJECT

private slots:
    void lineSettings();
    void badLineSettings();
    void refuses();
    void saysThatAHostIsUnknown();
    void saysWhoOwnsTheDevice();
    void saysThatALineIsBusy();
    void givesUpOnASilentAddress();
    void opensATerminal();
    void opensTcp();
};

// Catches: swapped fields, a parity or stop bit left out of a byte's time.
void TestLink::lineSettings()
{
    const std::tuple<const char*, const char*, double> rows[] = {
        {"9600,even,7,1", "9600,EVEN,7,1", 10},
        {"1200,Odd,8,2", "1200,ODD,8,2", 12},
        {"50,MARK,5,1", "50,MARK,5,1", 8},
        {" 4000000 , SPACE, 6 ,2 ", "4000000,SPACE,6,2", 10},
        {"19200,NONE,8,1", "19200,NONE,8,1", 10},
    };
    for (const auto& [text, normal, bitsPerByte] : rows) {
        const auto settings = LineSettings::parse(text);
        QVERIFY2(settings.has_value(), text);
        QCOMPARE(settings->toText(), QString(normal));
        QCOMPARE(settings->secondsPerByte() * settings->baudRate, bitsPerByte);
    }
}

// Catches: a bad value accepted or replaced in silence.
void TestLink::badLineSettings()
{
    const std::pair<const char*, const char*> rows[] = {
        {"", "1 values instead of four"},
        {"19200,NONE,8,1,1", "5 values instead of four"},
        {",NONE,8,1", "baud rate '' is not a number from 50 to 4000000"},
        {"49,NONE,8,1", "baud rate '49' is not a number from 50 to 4000000"},
        {"4000001,NONE,8,1", "baud rate '4000001' is not a number from 50 to 4000000"},
        {"19200,NON,8,1", "parity 'NON' is not NONE, EVEN, ODD, MARK or SPACE"},
        {"19200,NONE,9,1", "data bits '9' is not 5, 6, 7 or 8"},
        {"19200,NONE,4,1", "data bits '4' is not 5, 6, 7 or 8"},
        {"19200,NONE,8,1.5", "stop bits '1.5' is not 1 or 2"},
        {"19200,NONE,8,3", "stop bits '3' is not 1 or 2"},
    };
    for (const auto& [text, fault] : rows) {
        QString error;
        QVERIFY2(!LineSettings::parse(text, &error) && !LineSettings::parse(text), text);
        QCOMPARE(error, QString("bad line settings '%1': %2; give baud rate, parity, data bits and "
                                "stop bits, such as 19200,NONE,8,1")
                            .arg(text, fault));
    }
}

// Catches: an error that names the wrong cause, or no remedy.
void TestLink::refuses()
{
    const char* const give = "give a serial device such as /dev/ttyUSB0, or tcp://host:port";
    const char* const form = "give tcp://host:port with a port from 1 to 65535";
    const std::tuple<QString, QString, QString> rows[] = {
        {"''", "the link is empty", give},
        {"/nonexistent", "no such device", give},
        {"plc:2222", "no such device", give},
        {"/tmp", "it is a directory, not a terminal", give},
        {"/etc/passwd", "it is a regular file, not a terminal", give},
        {"null", "it is a character device, not a terminal", give},
        {"udp://plc:2222", "unknown kind of link 'udp://'", give},
        {"tcp://:2222", "the host is missing", form},
        {"tcp://", "the host is missing", form},
        {"tcp://plc", "the TCP port is missing", form},
        {"tcp://plc:", "the TCP port is missing", form},
        {"tcp://[::1]", "the TCP port is missing", form},
        {"tcp://plc:0", "'0' is not a TCP port", form},
        {"tcp://plc:65536", "'65536' is not a TCP port", form},
        {"tcp://plc:22/", "'22/' is not a TCP port", form},
        {"tcp://::1:2222", "an IPv6 address goes in brackets", "such as tcp://[::1]:2222"},
        // A port that a program may not listen on unnoticed.
        {"tcp://127.0.0.1:1", "connection refused",
         "is anything listening on port 1 of 127.0.0.1?"},
    };
    for (const auto& [text, fault, remedy] : rows) {
        QString told;
        const QString given = text == "''" ? QString(" ") : text;
        QVERIFY2(!Link::open(given, LineSettings(), PortSettings(), &told), qPrintable(text));
        const QString mark = text == "tcp://::1:2222" ? ", " : "; ";
        QCOMPARE(told, "cannot open " + text + ": " + fault + mark + remedy);
        QVERIFY(!Link::open(given, LineSettings(), PortSettings()));
    }
}

// Catches: an unknown host that hangs, or is told as something else.
void TestLink::saysThatAHostIsUnknown()
{
    QString error;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(Link::open("tcp://nosuch.invalid:2222", LineSettings(), PortSettings(), &error, 500)
            == nullptr);
    QVERIFY(clock.elapsed() < 5000);
    QVERIFY2(error.startsWith("cannot open tcp://nosuch.invalid:2222: host 'nosuch.invalid' is "
                              "unknown (")
                 || error.contains("no answer from the name service within 0.5 s"),
             qPrintable(error));
}

// Catches: a refusal that leaves the user without the group to join.
void TestLink::saysWhoOwnsTheDevice()
{
    if (::geteuid() == 0)
        QSKIP("nothing is refused to root");
    const PtyPair pty;
    QVERIFY(pty.isValid());
    QVERIFY(QFile::setPermissions(pty.slavePath(), QFile::WriteOwner));
    QString error;
    QVERIFY(Link::open(pty.slavePath(), LineSettings(), PortSettings(), &error) == nullptr);
    QVERIFY2(error.contains(QString(": permission denied; it belongs to group '%1'")
                                .arg(QFileInfo(pty.slavePath()).group())),
             qPrintable(error));
}

// Catches: two programs on one line, also under two names.
void TestLink::saysThatALineIsBusy()
{
    const PtyPair pty;
    const QTemporaryDir directory;
    const QString other = directory.filePath("plc");
    QVERIFY(QFile::link(pty.slavePath(), other));
    auto first = Link::open(pty.slavePath(), LineSettings(), PortSettings());
    QVERIFY(first != nullptr);
    QString error;
    QVERIFY(Link::open(other, LineSettings(), PortSettings(), &error) == nullptr);
    QVERIFY2(error.startsWith("cannot open " + other + ": busy, most likely in use by another"),
             qPrintable(error));
    first.reset();
    QVERIFY(Link::open(other, LineSettings(), PortSettings()) != nullptr);
}

// Catches: a connection attempt that lasts as long as the system likes.
void TestLink::givesUpOnASilentAddress()
{
    const TcpListener full(0);
    std::vector<std::unique_ptr<QTcpSocket>> waiting;
    do { // until the system answers no more
        waiting.push_back(std::make_unique<QTcpSocket>());
        waiting.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), full.port());
    } while (waiting.back()->waitForConnected(300) && waiting.size() < 100);

    QElapsedTimer clock;
    clock.start();
    QString error;
    QVERIFY(Link::open(full.linkText(), LineSettings(), PortSettings(), &error, 400) == nullptr);
    QVERIFY(clock.elapsed() >= 400 && clock.elapsed() < 4000);
    QCOMPARE(error, QString("cannot open %1: no answer from 127.0.0.1 within 0.4 s; check address, "
                            "network and power")
                        .arg(full.linkText()));
}

// Catches: a pseudo-terminal refused for its parity, a byte that the terminal
// swallows or changes, settings that stay behind.
void TestLink::opensATerminal()
{
    const PtyPair pty;
    QVERIFY(pty.isValid());
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    for (const char* const line : {"19200,NONE,8,1", "9600,EVEN,7,2", "1200,MARK,5,1"}) {
        termios before = {};
        ::tcgetattr(pty.slave(), &before);
        {
            QString error;
            const auto link =
                Link::open(pty.slavePath(), *LineSettings::parse(line), PortSettings(), &error);
            QVERIFY2(link != nullptr, qPrintable(named(line, error)));
            QCOMPARE(link->text(), pty.slavePath());
            QCOMPARE(link->port().deviceError(), QString());
            support::send(link->port(), all);
            QByteArray sent(256, '\0');
            QCOMPARE(::read(pty.master(), sent.data(), 256), 256);
            QCOMPARE(named(line, sent), named(line, all));
            QCOMPARE(::write(pty.master(), all.constData(), 256), 256);
            QCOMPARE(named(line, support::receive(link->port(), 256)), named(line, all));
        }
        termios after = {};
        ::tcgetattr(pty.slave(), &after);
        QVERIFY2(after.c_iflag == before.c_iflag && after.c_oflag == before.c_oflag
                     && after.c_cflag == before.c_cflag && after.c_lflag == before.c_lflag,
                 line);
    }
}

// Catches: a form of address that isn't understood, and bytes held back to fill
// a packet.
void TestLink::opensTcp()
{
    for (const QString pattern :
         {"tcp://127.0.0.1:%1", "tcp://localhost:%1", " TCP://127.0.0.1:%1 ", "tcp://[::1]:%1"}) {
        QTcpServer server;
        const bool isThere = server.listen(pattern.contains('[') ? QHostAddress::LocalHostIPv6
                                                                 : QHostAddress::LocalHost);
        if (!isThere || QHostInfo::fromName("localhost").addresses().isEmpty())
            QSKIP("no such address on this machine");
        QString error;
        const auto link =
            Link::open(pattern.arg(server.serverPort()), LineSettings(), PortSettings(), &error);
        QVERIFY2(link != nullptr, qPrintable(error));
        QVERIFY(server.waitForNewConnection(3000));
        auto& socket = static_cast<QTcpSocket&>(link->device());
        QCOMPARE(socket.socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
    }
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
