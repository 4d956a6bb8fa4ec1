// An open link with the far end of its line in the test's hand.
#pragma once

#include <QByteArray>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "host/link.h"
#include "support/ptypair.h"

namespace support {

enum class WireKind
{
    PseudoTerminal,
    Tcp
};

/// A TCP socket that listens on 127.0.0.1, without Qt, so that any thread may
/// use what it accepts.
class TcpListener
{
public:
    explicit TcpListener(int backlog = 8);
    ~TcpListener();
    TcpListener(const TcpListener&) = delete;
    TcpListener& operator=(const TcpListener&) = delete;

    quint16 port() const { return m_port; }
    QString linkText() const { return QStringLiteral("tcp://127.0.0.1:%1").arg(m_port); }
    /// The next connection's descriptor, which the caller closes.
    int accept() const;

private:
    int m_socket;
    quint16 m_port = 0;
};

/// A link over a real pseudo-terminal or TCP connection.
class Wire
{
public:
    Wire(WireKind kind, const host::PortSettings& settings);
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    bool isValid() const { return m_link != nullptr; }
    host::Link& link() { return *m_link; }
    void deleteLink() { m_link.reset(); }
    host::DevicePort& port() { return m_link->port(); }
    /// The far end's descriptor, blocking.
    int peer() const;
    /// The far end writes.
    void peerWrites(const QByteArray& bytes) const;
    /// The far end reads until it has @p count bytes or nothing comes for a while.
    QByteArray peerReads(qint64 count) const;
    /// The far end goes away.
    void peerCloses();
    /// Waits until the operating system holds @p count bytes for the near end.
    bool arrives(int count) const;

private:
    PtyPair m_pty;
    TcpListener m_listener;
    WireKind m_kind;
    std::unique_ptr<host::Link> m_link;
    int m_connection = -1;
};

/// Runs a far end's part in a thread of its own until it is through.
class PeerThread
{
public:
    explicit PeerThread(std::function<void()> part)
        : m_thread(std::move(part))
    {}
    ~PeerThread() { m_thread.join(); }

private:
    std::thread m_thread;
};

void sleepMs(int milliseconds);

/// What the port receives; "wrong count" when it tells or stores too much.
QByteArray receive(host::DevicePort& port, int maxBytes);
void send(host::DevicePort& port, const QByteArray& bytes);
int pending(host::DevicePort& port);
void clearInput(host::DevicePort& port);

}
