#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryFile>
#include <QtTest>

#include <climits>
#include <csignal>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "drivers/tools.h"
#include "support/bytes.h"
#include "support/messages.h"
#include "support/rows.h"

namespace {

const char* const NONE = "none";

const char* const TABLES[] = {
    "CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)",
    "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, IP TEXT, PORT INTEGER, ISDEFAULT)",
    "INSERT INTO LINK VALUES (1, 1000), (2, 1001), (4, 1002), (3, 2000)",
    "INSERT INTO NODE VALUES (1, 9, '', 0, 0), (1, 5, '', 0, 1), (1, 6, '', 0, 1)",
    "INSERT INTO NODE VALUES (2, 300, '', 0, 1), (4, 7, '', 0, NULL)",
    "INSERT INTO NODE VALUES (3, 11, '10.0.0.5', 502, 1), (3, 12, '10.0.0.5', 502, 0)",
    "INSERT INTO NODE VALUES (3, 13, '10.0.0.6', 502, 1), (3, 14, '10.0.0.5', 65535, 1)",
    "INSERT INTO NODE VALUES (3, 15, 'O''Hara', 502, 1), (3, 16, '10.0.0.5', 502, 1)",
    "INSERT INTO NODE VALUES (3, 17, '', 502, 1), (5, 18, '10.0.0.5', 502, 1)",
};

/// Can be prepared, but not carried out.
const char* const OVERFLOW_AT_THE_FIRST_ROW =
    "CREATE VIEW NODE AS SELECT 1 AS LINKID, abs(-9223372036854775808) AS STATIONID, '' AS IP,"
    " 502 AS PORT, 1 AS ISDEFAULT";

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

/// One SIGALRM each time so many microseconds have passed; none for 0.
void ring(int microseconds)
{
    const itimerval interval = {{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &interval, nullptr);
}

}

class TestEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QSqlDatabase::isDriverAvailable("QSQLITE"), "Qt's SQLite driver is not installed");
        QVERIFY(m_file.open());
        addDatabase("project", m_file.fileName());
        addDatabase("no tables", ":memory:");
        addDatabase("overflow", ":memory:");
        addDatabase("no file", m_file.fileName() + "/below/a/file");
        QSqlDatabase database = QSqlDatabase::database("project");
        for (const char* statement : TABLES)
            QVERIFY2(QSqlQuery(database).exec(statement), statement);
        QVERIFY(QSqlDatabase::database("overflow").isOpen());
        for (const char* statement : {TABLES[0], OVERFLOW_AT_THE_FIRST_ROW})
            QVERIFY2(QSqlQuery(QSqlDatabase::database("overflow")).exec(statement), statement);
        database.close(); // the first look-up opens it again
    }

    // Catches: a directory left out, entered though it is not there, or a relative path.
    void findsTheDatabase()
    {
        const char* const rows[][3] = {
            {".", "", "/database"},
            {"database", "", "/database/database"},
            {"compile", "/compile", "/compile/database"},
            {"compile/database", "/compile", "/compile/database/database"}};
        const QString application = QCoreApplication::applicationDirPath();
        for (const auto& row : rows) {
            ROW_COMPARE(row[0], QDir(application).mkpath(row[0]), true);
            const QString project = GetCompilePath().path(), file = GetDatabaseName();
            QDir(application).rmpath(row[0]);
            ROW_COMPARE(row[0], project, application + row[1]);
            ROW_COMPARE(row[0], file, application + row[2]);
        }
    }

    // Catches: a scan that runs off the text's start, and numbers off by one.
    void portNames()
    {
        const char* const rows[][2] = {{"COM1", "1000"},
                                       {"COM10", "1009"},
                                       {"PORT007", "1006"},
                                       {"RS485-2", "1001"},
                                       {"COM:1", "1000"},
                                       {"ETHERNET", "2000"},
                                       {"ETHERNET7x", "2000"},
                                       {"ethernet1", "1000"},
                                       {"ETHERNE1", "1000"},
                                       {"COM99999999999", "999"},
                                       {"COM2147482648", "2147483647"},
                                       {"COM2147482649", "-1"},
                                       {"COM", "-1"},
                                       {"12", "-1"},
                                       {"", "-1"}};
        for (const auto& row : rows)
            ROW_COMPARE(row[0], DevStrToHmiPort(row[0]), row[1]);
        QCOMPARE(DevStrToHmiPort(QString("COM") + QChar(0x0663)), -1);
        QCOMPARE(DevStrToHmiPort(QString()), -1);
    }

    // Catches: a condition left out or bound to the wrong value, a text taken for SQL,
    // outputs touched without a row.
    void looksUp()
    {
        const struct
        {
            const char* name;
            Form form;
            int number;
            const char* ip;
            unsigned short port;
            const char* nodes;
        } rows[] = {
            {"first default", FirstOfPort, 1000, "", 0, "1:5"},
            {"station 300", FirstOfPort, 1001, "", 0, "2:44"},
            {"no default", FirstOfPort, 1002, "", 0, NONE},
            {"no such port", FirstOfPort, 1003, "", 0, NONE},
            {"address", AllOfAddress, 2000, "10.0.0.5", 502, "3:11 3:16"},
            {"largest port", AllOfAddress, 2000, "10.0.0.5", 65535, "3:14"},
            {"no such address", AllOfAddress, 2000, "10.0.0.7", 502, NONE},
            {"another link's", AllOfAddress, 1000, "10.0.0.5", 502, NONE},
            {"quote", AllOfAddress, 2000, "O'Hara", 502, "3:15"},
            {"statement", AllOfAddress, 2000, "' OR '1' = '1", 502, NONE},
            {"placeholder", AllOfAddress, 2000, "%3", 502, NONE},
            {"null address", AllOfAddress, 2000, 0, 502, "3:17"},
            {"link", AllOfLink, 1, "", 0, "1:5 1:6"},
            {"link, station 300", AllOfLink, 2, "", 0, "2:44"},
            {"link without default", AllOfLink, 4, "", 0, NONE},
        };
        for (const auto& row : rows)
            ROW_COMPARE(row.name, lookUp(row.form, "project", row.number, row.ip, row.port),
                        row.nodes);
    }

    // Catches: a list cleared first, and one judged by the new rows alone.
    void listsGrow()
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
    void failsQuietly()
    {
        const LinkIdStationId before = {3, 4};
        const Form forms[] = {FirstOfPort, AllOfAddress, AllOfLink};
        const char* const connections[] = {"no tables", "no file", "overflow", "unknown", ""};
        const KeptMessages messages;
        for (const char* connection : connections)
            for (Form form : forms)
                ROW_COMPARE(
                    connection,
                    lookUp(form, connection, 1, "", 502, QList<LinkIdStationId>() << before),
                    "none3:4");
        QCOMPARE(messages.list(), QStringList());
    }

    // Catches: a sleep that a signal ends, starts anew or lengthens, and a fraction of
    // a second that is dropped or overflows.
    void sleepsThroughSignals()
    {
        const int rows[] = {300, 1000, 1999};
        std::signal(SIGALRM, countAlarm);
        ring(1000);
        for (int milliseconds : rows) {
            alarms = 0;
            qint64 shortest = INT_MAX;
            // A busy machine may wake a sleeper late, but not each time.
            for (int run = 0; run < 3 && shortest >= milliseconds + 30; ++run) {
                QElapsedTimer timer;
                timer.start();
                HRSleep(static_cast<unsigned long>(milliseconds));
                shortest = qMin(shortest, timer.elapsed());
                QVERIFY2(shortest >= milliseconds, QByteArray::number(shortest));
            }
            QVERIFY2(shortest < milliseconds + 30, QByteArray::number(shortest));
            QVERIFY2(alarms > 100, QByteArray::number(int(alarms)));
        }
        ring(0);
    }

    // Catches: the time of day instead of the time since the start, and a wrong unit.
    void clockIsMonotonic()
    {
        QElapsedTimer timer;
        timer.start();
        const qint64 passed = CurrentMSecsSinceBoot() - timer.msecsSinceReference();
        QVERIFY2(passed >= 0 && passed < 1000, QByteArray::number(passed));
    }

    // Catches: a process of somebody else's, or a terminated one, mistaken.
    void seesProcesses()
    {
        QVERIFY(ProcessIsRunning(getpid()));
        const pid_t pid = fork();
        if (pid == 0) {
            // Only a process without privileges meets EPERM.
            const bool unprivileged = setuid(65534) == 0 || getuid() != 0;
            _exit(unprivileged && ProcessIsRunning(1) ? 0 : 1);
        }
        int status = -1;
        QVERIFY(waitpid(pid, &status, 0) == pid && status == 0);
        QVERIFY(!ProcessIsRunning(pid));
    }

    // Catches: padded or uppercase digits, a text that runs past the zero or the array.
    void dumps()
    {
        QCOMPARE(dumpByteArray(QByteArray()), QString("() : "));
        QCOMPARE(dumpByteArray(hex("41FF0A0042")),
                 QString::fromLatin1("(0X41 0Xff 0Xa 0X0 0X42 ) : A\xFF\n"));
        QCOMPARE(dumpByteArray(QByteArray::fromRawData("ABC", 2)), QString("(0X41 0X42 ) : AB"));
    }

private:
    QTemporaryFile m_file;
};

QTEST_MAIN(TestEnvironment)
#include "tst_environment.moc"
