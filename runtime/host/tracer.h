// A port around a port that tells what goes over it.
#pragma once

#include <functional>

#include "drivers/abstractdeviceinterface.h"
#include "host/traffic.h"

namespace host {

/// Hands every call of a driver on to another port and tells an observer, in the same
/// thread and before the call returns, what was sent, received and thrown away.
///
/// Of its own it adds one thing: what a clearing of the input would lose, it receives
/// first, so that it is seen. The port must hand out at once what it says is pending.
class Tracer : public AbstractDeviceInterface
{
public:
    using Observer = std::function<void(const LineEvent& event)>;

    /// Borrows @p port.
    Tracer(AbstractDeviceInterface& port, Observer observer);

    int receiveData(unsigned char* buffer, int maxBytes) override;
    void sendData(const unsigned char* data, int length) override;
    void getParameter(int id, QVariant& value) override { m_port.getParameter(id, value); }
    void setParameter(int id, const QVariant& value) override;
    int retryCount() override { return m_port.retryCount(); }
    int destinationAddress() override { return m_port.destinationAddress(); }
    int sourceAddress() override { return m_port.sourceAddress(); }
    unsigned int delayTime() override { return m_port.delayTime(); }

private:
    void tell(LineEvent::Kind kind, const QByteArray& bytes = QByteArray());
    QByteArray pendingBytes();

    AbstractDeviceInterface& m_port;
    const Observer m_observer;
};

/// A tracer that makes frames and link answers of what it hears.
class TracedPort : public Tracer
{
public:
    /// Borrows @p port.
    TracedPort(AbstractDeviceInterface& port, TrafficReader::Taker taker);
    /// Hands out what is held back.
    ~TracedPort() override;

    /// Takes what a driver has left unread in the port and hands out what is held back.
    void seeTheRest();

private:
    TrafficReader m_reader;
};

}
