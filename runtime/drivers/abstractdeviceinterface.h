// The host's port, as a driver sees it.
#pragma once

#include <QVariant>

/// Set to QVariant(0): discards every received byte that nobody has taken yet.
const int PORT_PARAM_CLEAR_INPUT = 12;
/// Read: the number of received bytes that wait in the port.
const int PORT_PARAM_INPUT_PENDING = 13;

/// An open line to a controller, with the settings of its link.
///
/// The host implements, owns and configures the port. A driver borrows it for
/// the length of one call; during that call nobody else may use the port, and
/// the calling thread blocks in it. The order of the operations is the
/// contract between host and plugin: the first eight are all that drivers
/// call, and a host's class may add further ones behind them.
class Q_DECL_EXPORT AbstractDeviceInterface
{
public:
    /// Stores at most @p maxBytes received bytes at @p buffer and returns how
    /// many. Returns once that many have come or the time allowed for an
    /// answer has run out; 0 or less means that nothing came.
    virtual int receiveData(unsigned char* buffer, int maxBytes) = 0;
    /// Writes @p length bytes to the line.
    virtual void sendData(const unsigned char* data, int length) = 0;
    /// Fills @p value with the current value of the parameter @p id.
    virtual void getParameter(int id, QVariant& value) = 0;
    /// Sets the parameter @p id.
    virtual void setParameter(int id, const QVariant& value) = 0;
    /// Further attempts after a failed one; asked again after every failure.
    virtual int retryCount() = 0;
    /// Station number of the controller.
    virtual int destinationAddress() = 0;
    /// Station number of the panel itself.
    virtual int sourceAddress() = 0;
    /// Pause before every attempt, the first included, in milliseconds.
    virtual unsigned int delayTime() = 0;

    virtual ~AbstractDeviceInterface() {}
};
