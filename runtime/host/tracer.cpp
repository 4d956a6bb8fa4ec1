#include "host/tracer.h"

#include <algorithm>
#include <utility>

namespace host {

namespace {

const int MOST_PENDING = 64 * 1024;

TimePoint now()
{
    return std::chrono::time_point_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now());
}

}

Tracer::Tracer(AbstractDeviceInterface& port, Observer observer)
    : m_port(port)
    , m_observer(std::move(observer))
{}

int Tracer::receiveData(unsigned char* buffer, int maxBytes)
{
    const int told = m_port.receiveData(buffer, maxBytes);
    if (buffer == nullptr || maxBytes <= 0)
        return told;
    const int count = std::clamp(told, 0, maxBytes);
    if (count > 0)
        tell(LineEvent::Kind::Received, QByteArray(reinterpret_cast<const char*>(buffer), count));
    if (count < maxBytes)
        tell(LineEvent::Kind::Silence);
    return told;
}

void Tracer::sendData(const unsigned char* data, int length)
{
    if (data != nullptr && length > 0)
        tell(LineEvent::Kind::Sent, QByteArray(reinterpret_cast<const char*>(data), length));
    m_port.sendData(data, length);
}

void Tracer::setParameter(int id, const QVariant& value)
{
    if (id == PORT_PARAM_CLEAR_INPUT)
        tell(LineEvent::Kind::Discarded, pendingBytes());
    m_port.setParameter(id, value);
}

void Tracer::tell(LineEvent::Kind kind, const QByteArray& bytes)
{
    m_observer({kind, now(), bytes});
}

QByteArray Tracer::pendingBytes()
{
    QVariant pending;
    m_port.getParameter(PORT_PARAM_INPUT_PENDING, pending);
    const int count = std::clamp(pending.toInt(), 0, MOST_PENDING);
    if (count == 0)
        return QByteArray();
    QByteArray bytes(count, '\0');
    const int told = m_port.receiveData(reinterpret_cast<unsigned char*>(bytes.data()), count);
    bytes.truncate(std::clamp(told, 0, count));
    return bytes;
}

TracedPort::TracedPort(AbstractDeviceInterface& port, TrafficReader::Taker taker)
    : Tracer(port, [this](const LineEvent& event) { m_reader.take(event); })
    , m_reader(std::move(taker))
{}

TracedPort::~TracedPort()
{
    m_reader.finish();
}

void TracedPort::seeTheRest()
{
    setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
    m_reader.finish();
}

}
