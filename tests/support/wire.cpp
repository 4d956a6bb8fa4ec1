#include "support/wire.h"

#include <QElapsedTimer>
#include <QSerialPort>
#include <QTcpSocket>

#include <chrono>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

TcpListener::TcpListener(int backlog)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(m_socket, generic, size) == 0 && ::listen(m_socket, backlog) == 0
        && ::getsockname(m_socket, generic, &size) == 0)
        m_port = ntohs(address.sin_port);
}

TcpListener::~TcpListener()
{
    ::close(m_socket);
}

int TcpListener::accept() const
{
    return ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC);
}

Wire::Wire(WireKind kind, const host::PortSettings& settings)
    : m_kind(kind)
{
    const bool overPty = kind == WireKind::PseudoTerminal;
    m_link = host::Link::open(overPty ? m_pty.slavePath() : m_listener.linkText(),
                              host::LineSettings(), settings);
    if (m_link != nullptr && !overPty)
        m_connection = m_listener.accept();
}

Wire::~Wire()
{
    m_link.reset(); // ahead of the far end: closing is no loss of the line
    peerCloses();
}

int Wire::peer() const
{
    return m_kind == WireKind::PseudoTerminal ? m_pty.master() : m_connection;
}

void Wire::peerWrites(const QByteArray& bytes) const
{
    const auto written = ::write(peer(), bytes.constData(), static_cast<size_t>(bytes.size()));
    Q_ASSERT(written == bytes.size());
    Q_UNUSED(written)
}

QByteArray Wire::peerReads(qint64 count) const
{
    QByteArray received;
    char chunk[65536];
    pollfd ready = {peer(), POLLIN, 0};
    while (received.size() < count && ::poll(&ready, 1, 1000) > 0) {
        const auto n = ::read(peer(), chunk, sizeof chunk);
        if (n <= 0)
            break;
        received.append(chunk, static_cast<int>(n));
    }
    return received;
}

void Wire::peerCloses()
{
    m_pty.closeMaster();
    if (m_connection >= 0)
        ::close(m_connection);
    m_connection = -1;
}

bool Wire::arrives(int count) const
{
    const auto* const socket = qobject_cast<QTcpSocket*>(&m_link->device());
    const int descriptor =
        socket != nullptr ? static_cast<int>(socket->socketDescriptor()) : m_pty.slave();
    QElapsedTimer clock;
    clock.start();
    int held = 0;
    while (::ioctl(descriptor, FIONREAD, &held) == 0 && held < count && clock.elapsed() < 5000)
        sleepMs(1);
    return held == count;
}

void sleepMs(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

QByteArray receive(host::DevicePort& port, int maxBytes)
{
    QByteArray buffer(maxBytes + 1, '#'); // one more, to see what writes past the end
    const int n = port.receiveData(reinterpret_cast<unsigned char*>(buffer.data()), maxBytes);
    if (n < 0 || n > maxBytes || buffer.at(n) != '#')
        return "wrong count";
    return buffer.left(n);
}

void send(host::DevicePort& port, const QByteArray& bytes)
{
    port.sendData(reinterpret_cast<const unsigned char*>(bytes.constData()),
                  static_cast<int>(bytes.size()));
}

int pending(host::DevicePort& port)
{
    QVariant value;
    port.getParameter(PORT_PARAM_INPUT_PENDING, value);
    return value.toInt();
}

void clearInput(host::DevicePort& port)
{
    port.setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
}

}
