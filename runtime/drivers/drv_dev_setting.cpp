#include "drivers/drv_dev_setting.h"

#include <QIODevice>

#include "drivers/qtcompat.h"

namespace {

bool namesEntry(int index, qint64 entries)
{
    return index >= 0 && index < entries;
}

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

/// A line of debug items, each followed by one blank.
class DumpLine
{
public:
    DumpLine& item(const char* label, const QString& value)
    {
        m_text += QLatin1String(label);
        m_text += QLatin1Char(' ');
        m_text += value;
        m_text += QLatin1Char(' ');
        return *this;
    }

    DumpLine& item(const char* label, int value) { return item(label, QString::number(value)); }

    void send() const { qtcompat::debugMessage(m_text); }

private:
    QString m_text;
};

}

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay)
    : DriverSetting(timeout, retry, stationid, delay, QString(), 0, QString(), false)
{}

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay, const QString&,
                             unsigned short)
    : DriverSetting(timeout, retry, stationid, delay)
{}

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay, const QString&,
                             unsigned short, const QString& extraText, bool extraFlag)
    : timeout(timeout)
    , retry(retry)
    , stationid(stationid)
    , delay(delay)
    , extraText(extraText)
    , extraFlag(extraFlag)
{}

void DriverSetting::copy(const DriverSetting& other)
{
    timeout = other.timeout;
    retry = other.retry;
    stationid = other.stationid;
    delay = other.delay;
    extraText = other.extraText;
}

void DriverSetting::dump()
{
    DumpLine()
        .item("timeout:", timeout)
        .item("retry:", retry)
        .item("stationid:", stationid)
        .item("delay:", delay)
        .send();
}

DeviceSetting::DeviceSetting(device_type type, QString string, int baudrate, int databits,
                             int stopbits, int parity)
    : DeviceSetting(type, string, baudrate, databits, stopbits, parity, 0, QString())
{}

DeviceSetting::DeviceSetting(device_type type, QString string, int baudrate, int databits,
                             int stopbits, int parity, int extraValue, QString extraText)
    : type(type)
    , string(string)
    , baudrate(baudrate)
    , databits(databits)
    , stopbits(stopbits)
    , parity(parity)
    , extraValue(extraValue)
    , extraText(extraText)
    , linkID(-1)
    , currentIPIndex(0)
{}

QString DeviceSetting::socketIP(int index) const
{
    const int entry = index == -1 ? currentIPIndex : index;
    return namesEntry(entry, socketList.size()) ? socketList.at(entry).first : QString();
}

unsigned short DeviceSetting::port(int index) const
{
    const int entry = index == -1 ? currentIPIndex : index;
    return namesEntry(entry, socketList.size()) ? socketList.at(entry).second : 0;
}

void DeviceSetting::setSocketIP(const QString& ip, int index)
{
    const int entry = index == -1 ? currentIPIndex : index;
    if (namesEntry(entry, socketList.size()))
        socketList[entry].first = ip;
}

void DeviceSetting::setPort(unsigned short port, int index)
{
    const int entry = index == -1 ? currentIPIndex : index;
    if (namesEntry(entry, socketList.size()))
        socketList[entry].second = port;
}

void DeviceSetting::setSocketData(const QList<QPair<QString, QString>>& data)
{
    QList<QPair<QString, quint16>> entries;
    for (int i = 0; i < data.size(); ++i)
        entries.append(qMakePair(data.at(i).first, quint16(data.at(i).second.toUShort())));
    socketList = entries;
}

void DeviceSetting::setCurrentIPIndex(int index)
{
    if (namesEntry(index, socketList.size()))
        currentIPIndex = index;
}

void DeviceSetting::dump()
{
    DumpLine()
        .item("type:", QString::number(static_cast<quint32>(type)))
        .item("string:", quoted(string))
        .item("baudrate:", baudrate)
        .item("databits:", databits)
        .item("stopbits:", stopbits)
        .item("parity:", parity)
        .item("linkID:", linkID)
        .item("current ip:", quoted(socketIP(-1)))
        .item("current port:", port(-1))
        .send();
}

QDataStream& operator<<(QDataStream& stream, const DriverSetting& setting)
{
    return stream << qint32(setting.timeout) << qint32(setting.retry) << qint32(setting.stationid)
                  << qint32(setting.delay);
}

QDataStream& operator>>(QDataStream& stream, DriverSetting& setting)
{
    return stream >> setting.timeout >> setting.retry >> setting.stationid >> setting.delay;
}

QDataStream& operator<<(QDataStream& stream, const DeviceSetting& setting)
{
    stream << qint32(setting.type) << setting.string << qint32(setting.baudrate)
           << qint32(setting.databits) << qint32(setting.stopbits) << qint32(setting.parity)
           << qint32(setting.extraValue) << qint32(setting.linkID) << qint32(setting.currentIPIndex)
           << quint32(setting.socketList.size());
    for (int i = 0; i < setting.socketList.size(); ++i)
        stream << setting.socketList.at(i).first << setting.socketList.at(i).second;
    return stream;
}

namespace {

// Read by hand: Qt's own list operator trusts the count with memory in Qt 4,
// and from Qt 5 on throws the entries away when the stream ends among them.
QList<QPair<QString, quint16>> readSocketList(QDataStream& stream)
{
    QList<QPair<QString, quint16>> entries;
    quint32 count = 0;
    stream >> count;
    for (quint32 i = 0; i < count; ++i) {
        const qint64 available = stream.device()->bytesAvailable();
        QPair<QString, quint16> entry(QString(), 0);
        stream >> entry.first >> entry.second;
        entries.append(entry);
        // A device that fails, or a transaction that has, gives nothing and is
        // never at its end; a damaged count would then fill the memory.
        if (stream.atEnd() || stream.device()->bytesAvailable() == available)
            break;
    }
    return entries;
}

}

QDataStream& operator>>(QDataStream& stream, DeviceSetting& setting)
{
    qint32 type = 0;
    qint32 currentIPIndex = 0;
    stream >> type >> setting.string >> setting.baudrate >> setting.databits >> setting.stopbits
        >> setting.parity >> setting.extraValue >> setting.linkID >> currentIPIndex;
    setting.type = static_cast<device_type>(type);
    setting.socketList = readSocketList(stream);
    setting.setCurrentIPIndex(currentIPIndex);
    return stream;
}
