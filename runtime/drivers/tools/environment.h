// The panel runtime around a driver: its project directory and database, its port
// numbers, and small services of the operating system. All functions are
// reentrant.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QList>
#include <QString>
#include <QtGlobal>

/// "compile", the directory of the compiled project below the application's.
extern Q_DECL_EXPORT const QString COMPILE_PATH;
/// "database", the directory of the project database below the project's.
extern Q_DECL_EXPORT const QString DATABASE_PATH;

/// A station that a look-up found, and the link it is on.
struct LinkIdStationId
{
    int linkId;
    unsigned char stationId; ///< low 8 bits of the number in the database
};

/// The compiled project's directory, COMPILE_PATH beside the running program;
/// the program's own directory when there is no such directory. Needs a
/// QCoreApplication.
Q_DECL_EXPORT QDir GetCompilePath();
/// Absolute path of the project database: the file "database" in DATABASE_PATH
/// below the compiled project, or in the compiled project's own directory when
/// there is no such directory. The file need not exist.
Q_DECL_EXPORT QString GetDatabaseName();

/// HMI port number of a port name: 2000 for a name that begins with ETHERNET
/// (upper case), else 999 plus the decimal number that the name ends with, so
/// COM1 is 1000. A number that exceeds an int counts as 0. -1 for what is no port
/// name (empty, digits only, no digits at its end) and for a result that would
/// exceed an int.
Q_DECL_EXPORT int DevStrToHmiPort(const QString& deviceName);

// Look-ups in the project database, whose connection is registered with Qt SQL as
// connectionName. A connection that is not open is opened and stays open; it has
// to be one that Qt lets the calling thread use. A connection that is unknown or
// can't be opened and a statement that fails, for want of a table for instance,
// give false and leave the output arguments as they were, without a message.

/// The link with @p hmiPort and the station of its default node, the first one
/// when there are several. False, with the outputs left alone, when there is none.
Q_DECL_EXPORT bool GetLinkIdAndDefaultStationId(const QString& connectionName, int hmiPort,
                                                int& linkId, unsigned char& stationId);
/// Appends to @p result the default nodes of the link with @p hmiPort that have
/// this IP text, compared character by character, and this port. Whether
/// @p result holds anything afterwards, its former entries included.
Q_DECL_EXPORT bool GetLinkIdAndDefaultStationId(const QString& connectionName, int hmiPort,
                                                const QString& ip, unsigned short port,
                                                QList<LinkIdStationId>& result);
/// Appends to @p result all default nodes of link @p linkId. Whether @p result
/// holds anything afterwards, its former entries included.
Q_DECL_EXPORT bool GetLinkIdAndDefaultStationId(const QString& connectionName, int linkId,
                                                QList<LinkIdStationId>& result);

/// Whether a process with this id exists, whoever owns it; a terminated one does
/// until its parent has waited for it. Ids of 0 and below stand for process
/// groups, as they do for kill(2).
Q_DECL_EXPORT bool ProcessIsRunning(long long pid);
/// Blocks the calling thread alone for at least @p milliseconds, however many
/// signals arrive meanwhile.
Q_DECL_EXPORT void HRSleep(unsigned long milliseconds);
/// Milliseconds on a clock that never goes back, whatever happens to the time of
/// day: since the system's start, its suspended time not counted.
Q_DECL_EXPORT qint64 CurrentMSecsSinceBoot();

/// One line for diagnostics: "(", each byte as 0X and lowercase digits with a
/// blank behind it, ") : ", and the bytes as Latin-1 up to the first zero.
Q_DECL_EXPORT QString dumpByteArray(const QByteArray& bytes);
