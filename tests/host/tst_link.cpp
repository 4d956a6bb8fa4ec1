#include <QtTest>

#include <termios.h>
#include <unistd.h>

#include <QHostInfo>
#include <QTcpServer>
#include <QTcpSocket>

#include "support/wire.h"

using host::LineSettings;
using host::Link;
using host::PortSettings;
using support::PtyPair;
using support::TcpListener;

Q_DECLARE_METATYPE(QHostAddress::SpecialAddress)

class TestLink : public QObject
{
    Q_OBJECT

private slots:
    void lineSettings_data();
    void lineSettings();
    void badLineSettings_data();
    void badLineSettings();
    void refuses_data();
    void refuses();
    void saysThatAHostIsUnknown();
    void saysWhoOwnsTheDevice();
    void saysThatALineIsBusy();
    void givesUpOnASilentAddress();
    void opensATerminal_data();
    void opensATerminal();
    void opensTcp_data();
    void opensTcp();
};

void TestLink::lineSettings_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("normal");
    QTest::addColumn<double>("bitsPerByte");

    QTest::newRow("usual") << "19200,NONE,8,1"
                           << "19200,NONE,8,1" << 10.0;
    QTest::newRow("any case") << "9600,even,7,1"
                              << "9600,EVEN,7,1" << 10.0;
    QTest::newRow("odd, two stop bits") << "1200,Odd,8,2"
                                        << "1200,ODD,8,2" << 12.0;
    QTest::newRow("mark, five bits") << "50,MARK,5,1"
                                     << "50,MARK,5,1" << 8.0;
    QTest::newRow("space, blanks") << " 115200 , SPACE, 6 ,2 "
                                   << "115200,SPACE,6,2" << 10.0;
}

// Catches: swapped fields, a parity or stop bit left out of a byte's time.
void TestLink::lineSettings()
{
    QFETCH(QString, text);
    QFETCH(QString, normal);
    QFETCH(double, bitsPerByte);

    const auto settings = LineSettings::parse(text);
    QVERIFY(settings.has_value());
    QCOMPARE(settings->toText(), normal);
    QCOMPARE(settings->secondsPerByte() * settings->baudRate, bitsPerByte);
}

void TestLink::badLineSettings_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("fault");

    const char* const baud = "baud rate '%1' is not a number from 50 to 4000000";
    QTest::newRow("nothing") << ""
                             << "1 values instead of four";
    QTest::newRow("three") << "19200,NONE,8"
                           << "3 values instead of four";
    QTest::newRow("five") << "19200,NONE,8,1,1"
                          << "5 values instead of four";
    QTest::newRow("no baud rate") << ",NONE,8,1" << QString(baud).arg("");
    QTest::newRow("baud rate 0") << "0,NONE,8,1" << QString(baud).arg("0");
    QTest::newRow("baud rate too large")
        << "99999999999,NONE,8,1" << QString(baud).arg("99999999999");
    QTest::newRow("parity") << "19200,NON,8,1"
                            << "parity 'NON' is not NONE, EVEN, ODD, MARK or SPACE";
    QTest::newRow("nine data bits") << "19200,NONE,9,1"
                                    << "data bits '9' is not 5, 6, 7 or 8";
    QTest::newRow("four data bits") << "19200,NONE,4,1"
                                    << "data bits '4' is not 5, 6, 7 or 8";
    QTest::newRow("half a stop bit") << "19200,NONE,8,1.5"
                                     << "stop bits '1.5' is not 1 or 2";
}

// Catches: a bad value accepted or replaced in silence.
void TestLink::badLineSettings()
{
    QFETCH(QString, text);
    QFETCH(QString, fault);

    QString error;
    QVERIFY(!LineSettings::parse(text, &error).has_value());
    QCOMPARE(error, QString("bad line settings '%1': %2; give baud rate, parity, data bits and "
                            "stop bits, such as 19200,NONE,8,1")
                        .arg(text, fault));
    QVERIFY(!LineSettings::parse(text).has_value());
}

void TestLink::refuses_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");

    const char* const give = "give a serial device such as /dev/ttyUSB0, or tcp://host:port";
    const char* const form = "give tcp://host:port with a port from 1 to 65535";
    const auto row = [](const char* name, const char* text, const char* fault, const char* remedy) {
        QTest::newRow(name) << QString(text)
                            << QString("cannot open %1: %2; %3").arg(text, fault, remedy);
    };
    row("no file", "/nonexistent", "no such device", give);
    row("no bare name", "ttyNONE0", "no such device", give);
    row("port without scheme", "plc:2222", "no such device", give);
    row("directory", "/tmp", "it is a directory, not a terminal", give);
    row("regular file", "/etc/passwd", "it is a regular file, not a terminal", give);
    row("bare name in /dev", "null", "it is a character device, not a terminal", give);
    row("scheme", "udp://plc:2222", "unknown kind of link 'udp://'", give);
    row("no host", "tcp://:2222", "the host is missing", form);
    row("nothing behind the scheme", "tcp://", "the host is missing", form);
    row("no port", "tcp://plc", "the TCP port is missing", form);
    row("empty port", "tcp://plc:", "the TCP port is missing", form);
    row("no port, IPv6", "tcp://[::1]", "the TCP port is missing", form);
    row("port 0", "tcp://plc:0", "'0' is not a TCP port", form);
    row("port too large", "tcp://plc:65536", "'65536' is not a TCP port", form);
    row("port with a tail", "tcp://plc:22/", "'22/' is not a TCP port", form);
    QTest::newRow("nothing") << "" << QString("cannot open '': the link is empty; %1").arg(give);
    QTest::newRow("IPv6 without brackets")
        << "tcp://::1:2222"
        << "cannot open tcp://::1:2222: an IPv6 address goes in brackets, such as tcp://[::1]:2222";

    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const QString port = QString::number(server.serverPort());
    server.close();
    QTest::newRow("refused") << "tcp://127.0.0.1:" + port
                             << QString("cannot open tcp://127.0.0.1:%1: connection refused; is "
                                        "anything listening on port %1 of 127.0.0.1?")
                                    .arg(port);
}

// Catches: an error that names the wrong cause, or no remedy.
void TestLink::refuses()
{
    QFETCH(QString, text);
    QFETCH(QString, error);

    QString told;
    QVERIFY(Link::open(text, LineSettings(), PortSettings(), &told) == nullptr);
    QCOMPARE(told, error);
    QVERIFY(Link::open(text, LineSettings(), PortSettings()) == nullptr);
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
    const bool isNamed = error.startsWith("cannot open tcp://nosuch.invalid:2222: host "
                                          "'nosuch.invalid' is unknown (")
                         || error.contains("no answer from the name service within 0.5 s");
    QVERIFY2(isNamed, qPrintable(error));
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

void TestLink::opensATerminal_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("bySymbolicLink");

    QTest::newRow("usual") << "19200,NONE,8,1" << false;
    QTest::newRow("what a pseudo-terminal refuses") << "9600,EVEN,7,2" << false;
    QTest::newRow("mark") << "1200,MARK,5,1" << false;
    QTest::newRow("symbolic link") << "19200,NONE,8,1" << true;
}

// Catches: a pseudo-terminal refused for its parity, a byte that the terminal
// swallows or changes, settings that stay behind.
void TestLink::opensATerminal()
{
    QFETCH(QString, line);
    QFETCH(bool, bySymbolicLink);

    const PtyPair pty;
    QVERIFY(pty.isValid());
    const QTemporaryDir directory;
    QString path = pty.slavePath();
    if (bySymbolicLink) {
        path = directory.filePath("plc");
        QVERIFY(QFile::link(pty.slavePath(), path));
    }
    termios before = {};
    ::tcgetattr(pty.slave(), &before);
    QByteArray all(256, '\0');
    for (int i = 0; i < 256; ++i)
        all[i] = static_cast<char>(i);
    {
        QString error;
        const auto link = Link::open(path, *LineSettings::parse(line), PortSettings(), &error);
        QVERIFY2(link != nullptr, qPrintable(error));
        QCOMPARE(link->text(), path);
        QCOMPARE(link->port().deviceError(), QString());
        auto* const bytes = reinterpret_cast<unsigned char*>(all.data());
        link->port().sendData(bytes, 256);
        QByteArray sent(256, '\0');
        QCOMPARE(::read(pty.master(), sent.data(), 256), 256);
        QCOMPARE(sent, all);
        QCOMPARE(::write(pty.master(), all.constData(), 256), 256);
        QByteArray received(256, '\0');
        QCOMPARE(link->port().receiveData(reinterpret_cast<unsigned char*>(received.data()), 256),
                 256);
        QCOMPARE(received, all);
    }
    termios after = {};
    ::tcgetattr(pty.slave(), &after);
    QCOMPARE(after.c_iflag, before.c_iflag);
    QCOMPARE(after.c_oflag, before.c_oflag);
    QCOMPARE(after.c_cflag, before.c_cflag);
    QCOMPARE(after.c_lflag, before.c_lflag);
}

void TestLink::opensTcp_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QHostAddress::SpecialAddress>("address");

    QTest::newRow("IPv4") << "tcp://127.0.0.1:%1" << QHostAddress::LocalHost;
    QTest::newRow("name") << "tcp://localhost:%1" << QHostAddress::LocalHost;
    QTest::newRow("any case, blanks") << " TCP://127.0.0.1:%1 " << QHostAddress::LocalHost;
    QTest::newRow("IPv6") << "tcp://[::1]:%1" << QHostAddress::LocalHostIPv6;
}

// Catches: a form of address that isn't understood, and bytes held back to fill
// a packet.
void TestLink::opensTcp()
{
    QFETCH(QString, pattern);
    QFETCH(QHostAddress::SpecialAddress, address);

    QTcpServer server;
    if (!server.listen(address))
        QSKIP("no such address on this machine");
    if (pattern.contains("localhost") && QHostInfo::fromName("localhost").addresses().isEmpty())
        QSKIP("this machine does not name itself");
    QString error;
    const auto link =
        Link::open(pattern.arg(server.serverPort()), LineSettings(), PortSettings(), &error);
    QVERIFY2(link != nullptr, qPrintable(error));
    QVERIFY(server.waitForNewConnection(3000));
    auto& socket = static_cast<QTcpSocket&>(link->device());
    QCOMPARE(socket.socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
