#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryFile>
#include <QtTest>

#include <csignal>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "drivers/tools.h"
#include "support/bytes.h"
#include "support/messages.h"

namespace {

const char* const NONE = "none";

const char* const TABLES[] = {
    "CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)",
    "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, IP TEXT, PORT INTEGER, ISDEFAULT)",
    "INSERT INTO LINK VALUES (1, 1000)",
    "INSERT INTO NODE VALUES (1, 9, '', 0, 0)",
    "INSERT INTO NODE VALUES (1, 5, '', 0, 1)",
    "INSERT INTO NODE VALUES (1, 6, '', 0, 1)",
    "INSERT INTO LINK VALUES (2, 1001)",
    "INSERT INTO NODE VALUES (2, 300, '', 0, 1)",
    "INSERT INTO LINK VALUES (4, 1002)",
    "INSERT INTO NODE VALUES (4, 7, '', 0, NULL)",
    "INSERT INTO LINK VALUES (3, 2000)",
    "INSERT INTO NODE VALUES (3, 11, '10.0.0.5', 502, 1)",
    "INSERT INTO NODE VALUES (3, 12, '10.0.0.5', 502, 0)",
    "INSERT INTO NODE VALUES (3, 13, '10.0.0.6', 502, 1)",
    "INSERT INTO NODE VALUES (3, 14, '10.0.0.5', 65535, 1)",
    "INSERT INTO NODE VALUES (3, 15, 'O''Hara', 502, 1)",
    "INSERT INTO NODE VALUES (3, 16, '10.0.0.5', 502, 1)",
    "INSERT INTO NODE VALUES (3, 17, '', 502, 1)",
    "INSERT INTO NODE VALUES (5, 18, '10.0.0.5', 502, 1)",
};

enum Form
{
    FirstOfPort,
    AllOfAddress,
    AllOfLink
};

QString textOf(const QList<LinkIdStationId>& nodes)
{
    QStringList texts;
    for (int i = 0; i < nodes.size(); ++i)
        texts << QString("%1:%2").arg(nodes.at(i).linkId).arg(nodes.at(i).stationId);
    return texts.join(" ");
}

/// The stations found, each behind its link; what was in @p nodes before when none was.
QString lookUp(Form form, const char* connection, int number, const QString& ip = QString(),
               unsigned short port = 0,
               const QList<LinkIdStationId>& nodes = QList<LinkIdStationId>())
{
    QList<LinkIdStationId> result = nodes;
    LinkIdStationId node = {-7, 77};
    bool found = false;
    if (form == AllOfLink)
        found = GetLinkIdAndDefaultStationId(connection, number, result);
    else if (form == AllOfAddress)
        found = GetLinkIdAndDefaultStationId(connection, number, ip, port, result);
    else if ((found =
                  GetLinkIdAndDefaultStationId(connection, number, node.linkId, node.stationId)))
        result << node;
    else if (node.linkId != -7 || node.stationId != 77)
        return "outputs touched";
    return found ? textOf(result) : NONE + textOf(result);
}

void addDatabase(const char* connection, const QString& file)
{
    QSqlDatabase::addDatabase("QSQLITE", connection).setDatabaseName(file);
}

volatile sig_atomic_t alarms = 0;

void countAlarm(int)
{
    alarms = alarms + 1;
}

/// One SIGALRM a millisecond as long as it lives.
class Alarms
{
public:
    Alarms()
    {
        alarms = 0;
        m_former = std::signal(SIGALRM, countAlarm);
        ring(1000);
    }
    ~Alarms()
    {
        ring(0);
        (void)std::signal(SIGALRM, m_former);
    }

private:
    static void ring(int microseconds)
    {
        const itimerval interval = {{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }

    void (*m_former)(int);
};

/// What @p check says in a process of its own, whose id goes to @p pid.
template <typename Check>
bool inAnotherProcess(Check check, pid_t& pid)
{
    pid = fork();
    if (pid == 0)
        _exit(check() ? 0 : 1);
    int status = -1;
    return waitpid(pid, &status, 0) == pid && status == 0;
}

bool seesStrangersProcess()
{
    // Only a process without privileges meets EPERM.
    const bool unprivileged = setuid(65534) == 0 || getuid() != 0;
    return unprivileged && ProcessIsRunning(1);
}

}

class TestEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void findsTheDatabase_data();
    void findsTheDatabase();
    void portNames_data();
    void portNames();
    void looksUp_data();
    void looksUp();
    void listsGrow();
    void failsQuietly();
    void sleepsThroughSignals_data();
    void sleepsThroughSignals();
    void clockIsMonotonic();
    void seesProcesses();
    void dumps_data();
    void dumps();
    void cleanupTestCase();

private:
    QTemporaryFile m_file;
};

void TestEnvironment::initTestCase()
{
    QVERIFY2(QSqlDatabase::isDriverAvailable("QSQLITE"), "Qt's SQLite driver has to be installed");
    QVERIFY(m_file.open());
    addDatabase("project", m_file.fileName());
    addDatabase("no tables", ":memory:");
    addDatabase("no file", m_file.fileName() + "/below/a/file");
    QSqlDatabase database = QSqlDatabase::database("project");
    for (size_t i = 0; i < sizeof TABLES / sizeof *TABLES; ++i)
        QVERIFY2(QSqlQuery(database).exec(TABLES[i]), TABLES[i]);
    database.close(); // the first look-up opens it again
}

void TestEnvironment::findsTheDatabase_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("project");
    QTest::addColumn<QString>("file");

    QTest::newRow("neither") << "."
                             << ""
                             << "/database";
    QTest::newRow("no project") << "database"
                                << ""
                                << "/database/database";
    QTest::newRow("project alone") << "compile"
                                   << "/compile"
                                   << "/compile/database";
    QTest::newRow("both") << "compile/database"
                          << "/compile"
                          << "/compile/database/database";
}

// Catches: a directory left out, entered though it is not there, or a relative path.
void TestEnvironment::findsTheDatabase()
{
    QFETCH(QString, directory);
    const QString application = QCoreApplication::applicationDirPath();
    QVERIFY(QDir(application).mkpath(directory));
    const QString project = GetCompilePath().path();
    const QString file = GetDatabaseName();
    if (directory != ".")
        QVERIFY(QDir(application).rmpath(directory));
    QTEST(project.mid(application.size()), "project");
    QTEST(file.mid(application.size()), "file");
}

void TestEnvironment::portNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("port");

    QTest::newRow("COM1") << "COM1" << 1000;
    QTest::newRow("COM10") << "COM10" << 1009;
    QTest::newRow("leading zeros") << "PORT007" << 1006;
    QTest::newRow("digits inside") << "RS485-2" << 1001;
    QTest::newRow("ETHERNET") << "ETHERNET" << 2000;
    QTest::newRow("ETHERNET and more") << "ETHERNET7x" << 2000;
    QTest::newRow("lower case") << "ethernet1" << 1000;
    QTest::newRow("digits too many") << "COM99999999999" << 999;
    QTest::newRow("largest port") << "COM2147482648" << 2147483647;
    QTest::newRow("port exceeds an int") << "COM2147482649" << -1;
    QTest::newRow("no number") << "COM" << -1;
    QTest::newRow("digits only") << "12" << -1;
    QTest::newRow("foreign digit") << QString("COM") + QChar(0x0663) << -1;
    QTest::newRow("empty") << "" << -1;
    QTest::newRow("null") << QString() << -1;
}

// Catches: a scan that runs off the text's start, and numbers off by one.
void TestEnvironment::portNames()
{
    QFETCH(QString, name);
    QTEST(DevStrToHmiPort(name), "port");
}

void TestEnvironment::looksUp_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("ip");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("nodes");

    QTest::newRow("first default") << int(FirstOfPort) << 1000 << "" << 0 << "1:5";
    QTest::newRow("station 300") << int(FirstOfPort) << 1001 << "" << 0 << "2:44";
    QTest::newRow("no default") << int(FirstOfPort) << 1002 << "" << 0 << NONE;
    QTest::newRow("no such port") << int(FirstOfPort) << 1003 << "" << 0 << NONE;

    const int address = AllOfAddress;
    QTest::newRow("address") << address << 2000 << "10.0.0.5" << 502 << "3:11 3:16";
    QTest::newRow("largest port") << address << 2000 << "10.0.0.5" << 65535 << "3:14";
    QTest::newRow("no such address") << address << 2000 << "10.0.0.7" << 502 << NONE;
    QTest::newRow("address of another link") << address << 1000 << "10.0.0.5" << 502 << NONE;
    QTest::newRow("quote") << address << 2000 << "O'Hara" << 502 << "3:15";
    QTest::newRow("statement") << address << 2000 << "' OR '1' = '1" << 502 << NONE;
    QTest::newRow("placeholder") << address << 2000 << "%3" << 502 << NONE;
    QTest::newRow("null address") << address << 2000 << QString() << 502 << "3:17";

    QTest::newRow("link") << int(AllOfLink) << 1 << "" << 0 << "1:5 1:6";
    QTest::newRow("link, station 300") << int(AllOfLink) << 2 << "" << 0 << "2:44";
    QTest::newRow("link without default") << int(AllOfLink) << 4 << "" << 0 << NONE;
    QTest::newRow("no such link") << int(AllOfLink) << 99 << "" << 0 << NONE;
}

// Catches: a condition left out or bound to the wrong value, a text taken for SQL,
// outputs touched without a row.
void TestEnvironment::looksUp()
{
    QFETCH(int, form);
    QFETCH(int, number);
    QFETCH(QString, ip);
    QFETCH(int, port);
    QTEST(lookUp(Form(form), "project", number, ip, static_cast<unsigned short>(port)), "nodes");
}

// Catches: a list cleared first, and one judged by the new rows alone.
void TestEnvironment::listsGrow()
{
    QList<LinkIdStationId> nodes;
    for (int i = 0; i < 2; ++i) {
        QVERIFY(GetLinkIdAndDefaultStationId("project", 1, nodes));
        QVERIFY(GetLinkIdAndDefaultStationId("project", 2000, "10.0.0.6", 502, nodes));
    }
    QCOMPARE(textOf(nodes), QString("1:5 1:6 3:13 1:5 1:6 3:13"));
    QCOMPARE(lookUp(AllOfLink, "project", 99, "", 0, nodes.mid(0, 1)), QString("1:5"));
    QCOMPARE(lookUp(AllOfAddress, "project", 99, "", 0, nodes.mid(0, 1)), QString("1:5"));
}

// Catches: a message on the console for every poll of a panel without its database,
// outputs touched by a look-up that failed.
void TestEnvironment::failsQuietly()
{
    const LinkIdStationId before = {3, 4};
    const char* const connections[] = {"no tables", "no file", "unknown", ""};
    const KeptMessages messages;
    for (size_t i = 0; i < sizeof connections / sizeof *connections; ++i)
        for (int form = FirstOfPort; form <= AllOfLink; ++form)
            QCOMPARE(
                lookUp(Form(form), connections[i], 1000, "", 0, QList<LinkIdStationId>() << before),
                QString("none3:4"));
    QCOMPARE(messages.list(), QStringList());
}

void TestEnvironment::sleepsThroughSignals_data()
{
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("300 ms") << 300;
    QTest::newRow("just under two seconds") << 1999;
}

// Catches: a sleep that a signal ends, starts anew or lengthens, and a fraction of
// a second that is dropped or overflows.
void TestEnvironment::sleepsThroughSignals()
{
    QFETCH(int, milliseconds);
    const Alarms ring;
    qint64 shortest = 0;
    // A busy machine may wake a sleeper late, but not each time.
    for (int run = 0; run < 3 && (run == 0 || shortest >= milliseconds + 30); ++run) {
        QElapsedTimer timer;
        timer.start();
        HRSleep(static_cast<unsigned long>(milliseconds));
        const qint64 elapsed = timer.elapsed();
        QVERIFY2(elapsed >= milliseconds, QByteArray::number(elapsed));
        shortest = run == 0 ? elapsed : qMin(shortest, elapsed);
    }
    QVERIFY2(shortest < milliseconds + 30, QByteArray::number(shortest));
    QVERIFY2(alarms > 100, QByteArray::number(int(alarms)));
}

// Catches: the time of day instead of the time since the start, and a wrong unit.
void TestEnvironment::clockIsMonotonic()
{
    QElapsedTimer timer;
    timer.start();
    const qint64 passed = CurrentMSecsSinceBoot() - timer.msecsSinceReference();
    QVERIFY2(passed >= 0 && passed < 1000, QByteArray::number(passed));
}

// Catches: a process of somebody else's, or a terminated one, mistaken.
void TestEnvironment::seesProcesses()
{
    QVERIFY(ProcessIsRunning(getpid()));
    pid_t pid = 0;
    QVERIFY(inAnotherProcess(seesStrangersProcess, pid));
    QVERIFY(!ProcessIsRunning(pid));
}

void TestEnvironment::dumps_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("line");

    QTest::newRow("nothing") << QByteArray() << "() : ";
    QTest::newRow("up to the zero")
        << hex("41FF0A0042") << QString::fromLatin1("(0X41 0Xff 0Xa 0X0 0X42 ) : A\xFF\n");
    QTest::newRow("no zero behind") << QByteArray::fromRawData("ABC", 2) << "(0X41 0X42 ) : AB";
}

// Catches: padded or uppercase digits, a text that runs past the zero or the array.
void TestEnvironment::dumps()
{
    QFETCH(QByteArray, bytes);
    QTEST(dumpByteArray(bytes), "line");
}

void TestEnvironment::cleanupTestCase()
{
    QSqlDatabase::removeDatabase("project");
    QSqlDatabase::removeDatabase("no tables");
    QSqlDatabase::removeDatabase("no file");
}

QTEST_MAIN(TestEnvironment)
#include "tst_environment.moc"
