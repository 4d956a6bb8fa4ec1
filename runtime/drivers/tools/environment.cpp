#include "drivers/tools/environment.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <sys/types.h>

const QString COMPILE_PATH = QLatin1String("compile");
const QString DATABASE_PATH = QLatin1String("database");

namespace {

const char* const DATABASE_FILE = "database";
const char* const ETHERNET_PREFIX = "ETHERNET";
const int ETHERNET_HMI_PORT = 2000;
const int HMI_PORT_BEFORE_FIRST = 999;
const int NO_HMI_PORT = -1;
const long NANOSECONDS_PER_MILLISECOND = 1000000;
const long NANOSECONDS_PER_SECOND = 1000000000;

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

/// Appends the rows of @p statement, each a link and a station; false when the
/// statement did not run.
bool appendNodes(const QString& connectionName, const char* statement, const QVariantList& values,
                 QList<LinkIdStationId>& nodes)
{
    // Opened here and not by database(), which complains when it can't.
    QSqlDatabase database = QSqlDatabase::database(connectionName, false);
    if (!database.isValid() || (!database.isOpen() && !database.open()))
        return false;
    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!query.prepare(QLatin1String(statement)))
        return false;
    for (int i = 0; i < values.size(); ++i)
        query.addBindValue(values.at(i));
    if (!query.exec())
        return false;
    while (query.next()) {
        const unsigned int station = query.value(1).toUInt();
        const LinkIdStationId node = {query.value(0).toInt(), static_cast<unsigned char>(station)};
        nodes.append(node);
    }
    return true;
}

timespec monotonicTime()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

}

QDir GetCompilePath()
{
    QDir directory(QCoreApplication::applicationDirPath());
    directory.cd(COMPILE_PATH);
    return directory;
}

QString GetDatabaseName()
{
    QDir directory = GetCompilePath();
    directory.cd(DATABASE_PATH);
    return directory.absoluteFilePath(QLatin1String(DATABASE_FILE));
}

int DevStrToHmiPort(const QString& deviceName)
{
    if (deviceName.startsWith(QLatin1String(ETHERNET_PREFIX)))
        return ETHERNET_HMI_PORT;
    int digits = static_cast<int>(deviceName.size());
    while (digits > 0 && isDigit(deviceName.at(digits - 1)))
        --digits;
    if (digits == 0 || digits == deviceName.size())
        return NO_HMI_PORT;
    const int number = deviceName.mid(digits).toInt();
    return number > INT_MAX - HMI_PORT_BEFORE_FIRST ? NO_HMI_PORT : number + HMI_PORT_BEFORE_FIRST;
}

bool GetLinkIdAndDefaultStationId(const QString& connectionName, int hmiPort, int& linkId,
                                  unsigned char& stationId)
{
    QList<LinkIdStationId> nodes;
    appendNodes(connectionName,
                "SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE WHERE LINK.HMIPORT = ?"
                " AND NODE.LINKID = LINK.LINKID AND NODE.ISDEFAULT = 1",
                QVariantList() << hmiPort, nodes);
    if (nodes.isEmpty())
        return false;
    linkId = nodes.first().linkId;
    stationId = nodes.first().stationId;
    return true;
}

bool GetLinkIdAndDefaultStationId(const QString& connectionName, int hmiPort, const QString& ip,
                                  unsigned short port, QList<LinkIdStationId>& result)
{
    // A null text would be bound as NULL, which equals nothing.
    const QString address = ip.isNull() ? QString(QLatin1String("")) : ip;
    const bool ran = appendNodes(
        connectionName,
        "SELECT LINK.LINKID, NODE.STATIONID FROM LINK, NODE WHERE LINK.HMIPORT = ?"
        " AND NODE.LINKID = LINK.LINKID AND NODE.IP = ? AND NODE.PORT = ? AND NODE.ISDEFAULT = 1",
        QVariantList() << hmiPort << address << port, result);
    return ran && !result.isEmpty();
}

bool GetLinkIdAndDefaultStationId(const QString& connectionName, int linkId,
                                  QList<LinkIdStationId>& result)
{
    const bool ran = appendNodes(connectionName,
                                 "SELECT NODE.LINKID, NODE.STATIONID FROM NODE"
                                 " WHERE NODE.LINKID = ? AND NODE.ISDEFAULT = 1",
                                 QVariantList() << linkId, result);
    return ran && !result.isEmpty();
}

bool ProcessIsRunning(long long pid)
{
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

void HRSleep(unsigned long milliseconds)
{
    timespec end = monotonicTime();
    end.tv_sec += static_cast<time_t>(milliseconds / 1000);
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * NANOSECONDS_PER_MILLISECOND;
    if (end.tv_nsec >= NANOSECONDS_PER_SECOND) {
        end.tv_nsec -= NANOSECONDS_PER_SECOND;
        ++end.tv_sec;
    }
    // Until a point in time: sleeping for the rest after each signal adds the
    // timer's slack every time, and under fast enough signals never ends.
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

qint64 CurrentMSecsSinceBoot()
{
    const timespec now = monotonicTime();
    return static_cast<qint64>(now.tv_sec) * 1000 + now.tv_nsec / NANOSECONDS_PER_MILLISECOND;
}

QString dumpByteArray(const QByteArray& bytes)
{
    QString text = QLatin1String("(");
    for (int i = 0; i < bytes.size(); ++i) {
        const unsigned int value = static_cast<unsigned char>(bytes.at(i));
        text += QLatin1String("0X") + QString::number(value, 16) + QLatin1Char(' ');
    }
    // An array over somebody else's memory need not have a zero behind it.
    const uint size = static_cast<uint>(bytes.size());
    const int length = static_cast<int>(qstrnlen(bytes.constData(), size));
    return text + QLatin1String(") : ") + QString::fromLatin1(bytes.constData(), length);
}
