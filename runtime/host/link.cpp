#include "host/link.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkProxy>
#include <QTcpSocket>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <netdb.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace host {

namespace {

using DevicePointer = std::unique_ptr<QIODevice>;

const QLatin1String WhatToGive("give a serial device such as /dev/ttyUSB0, or tcp://host:port");
const QLatin1String TcpForm("give tcp://host:port with a port from 1 to 65535");

/// QSerialPort's notifiers want an event dispatcher in their thread, running or
/// not; making an event loop makes one.
void ensureEventDispatcher()
{
    if (QCoreApplication::instance() != nullptr)
        QEventLoop();
}

// ---- serial devices ----

bool isPseudoTerminal(const struct stat& status)
{
    const unsigned int firstMajor = 136; // Unix98 slaves, Linux's list of devices
    const unsigned int lastMajor = 143;
    const unsigned int number = major(status.st_rdev);
    return S_ISCHR(status.st_mode) && number >= firstMajor && number <= lastMajor;
}

QString notATerminal(const char* what)
{
    return QStringLiteral("it is %1, not a terminal; %2").arg(QLatin1String(what), WhatToGive);
}

QString permissionDenied(const QString& path)
{
    const QString group = QFileInfo(path).group();
    if (group.isEmpty())
        return QStringLiteral("permission denied");
    return QStringLiteral("permission denied; it belongs to group '%1': become a member, such as "
                          "with 'sudo adduser $USER %1', and log in again")
        .arg(group);
}

/// Why the file at @p path can't be a line; empty when it may be. @p status
/// gets what the system knows of it.
QString faultOfFile(const QString& path, struct stat* status)
{
    const QByteArray name = QFile::encodeName(path);
    if (::stat(name.constData(), status) != 0) {
        if (errno == EACCES)
            return QStringLiteral("permission denied");
        return QStringLiteral("no such device; %1").arg(WhatToGive);
    }
    if (S_ISDIR(status->st_mode))
        return notATerminal("a directory");
    if (S_ISREG(status->st_mode))
        return notATerminal("a regular file");
    if (!S_ISCHR(status->st_mode))
        return notATerminal("another kind of file");
    if (::access(name.constData(), R_OK | W_OK) != 0)
        return permissionDenied(path);
    return QString();
}

QString openFault(const QSerialPort& serial)
{
    switch (serial.error()) {
    case QSerialPort::UnsupportedOperationError:
        return notATerminal("a character device");
    case QSerialPort::PermissionError: // access was checked before: a lock
        return QStringLiteral("busy, most likely in use by another program (%1); close that one")
            .arg(serial.errorString());
    default:
        return serial.errorString();
    }
}

/// Why the line can't be set up; empty when it is.
QString configure(QSerialPort* serial, const LineSettings& line, bool isPseudoTerminal)
{
    bool done = serial->setBaudRate(line.baudRate) && serial->setStopBits(line.stopBits);
    if (!isPseudoTerminal)
        done = done && serial->setDataBits(line.dataBits) && serial->setParity(line.parity);
    if (done)
        return QString();
    return QStringLiteral("the device does not support %1 (%2)")
        .arg(line.toText(), serial->errorString());
}

DevicePointer openSerial(const QString& text, const LineSettings& line, QString* fault)
{
    const QString path = text.contains(QLatin1Char('/')) ? text : QStringLiteral("/dev/") + text;
    struct stat status = {};
    *fault = faultOfFile(path, &status);
    if (!fault->isEmpty())
        return nullptr;

    auto serial = std::make_unique<QSerialPort>();
    // The lock is named after the path, so every name of a device must give the same.
    serial->setPortName(QFileInfo(path).canonicalFilePath());
    if (!serial->open(QIODevice::ReadWrite)) {
        *fault = openFault(*serial);
        return nullptr;
    }
    *fault = configure(serial.get(), line, isPseudoTerminal(status));
    if (!fault->isEmpty())
        return nullptr;
    return serial;
}

// ---- TCP device servers ----

struct Endpoint
{
    QString host; ///< name or address, without brackets
    QString portText;
    quint16 port = 0;
};

/// Splits "host:port" or "[address]:port"; what is wrong with it, or nothing.
QString readEndpoint(const QString& text, Endpoint* endpoint)
{
    const auto colon = text.lastIndexOf(QLatin1Char(':'));
    const bool hasPort = colon > text.lastIndexOf(QLatin1Char(']'));
    endpoint->host = hasPort ? text.left(colon) : text;
    const bool inBrackets =
        endpoint->host.startsWith(QLatin1Char('[')) && endpoint->host.endsWith(QLatin1Char(']'));
    if (inBrackets)
        endpoint->host = endpoint->host.mid(1, endpoint->host.size() - 2);
    else if (endpoint->host.contains(QLatin1Char(':')))
        return QStringLiteral("an IPv6 address goes in brackets, such as tcp://[::1]:2222");

    if (endpoint->host.isEmpty())
        return QStringLiteral("the host is missing; %1").arg(TcpForm);
    endpoint->portText = hasPort ? text.mid(colon + 1) : QString();
    if (endpoint->portText.isEmpty())
        return QStringLiteral("the TCP port is missing; %1").arg(TcpForm);
    bool isNumber = false;
    endpoint->port = endpoint->portText.toUShort(&isNumber);
    if (!isNumber || endpoint->port == 0)
        return QStringLiteral("'%1' is not a TCP port; %2").arg(endpoint->portText, TcpForm);
    return QString();
}

struct LookupResult
{
    std::vector<QHostAddress> addresses;
    std::string error;
};

LookupResult lookUp(const std::string& host)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int code = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
    if (code != 0)
        return {{}, ::gai_strerror(code)};
    LookupResult result;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next)
        result.addresses.emplace_back(entry->ai_addr);
    ::freeaddrinfo(list);
    return result;
}

QString noAnswer(const QString& who, int connectMs)
{
    return QStringLiteral("no answer from %1 within %2 s; check address, network and power")
        .arg(who)
        .arg(connectMs / 1000.0);
}

/// The addresses of @p host; none and a fault when it has none.
///
/// The system's lookup can't be given a time, and Qt's own waits for it in the
/// calling thread, so a thread of its own asks; one that comes too late finds
/// nobody waiting.
std::vector<QHostAddress> resolve(const QString& host, int connectMs, QString* fault)
{
    const QHostAddress literal(host);
    if (!literal.isNull())
        return {literal};

    std::promise<LookupResult> promise;
    std::future<LookupResult> answer = promise.get_future();
    std::thread([promise = std::move(promise), name = host.toStdString()]() mutable {
        promise.set_value(lookUp(name));
    }).detach();
    if (answer.wait_for(std::chrono::milliseconds(connectMs)) != std::future_status::ready) {
        *fault = noAnswer(QStringLiteral("the name service"), connectMs);
        return {};
    }
    const LookupResult result = answer.get();
    if (result.addresses.empty())
        *fault = QStringLiteral("host '%1' is unknown (%2); check the name or give an address")
                     .arg(host, QString::fromStdString(result.error));
    return result.addresses;
}

QString connectFault(const QTcpSocket& socket, const Endpoint& endpoint, int connectMs)
{
    switch (socket.error()) {
    case QAbstractSocket::ConnectionRefusedError:
        return QStringLiteral("connection refused; is anything listening on port %1 of %2?")
            .arg(endpoint.portText, endpoint.host);
    case QAbstractSocket::SocketTimeoutError:
        return noAnswer(endpoint.host, connectMs);
    default:
        return socket.errorString();
    }
}

DevicePointer connectTcp(const QString& text, int connectMs, QString* fault)
{
    Endpoint endpoint;
    *fault = readEndpoint(text, &endpoint);
    if (!fault->isEmpty())
        return nullptr;

    const QDeadlineTimer deadline(connectMs);
    const std::vector<QHostAddress> addresses = resolve(endpoint.host, connectMs, fault);
    for (size_t i = 0; i < addresses.size(); ++i) {
        auto socket = std::make_unique<QTcpSocket>();
        socket->setProxy(QNetworkProxy::NoProxy);
        socket->connectToHost(addresses[i], endpoint.port);
        // A silent address must leave time for those after it.
        const auto share = deadline.remainingTime() / static_cast<qint64>(addresses.size() - i);
        if (socket->waitForConnected(static_cast<int>(share))) {
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            return socket;
        }
        *fault = connectFault(*socket, endpoint, connectMs);
    }
    return nullptr;
}

// ---- either ----

DevicePointer openDevice(const QString& text, const LineSettings& line, int connectMs,
                         QString* fault)
{
    if (text.isEmpty()) {
        *fault = QStringLiteral("the link is empty; %1").arg(WhatToGive);
        return nullptr;
    }
    const auto schemeEnd = text.indexOf(QLatin1String("://"));
    if (schemeEnd < 0)
        return openSerial(text, line, fault);
    if (text.left(schemeEnd).compare(QLatin1String("tcp"), Qt::CaseInsensitive) == 0)
        return connectTcp(text.mid(schemeEnd + 3), connectMs, fault);
    *fault =
        QStringLiteral("unknown kind of link '%1://'; %2").arg(text.left(schemeEnd), WhatToGive);
    return nullptr;
}

PortSettings completed(PortSettings settings, const LineSettings& line)
{
    if (!(settings.secondsPerByte > 0))
        settings.secondsPerByte = line.secondsPerByte();
    return settings;
}

}

Link::Link(const QString& text, std::unique_ptr<QIODevice> device, const PortSettings& settings)
    : m_text(text)
    , m_device(std::move(device))
    , m_port(m_device.get(), settings)
{}

bool Link::hasLineSettings() const
{
    const auto* const serial = qobject_cast<const QSerialPort*>(m_device.get());
    struct stat status = {};
    return serial != nullptr && ::fstat(serial->handle(), &status) == 0
           && !isPseudoTerminal(status);
}

std::unique_ptr<Link> Link::open(const QString& text, const LineSettings& line,
                                 const PortSettings& settings, QString* error, int connectMs)
{
    ensureEventDispatcher();
    QString fault;
    DevicePointer device = openDevice(text.trimmed(), line, connectMs, &fault);
    if (device != nullptr)
        return std::unique_ptr<Link>(new Link(text, std::move(device), completed(settings, line)));
    if (error != nullptr)
        *error = QStringLiteral("cannot open %1: %2")
                     .arg(text.trimmed().isEmpty() ? QStringLiteral("''") : text, fault);
    return nullptr;
}

}
