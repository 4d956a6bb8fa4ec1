#include "simulator/server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace simulator {

namespace {

QString failure(const QString& action, int code = errno)
{
    return QString("%1: %2").arg(action, QString::fromLocal8Bit(std::strerror(code)));
}

qint64 monotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool makeRaw(int descriptor)
{
    termios line;
    if (::tcgetattr(descriptor, &line) != 0)
        return false;
    ::cfmakeraw(&line);
    return ::tcsetattr(descriptor, TCSANOW, &line) == 0;
}

bool mayTryAgain(int code)
{
    return code == EINTR || code == EAGAIN || code == EWOULDBLOCK;
}

// Carries bytes between a descriptor and a station until the wake-up descriptor
// is readable.
class Session
{
public:
    Session(int line, int wake, Station& station)
        : m_line(line)
        , m_wake(wake)
        , m_station(station)
    {}

    void run()
    {
        while (step()) {
        }
        if (!m_error.isEmpty())
            qWarning("simulator: no longer serving: %s", qPrintable(m_error));
    }

private:
    // While a client does not read, nothing more is taken from it either, so that
    // what waits here stays small.
    bool step()
    {
        const short wanted = m_toSend.isEmpty() ? POLLIN : POLLOUT;
        std::array<pollfd, 2> polled = {{{m_line, wanted, 0}, {m_wake, POLLIN, 0}}};
        if (::poll(polled.data(), polled.size(), millisecondsLeft()) < 0 && errno != EINTR)
            return fail("waiting for the line");
        if (polled[1].revents != 0)
            return false;
        m_toSend += m_station.elapse(monotonicMs());
        if ((polled[0].revents & (POLLIN | POLLERR | POLLHUP | POLLNVAL)) != 0 && !receive())
            return false;
        return m_toSend.isEmpty() || send();
    }

    int millisecondsLeft() const
    {
        const auto deadline = m_station.deadline();
        if (!deadline)
            return -1;
        return static_cast<int>(std::clamp<qint64>(*deadline - monotonicMs(), 0, INT_MAX));
    }

    bool receive()
    {
        std::array<char, 512> buffer;
        const ssize_t count = ::read(m_line, buffer.data(), buffer.size());
        if (count < 0)
            return mayTryAgain(errno) || fail("reading from the line");
        m_toSend +=
            m_station.receive(QByteArray(buffer.data(), static_cast<int>(count)), monotonicMs());
        return true;
    }

    bool send()
    {
        const ssize_t count =
            ::write(m_line, m_toSend.constData(), static_cast<size_t>(m_toSend.size()));
        if (count < 0)
            return mayTryAgain(errno) || fail("writing to the line");
        m_toSend.remove(0, static_cast<int>(count));
        return true;
    }

    bool fail(const char* action)
    {
        m_error = failure(action);
        return false;
    }

    int m_line;
    int m_wake;
    Station& m_station;
    QByteArray m_toSend;
    QString m_error;
};

}

PtyServer::PtyServer(Controller controller, const StationSettings& settings)
    : m_controller(std::move(controller))
    , m_settings(settings)
{}

PtyServer::~PtyServer()
{
    stop();
}

bool PtyServer::start(QString* error)
{
    if (m_thread.joinable()) {
        *error = QString("already serving on %1; stop it first").arg(m_portName);
        return false;
    }
    if (!openPort(error)) {
        closePort();
        return false;
    }
    try {
        m_thread = std::thread([this] {
            Station station(m_settings, [this, &station](const QByteArray& request) {
                return execute(request, station.counters());
            });
            Session(m_master, m_wake, station).run();
        });
    } catch (const std::system_error& refused) {
        *error = failure("starting the server's thread", refused.code().value());
        closePort();
        return false;
    }
    return true;
}

DataTables PtyServer::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    return m_controller.tables();
}

void PtyServer::change(const std::function<void(DataTables&)>& apply)
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    apply(m_controller.tables());
}

QByteArray PtyServer::execute(const QByteArray& request, const LinkCounters& counters)
{
    const std::lock_guard<std::mutex> lock(m_controllerMutex);
    m_controller.setLinkCounters(counters);
    return m_controller.execute(request);
}

bool PtyServer::openPort(QString* error)
{
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (m_master < 0) {
        *error = failure("opening a pseudo-terminal");
        return false;
    }
    std::array<char, 128> name;
    if (::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0) {
        *error = failure("preparing the pseudo-terminal for clients");
        return false;
    }
    const int unnamed = ::ptsname_r(m_master, name.data(), name.size());
    if (unnamed != 0) {
        *error = failure("asking for the pseudo-terminal's name", unnamed);
        return false;
    }
    const QString portName = QString::fromLocal8Bit(name.data());
    m_slave = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0) {
        *error = failure(QString("opening %1").arg(portName));
        return false;
    }
    if (!makeRaw(m_slave)) {
        *error = failure(QString("setting %1 to raw mode").arg(portName));
        return false;
    }
    m_wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wake < 0) {
        *error = failure("making the server's wake-up descriptor");
        return false;
    }
    m_portName = portName;
    return true;
}

void PtyServer::closePort()
{
    for (int* descriptor : {&m_wake, &m_slave, &m_master}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
    m_portName.clear();
}

void PtyServer::stop()
{
    if (!m_thread.joinable())
        return;
    ::eventfd_write(m_wake, 1);
    m_thread.join();
    closePort();
}

}
