#include "host/deviceport.h"

#include <QAbstractSocket>
#include <QSerialPort>

#include <algorithm>
#include <cstring>
#include <limits>

namespace host {

namespace {

const qint64 NanosecondsPerMillisecond = 1000000;

// Enough to empty every buffer of the operating system, a pseudo-terminal's
// 4 KiB a time, and few enough to get away from a peer that never stops.
const int MaxFetches = 64;
const int MaxPendingCounted = 64 * 1024;

// What an answer takes at most, so that it is taken in without an allocation.
const int UsualInput = 600;

/// Hands queued output to the operating system without asking it first whether
/// there is room: there nearly always is.
void flushNow(QIODevice* device)
{
    if (auto* socket = qobject_cast<QAbstractSocket*>(device)) {
        socket->flush();
        return;
    }
    auto* const serial = qobject_cast<QSerialPort*>(device);
    // No room is reported as an error of the device; a lost line will be found
    // by the wait that follows.
    if (serial != nullptr && !serial->flush())
        serial->clearError();
}

QString serialError(const QSerialPort& serial)
{
    switch (serial.error()) {
    case QSerialPort::DeviceNotFoundError:
    case QSerialPort::ReadError:
    case QSerialPort::WriteError:
    case QSerialPort::ResourceError:
        // Qt's own text comes from a call that did not fail.
        return QStringLiteral("the serial line is gone: unplugged, or its other end is closed");
    default:
        return QString();
    }
}

QString socketError(const QAbstractSocket& socket)
{
    if (socket.state() == QAbstractSocket::ConnectedState)
        return QString();
    return QStringLiteral("the connection is gone: %1").arg(socket.errorString());
}

}

DevicePort::DevicePort(QIODevice* device, const PortSettings& settings)
    : m_device(device)
    , m_settings(settings)
{
    m_input.reserve(UsualInput);
    m_clock.start();
}

int DevicePort::receiveData(unsigned char* buffer, int maxBytes)
{
    if (buffer == nullptr || maxBytes <= 0)
        return 0;
    if (m_input.size() < maxBytes)
        takeFromDevice();
    if (m_input.size() < maxBytes)
        awaitInput(maxBytes);

    // A whole answer shows that the request has left the line, which may be faster
    // than it is said to be: a pseudo-terminal, a device server of its own speed.
    if (m_input.size() >= maxBytes)
        m_sentAt = std::min(m_sentAt, m_clock.nsecsElapsed());

    const int count = std::min(maxBytes, static_cast<int>(m_input.size()));
    std::memcpy(buffer, m_input.constData(), static_cast<size_t>(count));
    m_input.remove(0, count);
    return count;
}

void DevicePort::sendData(const unsigned char* data, int length)
{
    if (data == nullptr || length <= 0 || !isUsable())
        return;
    const qint64 now = m_clock.nsecsElapsed();
    const qint64 deadline =
        now + m_settings.timeoutMs * NanosecondsPerMillisecond + 2 * lineTime(length);
    if (!flushOutput(deadline))
        return;
    m_device->write(reinterpret_cast<const char*>(data), length);
    flushOutput(deadline);
    m_sentAt = std::max(now, m_sentAt) + lineTime(length);
}

void DevicePort::getParameter(int id, QVariant& value)
{
    if (id != PORT_PARAM_INPUT_PENDING)
        return;
    takeFromDevice();
    for (int i = 0; i < MaxFetches && m_input.size() < MaxPendingCounted; ++i) {
        if (!fetchArrived())
            break;
    }
    value = static_cast<int>(m_input.size());
}

void DevicePort::setParameter(int id, const QVariant&)
{
    if (id != PORT_PARAM_CLEAR_INPUT)
        return;
    takeFromDevice();
    for (int i = 0; i < MaxFetches && fetchArrived(); ++i)
        m_input.truncate(0);
    m_input.truncate(0);
}

QString DevicePort::deviceError() const
{
    if (!isUsable())
        return lossOfDevice();
    const qint64 unsent = m_device->bytesToWrite();
    if (unsent > 0)
        return QStringLiteral("the other end takes no bytes: %1 are still to be sent").arg(unsent);
    return QString();
}

/// Why nothing can be received or sent any more; empty while the device lives.
QString DevicePort::lossOfDevice() const
{
    if (m_device.isNull())
        return QStringLiteral("the device has been deleted");
    if (!m_device->isOpen())
        return QStringLiteral("the device is closed");
    if (const auto* socket = qobject_cast<const QAbstractSocket*>(m_device.data()))
        return socketError(*socket);
    if (const auto* serial = qobject_cast<const QSerialPort*>(m_device.data()))
        return serialError(*serial);
    return QString();
}

/// Time that @p bytes take on the line, in nanoseconds.
qint64 DevicePort::lineTime(int bytes) const
{
    if (!(m_settings.secondsPerByte > 0))
        return 0;
    return bytes * static_cast<qint64>(std::min(m_settings.secondsPerByte, 1.0) * 1e9);
}

void DevicePort::awaitInput(int wanted)
{
    const qint64 timeout = m_settings.timeoutMs * NanosecondsPerMillisecond;
    const qint64 start = std::max(m_clock.nsecsElapsed(), m_sentAt);
    const qint64 end = start + timeout + 2 * lineTime(wanted);
    qint64 silence = start + timeout;
    while (waitForArrival(std::min(silence, end)) && m_input.size() < wanted)
        silence = std::max(m_clock.nsecsElapsed(), m_sentAt) + timeout;
}

/// Waits until bytes come in and takes them. False when none have come.
bool DevicePort::waitForArrival(qint64 deadline)
{
    return isUsable() && m_device->waitForReadyRead(millisecondsUntil(deadline))
           && takeFromDevice();
}

/// Takes what the operating system holds. False when it holds nothing.
bool DevicePort::fetchArrived()
{
    return isUsable() && m_device->waitForReadyRead(0) && takeFromDevice();
}

/// Takes what the device has read already; asks no more of it, so that a lost
/// device still gives its last bytes.
bool DevicePort::takeFromDevice()
{
    const qint64 available = m_device.isNull() ? 0 : m_device->bytesAvailable();
    if (available <= 0)
        return false;
    const auto before = m_input.size();
    m_input.resize(before + static_cast<int>(available));
    const qint64 taken = std::max<qint64>(m_device->read(m_input.data() + before, available), 0);
    m_input.truncate(before + static_cast<int>(taken));
    return taken > 0;
}

bool DevicePort::flushOutput(qint64 deadline)
{
    if (m_device->bytesToWrite() == 0)
        return true;
    flushNow(m_device);
    while (isUsable() && m_device->bytesToWrite() > 0) {
        const int wait = millisecondsUntil(deadline);
        if (wait == 0 || !m_device->waitForBytesWritten(wait))
            return false;
    }
    return isUsable();
}

/// Rounded up: a wait that ends just short of its deadline would be repeated
/// with nothing left to wait for.
int DevicePort::millisecondsUntil(qint64 deadline) const
{
    const qint64 left = deadline - m_clock.nsecsElapsed();
    const qint64 milliseconds = (left + NanosecondsPerMillisecond - 1) / NanosecondsPerMillisecond;
    return static_cast<int>(std::clamp<qint64>(milliseconds, 0, std::numeric_limits<int>::max()));
}

}
