#include "drivers/micrologix/micrologix.h"

bool DriverABMicroLogix::write(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                               const QByteArray& data)
{
    Q_UNUSED(port)
    Q_UNUSED(data)
    // Writes are not carried yet; nothing is sent and the request is refused.
    setCommError(QLatin1String("invalid address:") + command.address);
    return false;
}
