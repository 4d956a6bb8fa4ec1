#include <QElapsedTimer>
#include <QtTest>
#include <chrono>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include "host/driverloader.h"
#include "host/link.h"
#include "support/frames.h"
#include "support/ptypair.h"
#include "support/requests.h"

namespace {

/// How a controller behaves towards each request.
struct Manner
{
    bool silent = false;
    int pauseMs = 0; ///< before every byte; 0: all bytes at once
    QByteArray data;
};

/// A controller on the far end of a pseudo-terminal, until the line hangs up or
/// the number of requests is used up.
class Controller
{
public:
    Controller(int line, const Manner& manner, int requests)
        : m_line(line)
        , m_manner(manner)
        , m_thread([this, requests] {
            for (int i = 0; i < requests; ++i)
                serve();
        })
    {}

    ~Controller() { m_thread.join(); }

private:
    void serve()
    {
        const QByteArray request = receiveFrame();
        if (request.isEmpty() || m_manner.silent)
            return;
        // No request of these tests has a DLE in its header.
        const QByteArray header = hex("00014F00") + request.mid(6, 2);
        send(hex("1006") + frameOf(header + m_manner.data));
        char ack[2];
        receiveByte(&ack[0]) && receiveByte(&ack[1]);
    }

    QByteArray receiveFrame()
    {
        QByteArray frame;
        for (int afterEtx = 0; afterEtx < 2;) {
            char byte = 0;
            if (!receiveByte(&byte))
                return QByteArray();
            afterEtx += frame.contains(hex("1003")) ? 1 : 0;
            frame.append(byte);
        }
        return frame;
    }

    bool receiveByte(char* byte)
    {
        pollfd line = {m_line, POLLIN, 0};
        return ::poll(&line, 1, 1000) == 1 && ::read(m_line, byte, 1) == 1;
    }

    void send(const QByteArray& bytes)
    {
        const qsizetype step = m_manner.pauseMs > 0 ? 1 : bytes.size();
        for (qsizetype at = 0; at < bytes.size(); at += step) {
            std::this_thread::sleep_for(std::chrono::milliseconds(m_manner.pauseMs));
            if (::write(m_line, bytes.constData() + at, static_cast<size_t>(step)) != step)
                return;
        }
    }

    const int m_line;
    const Manner m_manner;
    std::thread m_thread;
};

}

/// The plugin, loaded as a host loads it, on a real device.
class TestLine : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void readsFromASilentController();
    void readsWhatComesByteByByte();
    void readsAReplyFullOfDles();

private:
    QByteArray read(const Manner& manner, int words, int timeoutMs, int retries = 0);

    std::unique_ptr<host::DriverLoader> m_loader;
    qint64 m_elapsedMs = 0;
};

void TestLine::init()
{
    m_loader.reset();
    m_loader = std::make_unique<host::DriverLoader>(QStringLiteral(PLUGIN_FILE));
    QVERIFY2(m_loader->driver() != nullptr, qPrintable(m_loader->error()));
}

QByteArray TestLine::read(const Manner& manner, int words, int timeoutMs, int retries)
{
    const support::PtyPair line;
    host::PortSettings settings;
    settings.timeoutMs = timeoutMs;
    settings.retryCount = retries;
    QString error;
    const auto link = host::Link::open(line.slavePath(), host::LineSettings(), settings, &error);
    if (!link)
        return error.toUtf8();

    const Controller controller(line.master(), manner, 1 + retries);
    QElapsedTimer timer;
    timer.start();
    const QByteArray data =
        m_loader->driver()->read(&link->port(), request(2, words, QStringLiteral("N7:0")));
    m_elapsedMs = timer.elapsed();
    return data;
}

// Catches: a wait that ends too soon or never, an attempt left out.
void TestLine::readsFromASilentController()
{
    Manner manner;
    manner.silent = true;
    QVERIFY(read(manner, 1, 100, 2).isEmpty());
    QCOMPARE(m_loader->driver()->getLastError(), QString("PLC no response"));
    QVERIFY2(m_elapsedMs >= 300 && m_elapsedMs < 3000, qPrintable(QString::number(m_elapsedMs)));
}

// Catches: bytes lost between two arrivals, and a time-out that runs from the
// request instead of from the last byte.
void TestLine::readsWhatComesByteByByte()
{
    Manner manner;
    manner.pauseMs = 20;
    manner.data = hex("0102030405060708");
    QCOMPARE(read(manner, 4, 300).toHex(), manner.data.toHex());
    QVERIFY2(!m_loader->driver()->hasError(), qPrintable(m_loader->driver()->getLastError()));
    QVERIFY(m_elapsedMs >= 400);
}

// Catches: a doubled DLE lost or kept between the line and the host.
void TestLine::readsAReplyFullOfDles()
{
    Manner manner;
    manner.data = QByteArray(200, '\x10');
    manner.data[100] = 'x';
    QVERIFY(read(manner, 100, 300).isEmpty());
    QCOMPARE(m_loader->driver()->getLastError(), QString("read N7:0:response CRC error"));

    manner.data = QByteArray(120, '\x10');
    manner.data[60] = 'x';
    QCOMPARE(read(manner, 60, 300).toHex(), manner.data.toHex());
}

QTEST_GUILESS_MAIN(TestLine)
#include "tst_line.moc"
