#include "host/project.h"

#include <QAtomicInt>
#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include "drivers/tools/environment.h"

namespace host {

namespace {

const int FIRST_SERIAL_PORT = 1000;
const int ETHERNET_PORT = 2000;
const int HIGHEST_STATION = 254;

QString nextConnectionName()
{
    static QAtomicInt count;
    return QStringLiteral("project-%1").arg(count.fetchAndAddRelaxed(1));
}

/// The database file of a project; empty when there is none.
QString databaseBelow(const QString& directory)
{
    const QString inDatabase = DATABASE_PATH + QLatin1String("/database");
    for (const QString& place :
         {COMPILE_PATH + QLatin1Char('/') + inDatabase, inDatabase, QStringLiteral("database")}) {
        const QFileInfo file(QDir(directory), place);
        if (file.isFile())
            return file.absoluteFilePath();
    }
    return QString();
}

QString reasonOf(const QSqlError& error)
{
    QString text = error.databaseText().isEmpty() ? error.text() : error.databaseText();
    if (text.contains(QLatin1String("locked")))
        return QStringLiteral("it is locked by another program; try again when that is done");
    // What SQLite has to say when a journal is left that only a writer may play back.
    if (text.contains(QLatin1String("readonly")))
        return QStringLiteral("a change of it is unfinished, the program that made it has died; "
                              "let that program open the project once");
    if (text.contains(QLatin1String("no such")))
        return QStringLiteral("it is not a project's (%1)").arg(text);
    return text;
}

}

QString hmiPortName(int hmiPort)
{
    if (hmiPort == ETHERNET_PORT)
        return QStringLiteral("ETHERNET");
    if (hmiPort >= FIRST_SERIAL_PORT && hmiPort < ETHERNET_PORT)
        return QStringLiteral("COM%1").arg(hmiPort - FIRST_SERIAL_PORT + 1);
    return QString::number(hmiPort);
}

std::unique_ptr<Project> Project::open(const QString& directory, QString* error)
{
    if (!QFileInfo(directory).isDir()) {
        *error = QStringLiteral("%1 is no directory; give the one that holds the project")
                     .arg(directory);
        return nullptr;
    }
    const QString fileName = databaseBelow(directory);
    if (fileName.isEmpty()) {
        *error = QStringLiteral("no project database below %1; give the directory that holds "
                                "compile/database/database")
                     .arg(directory);
        return nullptr;
    }
    std::unique_ptr<Project> project(new Project(fileName));
    const QString fault = project->load();
    if (fault.isEmpty())
        return project;
    *error = QStringLiteral("cannot use project database %1: %2").arg(fileName, fault);
    return nullptr;
}

Project::Project(const QString& fileName)
    : m_fileName(fileName)
    , m_connection(nextConnectionName())
{}

Project::~Project()
{
    QSqlDatabase::removeDatabase(m_connection);
}

/// What is wrong with the database; empty when the links have been read.
QString Project::load()
{
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    database.setDatabaseName(m_fileName);
    database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=1000"));
    if (!database.open())
        return reasonOf(database.lastError());

    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!query.exec(QStringLiteral("SELECT LINK.LINKID, LINK.HMIPORT, NODE.STATIONID, NODE.IP, "
                                   "NODE.PORT FROM LINK LEFT JOIN NODE ON "
                                   "NODE.LINKID = LINK.LINKID AND NODE.ISDEFAULT = 1 "
                                   "ORDER BY LINK.LINKID, NODE.ROWID")))
        return reasonOf(query.lastError());
    while (query.next()) {
        ProjectLink link;
        link.linkId = query.value(0).toInt();
        link.hmiPort = query.value(1).toInt();
        if (!query.isNull(2))
            link.station = query.value(2).toInt();
        link.ip = query.value(3).toString();
        link.tcpPort = query.value(4).toInt();
        m_links.push_back(link);
    }
    return query.lastError().isValid() ? reasonOf(query.lastError()) : QString();
}

std::optional<int> Project::stationAt(const QString& portName, QString* error) const
{
    const int hmiPort = DevStrToHmiPort(portName);
    if (hmiPort < 0) {
        *error = QStringLiteral("'%1' is no port name; give one such as COM2").arg(portName);
        return std::nullopt;
    }
    int linkId = 0;
    unsigned char lowByte = 0;
    if (!GetLinkIdAndDefaultStationId(m_connection, hmiPort, linkId, lowByte)) {
        *error = QStringLiteral("the project has no link with a default node on %1").arg(portName);
        return std::nullopt;
    }
    // The look-up keeps the low byte alone, which would be another controller's number.
    for (const ProjectLink& link : m_links) {
        if (link.linkId == linkId && link.hmiPort == hmiPort && link.station == int(lowByte)
            && lowByte <= HIGHEST_STATION)
            return lowByte;
    }
    *error = QStringLiteral("the default node on %1 has a station number that is not 0 to %2")
                 .arg(portName)
                 .arg(HIGHEST_STATION);
    return std::nullopt;
}

}
