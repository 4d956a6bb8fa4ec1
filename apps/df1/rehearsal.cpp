#include "rehearsal.h"

#include <cstring>

#include "drivers/df1/framing.h"

namespace {

const int CONTROL_PAIR = 2;
const int CHECK = 2;
const int HEADER = 6;

QByteArray pairOf(const unsigned char* pair)
{
    return QByteArray(reinterpret_cast<const char*>(pair), CONTROL_PAIR);
}

/// DLE ACK and a reply that says done, without data.
QByteArray confirmationOf(const QByteArray& frame)
{
    QByteArray message =
        frame.mid(CONTROL_PAIR, frame.size() - CONTROL_PAIR - CONTROL_PAIR - CHECK);
    DF1FoldDLE(message, 0, static_cast<int>(message.size()));
    QByteArray reply = message.left(HEADER);
    std::swap(reply.data()[0], reply.data()[1]);
    reply[2] = static_cast<char>(reply.at(2) | 0x40);
    DF1ToDataLinkLayerPacket(reply);
    return pairOf(DF1_DLE_ACK) + reply;
}

}

Rehearsal::Rehearsal(const host::PortSettings& settings)
    : m_destination(settings.destination)
    , m_source(settings.source)
{}

int Rehearsal::receiveData(unsigned char* buffer, int maxBytes)
{
    const QByteArray taken = m_input.left(maxBytes);
    m_input.remove(0, taken.size());
    std::memcpy(buffer, taken.constData(), static_cast<size_t>(taken.size()));
    return static_cast<int>(taken.size());
}

void Rehearsal::sendData(const unsigned char* data, int length)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), length);
    if (!bytes.startsWith(pairOf(DF1_DLE_STX)))
        return;
    m_frames.push_back(bytes);
    m_input = confirmationOf(bytes);
}

void Rehearsal::getParameter(int id, QVariant& value)
{
    if (id == PORT_PARAM_INPUT_PENDING)
        value = static_cast<int>(m_input.size());
}

void Rehearsal::setParameter(int id, const QVariant&)
{
    if (id == PORT_PARAM_CLEAR_INPUT)
        m_input.clear();
}
