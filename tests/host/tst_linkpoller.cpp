#include <QtTest>

#include <atomic>
#include <thread>

#include "host/driverloader.h"
#include "host/linkpoller.h"
#include "simulator/server.h"

using namespace host;

namespace {

/// N7:0 to 9 hold their number and 100 more, no more than that; F8:0 is 21.5.
simulator::Controller smallController()
{
    simulator::DataTables tables;
    tables.add(7, simulator::FileType::Integer, 10);
    for (int element = 0; element < 10; ++element)
        tables.file(7)->setWord(element, 0, static_cast<quint16>(100 + element));
    tables.add(8, simulator::FileType::Float, 1).setReal(0, 21.5F);
    return simulator::Controller(tables);
}

std::vector<Tag> tagsOf(const char* addresses)
{
    std::vector<Tag> tags;
    QString error;
    for (const QString& address : QString(addresses).split(' '))
        tags.push_back(tagAt(address, QString(), &error).value());
    return tags;
}

QString shown(const PolledValue& value)
{
    return value.value ? value.value->text() : value.error;
}

/// A poller in a thread of its own, and what it has seen.
class Polling
{
public:
    Polling(const QString& link, const char* addresses, const PollSettings& settings)
        : m_loader(QStringLiteral(MICROLOGIX_FILE))
        , m_poller(sourceOf(link, addresses), settings, m_loader.create(&m_error))
        , m_thread([this] {
            m_poller.run(m_stop, [this](const PollSource&, const Scan& scan) {
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_scans.push_back(scan);
                return true;
            });
        })
    {}
    ~Polling() { end(); }

    void end()
    {
        m_stop.stop();
        join();
    }
    void join()
    {
        if (m_thread.joinable())
            m_thread.join();
    }
    std::vector<Scan> scans()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_scans;
    }
    /// The values of the last scan, with bars between them.
    QString last()
    {
        QStringList texts;
        const std::vector<Scan> seen = scans();
        for (const PolledValue& value :
             seen.empty() ? std::vector<PolledValue>() : seen.back().values)
            texts << shown(value);
        return texts.join('|');
    }
    bool wasWithoutValues()
    {
        const std::vector<Scan> seen = scans();
        return std::any_of(seen.begin(), seen.end(), [](const Scan& scan) {
            return std::none_of(scan.values.begin(), scan.values.end(),
                                [](const PolledValue& value) { return value.value.has_value(); });
        });
    }
    const PollTotals& totals() const { return m_poller.totals(); }

private:
    static PollSource sourceOf(const QString& link, const char* addresses)
    {
        PollSource source;
        source.link = link;
        source.tags = tagsOf(addresses);
        source.port.timeoutMs = 60;
        source.port.retryCount = 1;
        return source;
    }

    QString m_error;
    DriverLoader m_loader;
    LinkPoller m_poller;
    StopSignal m_stop;
    std::mutex m_mutex;
    std::vector<Scan> m_scans;
    std::thread m_thread;
};

PollSettings every(qint64 milliseconds, std::optional<qint64> count = {})
{
    PollSettings settings;
    settings.intervalMs = milliseconds;
    settings.count = count;
    settings.firstPauseMs = 20;
    settings.longestPauseMs = 80;
    return settings;
}

}

/// Against the simulator, over TCP where a restart has to find the same place.
class TestLinkPoller : public QObject
{
    Q_OBJECT

private slots:
    void pollsOnItsRaster();
    void comesBackByItself_data();
    void comesBackByItself();
    void findsTheTagToBlame();
    void endsAtOnce();
};

// Catches: values of other tags, scans that drift or are not counted, a count that is off
// by one.
void TestLinkPoller::pollsOnItsRaster()
{
    simulator::PtyServer server(smallController());
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    const QDateTime before = QDateTime::currentDateTimeUtc();
    Polling polling(server.portName(), "N7:9 F8:0 N7:0/2 N7:0", every(100, 6));
    polling.join();
    const std::vector<Scan> scans = polling.scans();
    QCOMPARE(scans.size(), size_t(6));
    for (const Scan& scan : scans) {
        QStringList texts;
        for (const PolledValue& value : scan.values)
            texts << shown(value);
        QCOMPARE(texts.join(' '), QString("109 21.5 1 100"));
        const qint64 ideal = 100 * (scan.number - 1);
        const qint64 at = before.msecsTo(scan.values[0].time);
        QVERIFY2(at >= ideal && at < ideal + 90, qPrintable(QString::number(at)));
    }
    const PollTotals& totals = polling.totals();
    QCOMPARE(totals.scans + totals.missed, qint64(6));
    QCOMPARE(totals.values, qint64(24));
    QCOMPARE(totals.errors + totals.reopened, qint64(0));
}

void TestLinkPoller::comesBackByItself_data()
{
    QTest::addColumn<bool>("restarts");
    QTest::addColumn<QString>("faults");
    QTest::newRow("restarted") << true << "";
    QTest::newRow("silent for a while") << false << "silence@3x14";
    QTest::newRow("connection dropped") << false << "hang-up@3x2";
}

// Catches: a link that stays dead, a tag that keeps an old value meanwhile or afterwards.
void TestLinkPoller::comesBackByItself()
{
    QFETCH(bool, restarts);
    QFETCH(QString, faults);
    simulator::ServerSettings settings;
    QString error;
    settings.faults = simulator::parseFaults(faults, &error).value();
    simulator::Server server(smallController(), settings);
    QVERIFY2(server.start(simulator::TcpPlace(), &error), qPrintable(error));
    simulator::TcpPlace place;
    place.port = static_cast<quint16>(server.portName().section(':', -1).toInt());

    Polling polling(server.portName(), "N7:0 F8:0", every(30));
    QTRY_COMPARE(polling.last(), QString("100|21.5"));
    if (restarts)
        server.stop();
    QTRY_VERIFY(polling.wasWithoutValues());
    server.change([](simulator::DataTables& tables) {
        tables.file(7)->setWord(0, 0, 7);
        tables.file(8)->setReal(0, 8);
    });
    if (restarts)
        QVERIFY2(server.start(place, &error), qPrintable(error));
    QTRY_COMPARE(polling.last(), QString("7|8"));
    polling.end();
    QVERIFY(polling.totals().reopened > 0 && polling.totals().errors > 0);
}

// Catches: one bad tag that takes its neighbours with it, or is never told of.
void TestLinkPoller::findsTheTagToBlame()
{
    simulator::PtyServer server(smallController());
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    Polling polling(server.portName(), "N7:7 N7:8 N7:9 N7:10 F9:0 N7:0", every(30, 2));
    polling.join();
    QCOMPARE(polling.last(), QString("107|108|109|invalid address:N7:10|invalid address:F9:0|100"));
    QCOMPARE(polling.totals().errors, qint64(4));
}

// Catches: a stop that waits for the next scan or out a pause, and a port that nobody has
// which ends the polling.
void TestLinkPoller::endsAtOnce()
{
    PollSettings settings = every(60000);
    settings.firstPauseMs = 60000;
    settings.longestPauseMs = 60000;
    Polling polling("/nonexistent", "N7:0", settings);
    QTRY_COMPARE(polling.scans().size(), size_t(1));
    QVERIFY2(polling.last().contains("no such device"), qPrintable(polling.last()));
    QElapsedTimer clock;
    clock.start();
    polling.end();
    QVERIFY(clock.elapsed() < 1000);
}

QTEST_GUILESS_MAIN(TestLinkPoller)
#include "tst_linkpoller.moc"
