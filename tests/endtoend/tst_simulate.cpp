#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>

#include "support/program.h"

namespace {

using support::Outcome;
using support::Program;
using support::runDf1;

/// df1 simulate, until it is stopped or the test is through.
class Simulator
{
public:
    explicit Simulator(const QStringList& arguments)
        : m_process(support::df1(QStringList("simulate") + arguments))
        , m_port(m_process.readLine())
    {}

    QString port() const { return m_port; }
    QString nextPort() { return m_process.readLine(); }
    QString nextLogLine() { return m_process.readErrorLine(); }
    Outcome stop(int signal)
    {
        m_process.signal(signal);
        return end();
    }
    Outcome end() { return m_process.end(); }

private:
    Program m_process;
    const QString m_port;
};

Outcome readAt(const QString& port)
{
    return runDf1({"read", "N7:2", "--port", port, "--timeout", "200"});
}

const QString VALUE = "N7:2        16  0010";

}

/// df1 simulate as a process, with df1 read as its client.
class TestSimulate : public QObject
{
    Q_OBJECT

private slots:
    void servesAndEnds_data();
    void servesAndEnds();
    void serversBesideEachOther();
    void takesTablesAndFaults();
    void failures_data();
    void failures();
    void overSocat();
};

void TestSimulate::servesAndEnds_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("port");
    QTest::addColumn<int>("signal");
    QTest::newRow("pty") << "--link %1/plc"
                         << "%1/plc" << SIGINT;
    QTest::newRow("tcp") << "--tcp 0 --still"
                         << "tcp://" << SIGTERM;
    QTest::newRow("tcp host") << "--tcp 127.0.0.1:0 --pace 115200"
                              << "tcp://" << SIGINT;
}

// Catches: a port that is not told or not served, and what is left of a simulator that
// was stopped.
void TestSimulate::servesAndEnds()
{
    QFETCH(QString, arguments);
    QFETCH(QString, port);
    QFETCH(int, signal);
    const QTemporaryDir folder;
    const QString link = folder.filePath("plc");
    Simulator simulator(arguments.replace("%1", folder.path()).split(' ') + QStringList("--log"));
    const bool isLink = port == "%1/plc";
    QCOMPARE(QFileInfo(link).isSymLink(), isLink);
    const Outcome read = readAt(isLink ? link : simulator.port());
    QVERIFY2(read.exitCode == 0, qPrintable(read.errors + simulator.port()));
    QVERIFY(read.output.contains(VALUE));
    const Outcome ended = simulator.stop(signal);
    QCOMPARE(ended.exitCode, 0);
    QVERIFY(!QFileInfo(link).isSymLink());
    QVERIFY2(QRegularExpression(
                 "^\\d{4}-\\d\\d-\\d\\dT[0-9:.]+Z 0F A2 N7:2 2 bytes STS 00 [0-9.]+ ms\n$")
                 .match(ended.errors)
                 .hasMatch(),
             qPrintable(ended.errors));
}

// Catches: controllers of one process that share a port or a link.
void TestSimulate::serversBesideEachOther()
{
    const QTemporaryDir folder;
    Simulator simulator({"--count", "2", "--link", folder.filePath("plc")});
    const QString second = simulator.nextPort();
    QVERIFY2(second.startsWith("/dev/pts/") && second != simulator.port(), qPrintable(second));
    QCOMPARE(readAt(simulator.port()).exitCode, 0);
    QCOMPARE(readAt(folder.filePath("plc2")).exitCode, 0);
    QCOMPARE(simulator.stop(SIGINT).exitCode, 0);
}

// Catches: options that are accepted and not applied.
void TestSimulate::takesTablesAndFaults()
{
    const QTemporaryDir folder;
    QFile tables(folder.filePath("plant.json"));
    QVERIFY(tables.open(QIODevice::WriteOnly));
    tables.write(R"({"files": [{"number": 7, "type": "N", "values": [1, 2, 4711]}]})");
    tables.close();
    Simulator simulator(
        {"--tables", tables.fileName(), "--faults", "silence@2x5", "--tcp", "0", "--station", "9"});
    const QStringList read = {"read",      "N7:2", "--timeout", "500",
                              "--station", "9",    "--port",    simulator.port()};
    QVERIFY(runDf1(read).output.contains("4711"));
    QCOMPARE(runDf1(read).exitCode, 4);
    QCOMPARE(runDf1(read).exitCode, 0);
}

void TestSimulate::failures_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("model") << "--model 1600" << 2 << "known models are 1000, 1100";
    QTest::newRow("tables") << "--tables /nonexistent" << 2 << "/nonexistent: No such file";
    QTest::newRow("fault") << "--faults nap" << 2 << "unknown fault \"nap\"";
    QTest::newRow("fault file") << "--faults /nonexistent.json" << 2 << "/nonexistent.json: No";
    QTest::newRow("port") << "--tcp 70000" << 2 << "[HOST:]PORT";
    QTest::newRow("host") << "--tcp 192.0.2.1:0" << 3 << "listening on 192.0.2.1:0: Cannot";
    QTest::newRow("device") << "--serial /nonexistent" << 3 << "opening /nonexistent: No such";
    QTest::newRow("line") << "--serial /dev/null --line 9600,MARK,8,1" << 2 << "NONE, EVEN or ODD";
    QTest::newRow("link") << "--link /nonexistent/plc" << 3 << "making the link /nonexistent/plc";
    QTest::newRow("two lines") << "--tcp 0 --link /tmp/plc" << 2 << "excludes --";
}

// Catches: a wrong option that is not refused, or refused without saying why.
void TestSimulate::failures()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    const Outcome outcome = runDf1(QStringList("simulate") + arguments.split(' '));
    QCOMPARE(outcome.exitCode, exitCode);
    QCOMPARE(outcome.output, QString());
    QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
    QCOMPARE(outcome.errors.count('\n') <= 2, true);
}

// Catches: a line through another program that does not work, and one that breaks
// without a word.
void TestSimulate::overSocat()
{
    if (QStandardPaths::findExecutable("socat").isEmpty())
        QSKIP("socat is not installed");
    const QTemporaryDir folder;
    const QString host = folder.filePath("host");
    const QString plc = folder.filePath("plc");
    Program socat({"socat", "pty,raw,echo=0,link=" + host, "pty,raw,echo=0,link=" + plc});
    QTRY_VERIFY(QFileInfo(host).isSymLink() && QFileInfo(plc).isSymLink());
    Simulator simulator({"--serial", plc, "--faults", "silence@2", "--log"});
    QCOMPARE(simulator.port(), plc);
    const Outcome read = readAt(host);
    QVERIFY2(read.output.contains(VALUE), qPrintable(read.errors));
    Program waiting(support::df1({"read", "N7:2", "--port", host, "--timeout", "15000"}));
    simulator.nextLogLine(); // the first request's
    QVERIFY(simulator.nextLogLine().contains("silence"));
    socat.signal(SIGKILL);
    const Outcome lost = waiting.end();
    QCOMPARE(lost.exitCode, 3);
    QVERIFY2(lost.errors.startsWith("df1: " + host) && lost.errors.count('\n') == 1,
             qPrintable(lost.errors));
    const Outcome broken = simulator.end();
    QCOMPARE(broken.exitCode, 3);
    QCOMPARE(broken.errors, "df1: " + plc + ": the other end has gone\n");
}

QTEST_GUILESS_MAIN(TestSimulate)
#include "tst_simulate.moc"
