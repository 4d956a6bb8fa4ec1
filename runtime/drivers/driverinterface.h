// The contract between a host and a driver plugin.
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include "drivers/communicatorcommand.h"

class AbstractDeviceInterface;
class DeviceSetting;
class DriverSetting;

/// What every driver plugin offers its host.
///
/// The order of the operations is the contract. The host owns the driver
/// object and deletes it through this class; it lends port and request for one
/// call. A driver takes no lock and starts no thread: at most one call into an
/// object at a time, from any thread; different objects are independent. All
/// failures are told by hasError() and getLastError() after the call, none is
/// thrown.
class Q_DECL_EXPORT DriverInterface
{
public:
    virtual ~DriverInterface() {}

    /// Size of the whole address space that the driver announces.
    virtual int totalSize() = 0;
    /// Writes @p data (controller byte order, low byte first) to the request's
    /// address. True when the last attempt was confirmed by the controller.
    virtual bool write(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                       const QByteArray& data) = 0;
    /// Reads what the request asks for: bytes in the controller's order, low
    /// byte first, bits packed least significant first. Empty on failure.
    virtual QByteArray read(AbstractDeviceInterface* port, const CommunicatorCommand& command) = 0;
    /// Prepares the driver for use on @p port; true when it may be used.
    virtual bool initialize(AbstractDeviceInterface* port) = 0;
    /// Judges an address text; 0 when there is nothing to object to.
    virtual int validation(const QString& text) = 0;
    virtual QString name() { return QString::fromLatin1("Not Assigned"); }
    virtual QString vender() { return QString::fromLatin1("Not Assigned"); }
    virtual QString getVersionNumber() { return QString::fromLatin1("Not Assigned"); }
    /// A new record of the port settings that suit the driver; the caller owns it.
    virtual DeviceSetting* getDefaultSerialDeviceSetting() = 0;
    /// A new record of the protocol settings that suit the driver; the caller owns it.
    virtual DriverSetting* getDefaultDriverSetting() = 0;
    /// Port kind, baud rate, parity, data bits and stop bits, separated by commas.
    virtual QString getStringBasedDefaultDriverSetting()
    {
        return QString::fromLatin1("RS232,9600,EVEN,7,1");
    }
    /// The port kinds (device_type values) that the driver can use.
    virtual int supportedCommunicationFlags() = 0;
    virtual void setDebugMode(bool on) = 0;
    /// Largest block, in bytes, that the driver announces for word data.
    virtual int getBlockAccessSize() = 0;
    /// Largest block, in bits, that the driver announces for bit data.
    virtual int getBitBlockAccessSize() = 0;
    /// Whether the last attempt of the last read or write failed.
    virtual bool hasError() = 0;
    /// Text of the most recent failure; a success leaves it in place.
    virtual QString getLastError() = 0;
    /// The driver as a QObject; still owned by the host.
    virtual QObject* getThisObject() = 0;
    virtual bool isSupportSessionCommand() { return false; }
    virtual void setSessionCommand(QList<CommunicatorCommand> commands) { Q_UNUSED(commands) }
    virtual void clearSessionCommand() {}
    /// Tells the driver of changed port settings; true when it can go on.
    virtual bool deviceSettingChanged(const DeviceSetting* setting)
    {
        Q_UNUSED(setting)
        return true;
    }
    virtual bool isConnected(AbstractDeviceInterface* port)
    {
        Q_UNUSED(port)
        return true;
    }
};

Q_DECLARE_INTERFACE(DriverInterface, "com.tavelmor.drivers.DriverInterface/1.1")
