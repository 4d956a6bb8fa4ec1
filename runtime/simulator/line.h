// Where a served controller can be reached: a pseudo-terminal, a TCP port in the
// place of a serial device server, or a real serial port. POSIX descriptors, opened
// and closed by their owner's thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <variant>

namespace simulator {

/// A new pseudo-terminal, and a symbolic link to it unless its path is empty. A link
/// that a former simulator has left behind is replaced.
struct PtyPlace
{
    QString link;
};

/// A listening TCP port; 0: any that is free. The host is a name, an IPv4 or an IPv6
/// address. One client at a time; the next one waits until that one has gone.
struct TcpPlace
{
    QString host = "127.0.0.1";
    quint16 port = 0;
};

/// A serial device, without flow control and locked against other programs; it gets
/// its settings back afterwards.
struct SerialPlace
{
    QString device;
    int baudRate = 19200; ///< one that the system knows
    char parity = 'N';    ///< N, E or O
    int dataBits = 8;     ///< 7 or 8
    int stopBits = 1;     ///< 1 or 2
};

using Place = std::variant<PtyPlace, TcpPlace, SerialPlace>;

/// An open place. What it holds is closed and removed with it.
class Line
{
public:
    virtual ~Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    /// What clients open: /dev/pts/3, tcp://127.0.0.1:4001, /dev/ttyUSB0.
    const QString& name() const { return m_name; }
    /// The bytes' descriptor, not blocking; -1 while there is no client.
    virtual int stream() const = 0;
    /// Readable when a client waits; -1 when none can come.
    virtual int listener() const { return -1; }
    /// Takes the client that waits, if it still does.
    virtual void accept() {}
    /// Closes the client's connection and says true; false where there is none that
    /// could be closed, and the line is over when it breaks.
    virtual bool hangUp() { return false; }

protected:
    Line() = default;
    QString m_name;
};

/// Null, with the reason in @p error, which is not null, when it can't be opened.
std::unique_ptr<Line> openLine(const Place& place, QString* error);

/// "ACTION: what the system says"; by errno when @p code is left out.
QString systemFailure(const QString& action);
QString systemFailure(const QString& action, int code);

}
