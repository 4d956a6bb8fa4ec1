// Settings records that cross the boundary between host and plugin, and their
// persisted stream format.
#pragma once

#include <QDataStream>
#include <QList>
#include <QPair>
#include <QString>
#include <QtGlobal>

/// Port kinds, stored and streamed as signed 32-bit integers. Hosts define
/// further values; a record carries any value unchanged.
enum device_type : qint32
{
    DEVICE_RS232 = 16 ///< RS-232 serial port
};

/// Protocol settings of one driver. A plain value: copied freely, used on one
/// thread at a time.
class Q_DECL_EXPORT DriverSetting
{
public:
    DriverSetting(int timeout, int retry, int stationid, int delay);
    /// As the four-argument form; the text and the number are not stored.
    DriverSetting(int timeout, int retry, int stationid, int delay, const QString&, unsigned short);
    /// The first text and the 16-bit number are not stored.
    DriverSetting(int timeout, int retry, int stationid, int delay, const QString&, unsigned short,
                  const QString& extraText, bool extraFlag);

    /// Takes over everything from @p other but its extraFlag.
    void copy(const DriverSetting& other);
    /// Writes the settings as one debug message through Qt's message handler.
    void dump();

    int timeout;       ///< time-out; its unit is the host's
    int retry;         ///< further attempts after a failed one
    int stationid;     ///< default station number of the controller
    int delay;         ///< pause before each attempt, in milliseconds
    QString extraText; ///< the host's own; neither streamed nor dumped
    bool extraFlag;    ///< the host's own; neither streamed nor dumped
};

/// Settings of one communication port. A plain value: copied freely, used on
/// one thread at a time.
class Q_DECL_EXPORT DeviceSetting
{
public:
    DeviceSetting(device_type type, QString string, int baudrate, int databits, int stopbits,
                  int parity);
    DeviceSetting(device_type type, QString string, int baudrate, int databits, int stopbits,
                  int parity, int extraValue, QString extraText);

    /// IP text of entry @p index (-1: the current entry); null when there is none.
    QString socketIP(int index) const;
    /// Port number of entry @p index (-1: the current entry); 0 when there is none.
    unsigned short port(int index) const;
    /// Replaces the IP text of entry @p index (-1: the current entry) and keeps
    /// its port number. An index that names no entry changes nothing.
    void setSocketIP(const QString& ip, int index);
    /// Replaces the port number of entry @p index (-1: the current entry) and
    /// keeps its IP text. An index that names no entry changes nothing.
    void setPort(unsigned short port, int index);
    /// Replaces all entries by pairs of IP text and decimal port number; a text
    /// that is no number from 0 to 65535 gives port 0. The current index stays.
    void setSocketData(const QList<QPair<QString, QString>>& data);
    /// Makes entry @p index the current one; ignored unless it names an entry.
    void setCurrentIPIndex(int index);
    /// Writes the settings as one debug message through Qt's message handler.
    void dump();

    device_type type;                          ///< port kind
    QString string;                            ///< port name, for example COM2
    int baudrate;                              ///< bit/s
    int databits;                              ///< data bits per character
    int stopbits;                              ///< stop-bit code; 0 is one stop bit
    int parity;                                ///< parity code; 0 is no parity
    int extraValue;                            ///< the host's own; streamed
    QString extraText;                         ///< the host's own; neither streamed nor dumped
    int linkID;                                ///< link number in the project database; -1 is none
    int currentIPIndex;                        ///< entry of socketList in use; may name none
    QList<QPair<QString, quint16>> socketList; ///< IP text and port number of each entry
};

/// Four qint32 in the stream's byte order: timeout, retry, stationid, delay.
Q_DECL_EXPORT QDataStream& operator<<(QDataStream& stream, const DriverSetting& setting);
/// Reads what operator<< wrote; extraText and extraFlag keep their values. A
/// stream that ends early leaves ReadPastEnd on it and zeros in what is missing.
Q_DECL_EXPORT QDataStream& operator>>(QDataStream& stream, DriverSetting& setting);

/// type, string, baudrate, databits, stopbits, parity, extraValue, linkID and
/// currentIPIndex, then the number of entries as quint32 and each entry's IP
/// text and quint16 port number; integers as qint32, all in the stream's byte
/// order. extraText is not written.
Q_DECL_EXPORT QDataStream& operator<<(QDataStream& stream, const DeviceSetting& setting);
/// Reads what operator<< wrote. The entry count is not trusted: reading stops
/// with the entries read so far where the stream ends, or gives nothing more. A
/// current index that names no entry read is dropped, and the record keeps the
/// one it had. extraText keeps its value.
Q_DECL_EXPORT QDataStream& operator>>(QDataStream& stream, DeviceSetting& setting);
