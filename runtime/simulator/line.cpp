#include "simulator/line.h"

#include <QFile>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

namespace simulator {

QString systemFailure(const QString& action, int code)
{
    return QString("%1: %2").arg(action, QString::fromLocal8Bit(std::strerror(code)));
}

QString systemFailure(const QString& action)
{
    return systemFailure(action, errno);
}

namespace {

class Descriptor
{
public:
    explicit Descriptor(int number = -1)
        : m_number(number)
    {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return m_number; }
    void reset(int number = -1)
    {
        if (m_number >= 0)
            ::close(m_number);
        m_number = number;
    }

private:
    int m_number;
};

bool failed(QString* error, const QString& action)
{
    *error = systemFailure(action);
    return false;
}

class PtyLine : public Line
{
public:
    ~PtyLine() override
    {
        // Somebody may have put another thing in its place.
        if (!m_link.isEmpty() && QFile::symLinkTarget(m_link) == name())
            ::unlink(QFile::encodeName(m_link).constData());
    }

    bool open(const PtyPlace& place, QString* error)
    {
        m_master.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
        if (m_master.number() < 0)
            return failed(error, "opening a pseudo-terminal");
        if (::grantpt(m_master.number()) != 0 || ::unlockpt(m_master.number()) != 0)
            return failed(error, "preparing the pseudo-terminal for clients");
        std::array<char, 128> path;
        const int unnamed = ::ptsname_r(m_master.number(), path.data(), path.size());
        if (unnamed != 0) {
            *error = systemFailure("asking for the pseudo-terminal's name", unnamed);
            return false;
        }
        m_name = QString::fromLocal8Bit(path.data());
        m_slave.reset(::open(path.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        if (m_slave.number() < 0)
            return failed(error, QString("opening %1").arg(m_name));
        termios line;
        if (::tcgetattr(m_slave.number(), &line) != 0)
            return failed(error, QString("reading the settings of %1").arg(m_name));
        ::cfmakeraw(&line);
        if (::tcsetattr(m_slave.number(), TCSANOW, &line) != 0)
            return failed(error, QString("setting %1 to raw mode").arg(m_name));
        return place.link.isEmpty() || makeLink(place.link, error);
    }

    int stream() const override { return m_master.number(); }

private:
    bool makeLink(const QString& path, QString* error)
    {
        const QByteArray file = QFile::encodeName(path);
        if (QFile::symLinkTarget(path).startsWith("/dev/pts/"))
            ::unlink(file.constData());
        if (::symlink(QFile::encodeName(m_name).constData(), file.constData()) != 0)
            return failed(error, QString("making the link %1").arg(path));
        m_link = path;
        return true;
    }

    Descriptor m_master;
    Descriptor m_slave; // kept open: without any client the master would report hang-ups
    QString m_link;
};

class TcpLine : public Line
{
public:
    bool open(const TcpPlace& place, QString* error)
    {
        const QString where = QString("listening on %1:%2").arg(place.host).arg(place.port);
        addrinfo wanted = {};
        wanted.ai_socktype = SOCK_STREAM;
        wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
        addrinfo* found = nullptr;
        const int unknown =
            ::getaddrinfo(place.host.toUtf8().constData(),
                          QByteArray::number(place.port).constData(), &wanted, &found);
        if (unknown != 0) {
            *error = QString("%1: %2").arg(where, QString::fromLocal8Bit(gai_strerror(unknown)));
            return false;
        }
        const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(found, ::freeaddrinfo);
        m_listener.reset(::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const int on = 1;
        if (m_listener.number() < 0
            || ::setsockopt(m_listener.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0
            || ::bind(m_listener.number(), found->ai_addr, found->ai_addrlen) != 0
            || ::listen(m_listener.number(), 8) != 0)
            return failed(error, where);
        const QString host = place.host.contains(':') ? '[' + place.host + ']' : place.host;
        m_name = QString("tcp://%1:%2").arg(host).arg(boundPort());
        return true;
    }

    int stream() const override { return m_client.number(); }
    int listener() const override { return m_listener.number(); }

    void accept() override
    {
        m_client.reset(
            ::accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        const int on = 1;
        if (m_client.number() >= 0)
            ::setsockopt(m_client.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }

    bool hangUp() override
    {
        m_client.reset();
        return true;
    }

private:
    quint16 boundPort() const
    {
        sockaddr_storage bound = {};
        socklen_t size = sizeof bound;
        ::getsockname(m_listener.number(), reinterpret_cast<sockaddr*>(&bound), &size);
        // The port stands at the same place in both kinds of address.
        sockaddr_in address = {};
        std::memcpy(&address, &bound, sizeof address);
        return ntohs(address.sin_port);
    }

    Descriptor m_listener;
    Descriptor m_client;
};

std::optional<speed_t> speedOf(int baudRate)
{
    static const std::pair<int, speed_t> speeds[] = {
        {300, B300},   {600, B600},     {1200, B1200},   {2400, B2400},   {4800, B4800},
        {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
    };
    for (const auto& [known, speed] : speeds) {
        if (known == baudRate)
            return speed;
    }
    return std::nullopt;
}

class SerialLine : public Line
{
public:
    ~SerialLine() override
    {
        if (m_port.number() < 0 || !m_former)
            return;
        ::tcflush(m_port.number(), TCOFLUSH); // or restoring waits for a stuck line
        ::tcsetattr(m_port.number(), TCSANOW, &*m_former);
        ::ioctl(m_port.number(), TIOCNXCL);
    }

    bool open(const SerialPlace& place, QString* error)
    {
        const auto speed = speedOf(place.baudRate);
        if (!speed) {
            *error = QString("%1 bit/s is no speed that a serial port can be set to here; use 300 "
                             "to 115200, such as 19200")
                         .arg(place.baudRate);
            return false;
        }
        m_name = place.device;
        const QString opening = QString("opening %1").arg(m_name);
        m_port.reset(::open(QFile::encodeName(m_name).constData(),
                            O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
        termios line;
        if (m_port.number() < 0 || ::tcgetattr(m_port.number(), &line) != 0)
            return failed(error, opening);
        if (::ioctl(m_port.number(), TIOCEXCL) != 0)
            return failed(error, opening);
        m_former = line;
        ::cfmakeraw(&line);
        line.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
        line.c_cflag |= CLOCAL | CREAD | (place.dataBits == 7 ? CS7 : CS8);
        line.c_cflag |= place.parity == 'N' ? 0 : PARENB;
        line.c_cflag |= place.parity == 'O' ? PARODD : 0;
        line.c_cflag |= place.stopBits == 2 ? CSTOPB : 0;
        ::cfsetspeed(&line, *speed);
        return ::tcsetattr(m_port.number(), TCSANOW, &line) == 0
               || failed(error, QString("setting %1").arg(m_name));
    }

    int stream() const override { return m_port.number(); }

private:
    Descriptor m_port;
    std::optional<termios> m_former;
};

template <typename OpenLine, typename AnyPlace>
std::unique_ptr<Line> opened(const AnyPlace& place, QString* error)
{
    auto line = std::make_unique<OpenLine>();
    if (!line->open(place, error))
        return nullptr;
    return line;
}

}

std::unique_ptr<Line> openLine(const Place& place, QString* error)
{
    if (const auto* pty = std::get_if<PtyPlace>(&place))
        return opened<PtyLine>(*pty, error);
    if (const auto* tcp = std::get_if<TcpPlace>(&place))
        return opened<TcpLine>(*tcp, error);
    return opened<SerialLine>(std::get<SerialPlace>(place), error);
}

}
