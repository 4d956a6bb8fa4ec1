// A driver's port over any open Qt device.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QIODevice>
#include <QPointer>
#include <QString>

#include "drivers/abstractdeviceinterface.h"

namespace host {

/// What a port tells its driver, and how long it waits.
struct PortSettings
{
    int timeoutMs = 500;      ///< silence after which an answer is given up, in milliseconds
    int retryCount = 3;       ///< further attempts after a failed one
    int destination = 1;      ///< station number of the controller
    int source = 0;           ///< the host's own station number
    unsigned int delayMs = 0; ///< pause before every attempt, in milliseconds
    /// Time that one byte takes on the line; 0: unknown. More than 1 counts as 1.
    double secondsPerByte = 0;
};

/// The port of a driver over a device that somebody else has opened: a
/// QSerialPort, a QTcpSocket, or another QIODevice whose waitFor functions work.
///
/// The device is borrowed. It may be closed or deleted before the port; the
/// port is dead from then on. While a call runs, and as long as bytes are
/// pending, nobody else reads from the device.
///
/// No event loop need run. Port and device belong to one thread, the one that
/// opened the device; any thread will do, but QSerialPort warns when it is
/// opened in a thread without an event dispatcher (Link sees to that).
class DevicePort : public AbstractDeviceInterface
{
public:
    DevicePort(QIODevice* device, const PortSettings& settings);
    DevicePort(const DevicePort&) = delete;
    DevicePort& operator=(const DevicePort&) = delete;

    /// Waits for @p maxBytes bytes until the line has been silent for the
    /// time-out, which starts again with every arrival. The whole wait lasts at
    /// most the time-out plus twice the line time of @p maxBytes bytes. Both
    /// count from when the bytes sent before have left the line, as far as the
    /// time of one byte is known; once all that was waited for has come, they
    /// have. Returns at once when the device is lost.
    /// What has come is stored in every case; no buffer or no room gives 0.
    int receiveData(unsigned char* buffer, int maxBytes) override;
    /// Returns when the operating system has taken all bytes, or after the
    /// time-out plus twice their line time. Bytes that the other end did not
    /// take by then stay queued in the device, and until they are gone further
    /// bytes are dropped after the same wait, so that no frame is torn.
    void sendData(const unsigned char* data, int length) override;
    /// PORT_PARAM_INPUT_PENDING: an int, the number of bytes received and not
    /// yet taken, those that the operating system holds included; counting ends
    /// soon after 64 KiB. Any other id leaves @p value as it is.
    void getParameter(int id, QVariant& value) override;
    /// PORT_PARAM_CLEAR_INPUT, whatever @p value: discards every byte that had
    /// come before the call, wherever it is held, and does not wait for more.
    /// Any other id does nothing.
    void setParameter(int id, const QVariant& value) override;
    int retryCount() override { return m_settings.retryCount; }
    int destinationAddress() override { return m_settings.destination; }
    int sourceAddress() override { return m_settings.source; }
    unsigned int delayTime() override { return m_settings.delayMs; }

    /// What is wrong with the line, in words: the device is lost, or its other
    /// end takes no bytes. Empty while the line is fine, as far as the last call
    /// has seen.
    QString deviceError() const;

private:
    qint64 lineTime(int bytes) const;
    void awaitInput(int wanted);
    bool waitForArrival(qint64 deadline);
    bool fetchArrived();
    bool takeFromDevice();
    bool flushOutput(qint64 deadline);
    QString lossOfDevice() const;
    bool isUsable() const { return lossOfDevice().isEmpty(); }
    int millisecondsUntil(qint64 deadline) const;

    QPointer<QIODevice> m_device;
    const PortSettings m_settings;
    QElapsedTimer m_clock;
    qint64 m_sentAt = 0; // when the last byte sent leaves the line; m_clock's nanoseconds
    QByteArray m_input;  // received, not yet handed out
};

}
