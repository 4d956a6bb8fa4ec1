#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

#include "host/project.h"

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
    void init();
    void cleanup();
    void findsTheDatabase_data();
    void findsTheDatabase();
    void listsLinks();
    void stations_data();
    void stations();
    void refuses_data();
    void refuses();
    void refusesALockedDatabase();
    void neverWrites();

private:
    void make(const QString& place, int statements);
    QString path(const QString& place) const { return m_directory->filePath(place); }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void TestProject::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
}

void TestProject::cleanup()
{
    QSqlDatabase::removeDatabase("maker");
}

/// A database at @p place with the first @p statements of TABLES run on it.
void TestProject::make(const QString& place, int statements)
{
    QVERIFY(QDir(m_directory->path()).mkpath(QFileInfo(place).path()));
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "maker");
    database.setDatabaseName(path(place));
    QVERIFY(database.open());
    for (int i = 0; i < statements; ++i) {
        QSqlQuery query(database);
        QVERIFY2(query.exec(TABLES[i]), qPrintable(query.lastError().text()));
    }
}

void TestProject::findsTheDatabase_data()
{
    QTest::addColumn<QString>("place");
    QTest::newRow("application's directory") << "compile/database/database";
    QTest::newRow("project's directory") << "database/database";
    QTest::newRow("database's directory") << "database";
}

// Catches: a level of the project's layout left out.
void TestProject::findsTheDatabase()
{
    QFETCH(QString, place);
    make(place, 4);
    QString error;
    const auto project = Project::open(m_directory->path(), &error);
    QVERIFY2(project != nullptr, qPrintable(error));
    QCOMPARE(project->fileName(), path(place));
}

// Catches: links without a default node left out, non-default nodes taken.
void TestProject::listsLinks()
{
    make("database", 4);
    QString error;
    const auto project = Project::open(m_directory->path(), &error);
    QStringList lines;
    for (const host::ProjectLink& link : project->links())
        lines << QString("%1 %2 %3 %4 %5")
                     .arg(link.linkId)
                     .arg(host::hmiPortName(link.hmiPort))
                     .arg(link.station.value_or(-1))
                     .arg(link.ip)
                     .arg(link.tcpPort);
    QCOMPARE(lines, QStringList() << "1 COM1 17  0"
                                  << "2 COM2 300  0"
                                  << "3 ETHERNET 2 10.0.0.5 502"
                                  << "4 COM3 -1  0"
                                  << "5 COM4 255  0");
}

void TestProject::stations_data()
{
    QTest::addColumn<QString>("port");
    QTest::addColumn<int>("station");
    QTest::addColumn<QString>("message");

    QTest::newRow("default node") << "COM1" << 17 << "";
    QTest::newRow("network") << "ETHERNET" << 2 << "";
    QTest::newRow("station beyond a byte") << "COM2" << -1 << "0 to 254";
    QTest::newRow("station of nobody") << "COM4" << -1 << "0 to 254";
    QTest::newRow("no default node") << "COM3" << -1 << "no link with a default node on COM3";
    QTest::newRow("no link") << "COM9" << -1 << "no link";
    QTest::newRow("no port name") << "17" << -1 << "'17' is no port name";
}

// Catches: a request sent to another controller than the project names.
void TestProject::stations()
{
    QFETCH(QString, port);
    QFETCH(int, station);
    QFETCH(QString, message);

    make("database", 4);
    QString error;
    const auto project = Project::open(m_directory->path(), &error);
    QCOMPARE(project->stationAt(port, &error).value_or(-1), station);
    QVERIFY2(error.contains(message), qPrintable(error));
    QCOMPARE(error.isEmpty(), message.isEmpty());
}

void TestProject::refuses_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<int>("statements");
    QTest::addColumn<QString>("message");

    QTest::newRow("no directory") << "/nonexistent" << 4 << "is no directory";
    QTest::newRow("no database") << "" << -1 << "no project database below";
    QTest::newRow("empty file") << "" << 0 << "no such table: LINK";
    QTest::newRow("one table missing") << "" << 1 << "no such table: NODE";
    QTest::newRow("no database at all") << "" << -2 << "not a database";
}

// Catches: a database that is taken for a project's, or a fault without a line.
void TestProject::refuses()
{
    QFETCH(QString, directory);
    QFETCH(int, statements);
    QFETCH(QString, message);

    if (statements >= 0)
        make("database", statements);
    if (statements == -2) {
        QFile file(path("database"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
    }
    QString error;
    QVERIFY(!Project::open(directory.isEmpty() ? m_directory->path() : directory, &error));
    QVERIFY2(error.contains(message), qPrintable(error));
    QVERIFY(!error.contains('\n'));
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

// Catches: a file that is made, or touched, in a project.
void TestProject::neverWrites()
{
    make("compile/database/database", 4);
    QSqlDatabase::database("maker").close();
    QFile file(path("compile/database/database"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    QString error;
    const auto project = Project::open(m_directory->path(), &error);
    QVERIFY(project->stationAt("COM1", &error).has_value());
    file.seek(0);
    QCOMPARE(file.readAll(), before);
    QCOMPARE(QDir(path("compile/database")).entryList(QDir::Files), QStringList("database"));
}

QTEST_GUILESS_MAIN(TestProject)
#include "tst_project.moc"
