// How a host tests its own logic: the driver and the line are real, the controller is
// the simulator.
#include <QtTest>
#include <atomic>

#include "host/driverloader.h"
#include "panel.h"
#include "simulator/server.h"

Q_DECLARE_METATYPE(simulator::Place)

namespace {

simulator::DataTables plant()
{
    simulator::DataTables tables;
    tables.add(7, simulator::FileType::Integer, 2).setWord(0, 0, 500);
    tables.add(8, simulator::FileType::Float, 1).setReal(0, 21.5F);
    return tables;
}

QString one(const QStringList& news)
{
    return news.join(" | ");
}

}

class TestPanel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void takesTheDriversDefaults();
    void tellsWhatChanged();
    void asksOnceForWhatIsNotThere();
    void comesBackAfterALostLine_data();
    void comesBackAfterALostLine();
    void waitsForASilentController();

private:
    bool serve(const simulator::ServerSettings& settings, const simulator::Place& place);
    Panel& panel(const QStringList& addresses);

    host::DriverLoader m_loader{PLUGIN_FILE};
    std::atomic<int> m_requests{0};
    std::unique_ptr<simulator::Server> m_controller;
    std::unique_ptr<Panel> m_panel;
};

void TestPanel::init()
{
    QVERIFY2(m_loader.driver(), qPrintable(m_loader.error()));
    m_panel.reset();
}

bool TestPanel::serve(const simulator::ServerSettings& settings, const simulator::Place& place)
{
    m_controller = std::make_unique<simulator::Server>(simulator::Controller(plant()), settings);
    QString error;
    const bool isServing = m_controller->start(place, &error);
    if (!isServing)
        qWarning("%s", qPrintable(error));
    return isServing;
}

/// A panel on the controller's line, which pauses for 100, 200 and then 300 ms.
Panel& TestPanel::panel(const QStringList& addresses)
{
    PanelSettings settings = defaultSettings(*m_loader.driver());
    settings.link = m_controller->portName();
    settings.port.retryCount = 0;
    settings.firstPauseMs = 100;
    settings.longestPauseMs = 300;
    m_panel = std::make_unique<Panel>(*m_loader.driver(), settings);
    QString error;
    for (const QString& address : addresses) {
        if (!m_panel->add("it", address, &error))
            qFatal("%s", qPrintable(error));
    }
    return *m_panel;
}

// Catches: a panel that asks with settings of its own making.
void TestPanel::takesTheDriversDefaults()
{
    const PanelSettings settings = defaultSettings(*m_loader.driver());
    QCOMPARE(settings.line.toText(), QString("19200,NONE,8,1"));
    QCOMPARE(settings.port.timeoutMs, 500);
    QCOMPARE(settings.port.retryCount, 3);
    QCOMPARE(settings.port.destination, 1);
}

// Catches: a change that is not shown, and a value that is shown without one.
void TestPanel::tellsWhatChanged()
{
    QVERIFY(serve({}, simulator::PtyPlace()));
    Panel& panel = this->panel({"N7:0", "N7:1/3", "F8:0"});
    QCOMPARE(one(panel.poll(0)),
             QString("line open | it N7:0: 500 | it N7:1/3: 0 | it F8:0: 21.5"));
    QCOMPARE(one(panel.poll(1)), QString());
    m_controller->change([](simulator::DataTables& tables) { tables.file(7)->setWord(1, 0, 8); });
    QCOMPARE(one(panel.poll(2)), QString("it N7:1/3: 1"));
}

// Catches: a refused value that hides the others, or that is asked for in every round.
void TestPanel::asksOnceForWhatIsNotThere()
{
    simulator::ServerSettings settings;
    settings.log = [this](const simulator::Exchange&) { ++m_requests; };
    QVERIFY(serve(settings, simulator::PtyPlace()));
    Panel& panel = this->panel({"N99:0", "N7:0"});
    QCOMPARE(one(panel.poll(0)),
             QString("line open | it N99:0: invalid address:N99:0 | it N7:0: 500"));
    QCOMPARE(one(panel.poll(1)), QString());
    m_controller->stop(); // an exchange is logged a moment after it
    QCOMPARE(m_requests.load(), 3);
}

void TestPanel::comesBackAfterALostLine_data()
{
    QTest::addColumn<simulator::Place>("place");
    QTest::newRow("serial") << simulator::Place(simulator::PtyPlace{"./host-tests-line"});
    QTest::newRow("tcp") << simulator::Place(simulator::TcpPlace());
}

// Catches: a panel that keeps a dead line, tries again too early or too late, or goes on
// showing what it knew before.
void TestPanel::comesBackAfterALostLine()
{
    QFETCH(simulator::Place, place);
    QVERIFY(serve({}, place));
    if (auto* const tcp = std::get_if<simulator::TcpPlace>(&place))
        tcp->port = m_controller->portName().section(':', -1).toUShort(); // the same again
    Panel& panel = this->panel({"N7:0", "F8:0"});
    panel.poll(0);
    m_controller->stop();

    const std::pair<qint64, QString> rounds[] = {
        {1000, "next attempt in 100 ms"}, {1099, ""},
        {1100, "next attempt in 200 ms"}, {1299, ""},
        {1300, "next attempt in 300 ms"}, {1600, "next attempt in 300 ms"}};
    for (const auto& [now, end] : rounds) {
        const QStringList news = panel.poll(now);
        QCOMPARE(news.size(), end.isEmpty() ? 0 : 1);
        QCOMPARE(one(news).right(end.size()), end);
    }
    QString error;
    QVERIFY2(m_controller->start(place, &error), qPrintable(error));
    QCOMPARE(one(panel.poll(1900)), QString("line open | it N7:0: 500 | it F8:0: 21.5"));
    m_controller->stop();
    QVERIFY(one(panel.poll(2000)).endsWith("next attempt in 100 ms"));
}

// Catches: a silent controller taken for a lost line, or asked for every value in turn.
void TestPanel::waitsForASilentController()
{
    QString error;
    simulator::ServerSettings settings;
    settings.faults = simulator::parseFaults("silence@1", &error).value();
    QVERIFY(serve(settings, simulator::PtyPlace()));
    Panel& panel = this->panel({"N7:0", "F8:0"});
    QCOMPARE(one(panel.poll(0)), QString("line open | PLC no response; next attempt in 100 ms"));
    QCOMPARE(one(panel.poll(50)), QString());
    QCOMPARE(one(panel.poll(100)), QString("it N7:0: 500 | it F8:0: 21.5"));
}

QTEST_GUILESS_MAIN(TestPanel)
#include "tst_panel.moc"
