#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>
#include <thread>

#include "host/project.h"
#include "support/named.h"

using host::Project;

namespace {

const char* const TABLES[] = {
    "CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)",
    "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, IP TEXT, PORT INTEGER, "
    "ISDEFAULT INTEGER)",
    "INSERT INTO LINK VALUES (1, 1000), (2, 1001), (3, 2000), (4, 1002), (5, 1003)",
    "INSERT INTO NODE VALUES (1, 9, NULL, NULL, 0), (1, 17, NULL, NULL, 1), "
    "(2, 300, NULL, NULL, 1), (3, 2, '10.0.0.5', 502, 1), (4, 6, NULL, NULL, 0), "
    "(5, 255, NULL, NULL, 1)",
};

}

class TestProject : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_directory = std::make_unique<QTemporaryDir>(); }
    void cleanup() { QSqlDatabase::removeDatabase("maker"); }
    void reads();
    void refuses();
    void refusesALockedDatabase();
    void readsWhileItIsWritten();
    void refusesAnUnfinishedChange();

private:
    void make(const QString& place, int statements);
    QString path(const QString& place) const { return m_directory->filePath(place); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

/// A database at @p place with the first @p statements of TABLES run on it.
void TestProject::make(const QString& place, int statements)
{
    QVERIFY(QDir(m_directory->path()).mkpath(QFileInfo(place).path()));
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "maker");
    database.setDatabaseName(path(place));
    QVERIFY(database.open());
    for (int i = 0; i < statements; ++i)
        QCOMPARE(QSqlQuery(TABLES[i], database).lastError().text().trimmed(), QString());
}

// Catches: a level of the project's layout left out, links without a default node left out,
// non-default nodes taken, a request sent to another controller than the project names, and
// a file that is made, or touched, in a project.
void TestProject::reads()
{
    const std::tuple<const char*, int, const char*> stations[] = {
        {"COM1", 17, ""},
        {"ETHERNET", 2, ""},
        {"COM2", -1, "0 to 254"},
        {"COM4", -1, "0 to 254"},
        {"COM3", -1, "no link with a default node on COM3"},
        {"COM9", -1, "no link"},
        {"17", -1, "'17' is no port name"},
    };
    for (const char* const place : {"database", "database/database", "compile/database/database"}) {
        init();
        make(place, 4);
        QSqlDatabase::database("maker").close();
        cleanup();
        QFile file(path(place));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray before = file.readAll();
        QString error;
        const auto project = Project::open(m_directory->path(), &error);
        QVERIFY2(project != nullptr, qPrintable(error));
        QCOMPARE(project->fileName(), path(place));
        QString links;
        for (const auto& [linkId, hmiPort, station, ip, tcpPort] : project->links())
            links += QString("%1 %2 %3 %4 %5; ")
                         .arg(linkId)
                         .arg(host::hmiPortName(hmiPort))
                         .arg(station.value_or(-1))
                         .arg(ip)
                         .arg(tcpPort);
        QCOMPARE(links, QString("1 COM1 17  0; 2 COM2 300  0; 3 ETHERNET 2 10.0.0.5 502; "
                                "4 COM3 -1  0; 5 COM4 255  0; "));
        for (const auto& [port, station, message] : stations) {
            error.clear();
            QCOMPARE(project->stationAt(port, &error).value_or(-1), station);
            QVERIFY2(error.contains(message), qPrintable(named(port, error)));
            QCOMPARE(error.isEmpty(), station >= 0);
        }
        file.seek(0);
        QCOMPARE(file.readAll(), before);
        QCOMPARE(QFileInfo(path(place)).dir().entryList(QDir::Files), QStringList("database"));
    }
}

// Catches: a database that is taken for a project's, or a fault without a line.
void TestProject::refuses()
{
    const std::tuple<const char*, int, const char*> rows[] = {
        {"nonexistent", -1, "is no directory"},
        {"", -1, "no project database below"},
        {"", 0, "no such table: LINK"},
        {"", 1, "no such table: NODE"},
        {"", -2, "not a database"},
    };
    for (const auto& [directory, statements, message] : rows) {
        if (statements >= 0)
            make("database", statements);
        cleanup();
        QFile file(path("database"));
        if (statements == -2 && file.open(QIODevice::WriteOnly))
            file.write(QByteArray(4096, 'x'));
        file.close();
        QString error;
        QVERIFY2(!Project::open(path(directory), &error), message);
        QVERIFY2(error.contains(message) && !error.contains('\n'), qPrintable(error));
    }
}

// Catches: a lock waited for without end, or taken for an empty project.
void TestProject::refusesALockedDatabase()
{
    make("database", 4);
    QSqlDatabase holder = QSqlDatabase::database("maker");
    QVERIFY(QSqlQuery(holder).exec("BEGIN EXCLUSIVE"));
    QString error;
    QVERIFY(!Project::open(m_directory->path(), &error));
    QVERIFY2(error.contains("locked by another program"), qPrintable(error));
}

// Catches: links of two states of a database that is being written to, and a fault of it
// without a clear word.
void TestProject::readsWhileItIsWritten()
{
    make("database", 4);
    const auto change = [](QSqlDatabase database, int state) {
        QSqlQuery query(database);
        for (const char* const statement :
             {"BEGIN IMMEDIATE", "UPDATE LINK SET HMIPORT = %1", "DELETE FROM NODE",
              "INSERT INTO NODE SELECT LINKID, %1, '', 0, 1 FROM LINK", "COMMIT"})
            query.exec(QString(statement).replace("%1", QString::number(state)));
    };
    change(QSqlDatabase::database("maker"), 0);
    std::atomic<int> state(0);
    std::atomic<bool> isOver(false);
    std::thread writer([&] {
        {
            QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "writer");
            database.setDatabaseName(path("database"));
            database.open();
            while (!isOver) {
                change(database, ++state);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
        QSqlDatabase::removeDatabase("writer");
    });
    QSet<int> states;
    QStringList wrong;
    for (int i = 0; i < 100; ++i) {
        QString error;
        const auto project = Project::open(m_directory->path(), &error);
        if (!project && !error.contains("locked by another program"))
            wrong << error;
        if (!project)
            continue;
        const int hmiPort = project->links().front().hmiPort;
        states << hmiPort;
        for (const host::ProjectLink& link : project->links()) {
            if (link.hmiPort != hmiPort || link.station != hmiPort)
                wrong << QString("%1 beside %2").arg(link.hmiPort).arg(hmiPort);
        }
    }
    isOver = true;
    writer.join();
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
    QVERIFY2(states.size() > 1, qPrintable(QString::number(state)));
}

// Catches: half of a change taken for a project, after the program that made it has died.
void TestProject::refusesAnUnfinishedChange()
{
    make("database", 4);
    QSqlDatabase writer = QSqlDatabase::database("maker");
    for (const char* const statement :
         {"PRAGMA cache_size = 1", "BEGIN EXCLUSIVE", "UPDATE LINK SET HMIPORT = 7",
          "CREATE TABLE LARGE (TEXT)",
          "WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N WHERE I < 1000) "
          "INSERT INTO LARGE SELECT hex(randomblob(500)) FROM N"})
        QCOMPARE(QSqlQuery(writer).exec(statement), true);
    QVERIFY(QDir(path("")).mkpath("left"));
    for (const char* const name : {"database", "database-journal"})
        QVERIFY(QFile::copy(path(name), path(QString("left/") + name)));
    QString error;
    const auto project = Project::open(path("left"), &error);
    QVERIFY2(!project && error.contains("a change of it is unfinished"), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestProject)
#include "tst_project.moc"
