#include "simulator/session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace simulator {

namespace {

constexpr qint64 microsecondsPerSecond = 1000000;
constexpr int bitsPerByte = 10;

qint64 monotonicUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

qint64 monotonicMs()
{
    return monotonicUs() / 1000;
}

bool isEmpty(int stream)
{
    int waiting = 0;
    return ::ioctl(stream, FIONREAD, &waiting) != 0 || waiting == 0;
}

bool mayTryAgain(int code)
{
    return code == EINTR || code == EAGAIN || code == EWOULDBLOCK;
}

}

Throttle::Throttle(int bitsPerSecond)
    : m_bitsPerSecond(bitsPerSecond)
{}

void Throttle::begin(qint64 time)
{
    if (m_isActive)
        return;
    m_isActive = true;
    m_since = time;
    m_passed = 0;
}

int Throttle::allowed(qint64 now) const
{
    if (m_bitsPerSecond == 0)
        return INT_MAX;
    const qint64 through = (now - m_since) * m_bitsPerSecond / bitsPerByte / microsecondsPerSecond;
    return static_cast<int>(std::min<qint64>(through - m_passed, INT_MAX));
}

qint64 Throttle::through(qint64 bytes) const
{
    const qint64 bits = bytes * bitsPerByte;
    return m_since + (bits * microsecondsPerSecond + m_bitsPerSecond - 1) / m_bitsPerSecond;
}

Session::Session(Line& line, int wake, const Settings& settings, Callbacks callbacks)
    : m_line(line)
    , m_wake(wake)
    , m_callbacks(std::move(callbacks))
    , m_station(settings.station,
                [this](const QByteArray& request) {
                    QByteArray reply = m_callbacks.execute(request, m_station.counters());
                    m_unlogged.push_back({request, reply, 0});
                    return reply;
                })
    , m_faults(settings.faults, settings.seed, settings.station.check)
    , m_input(settings.pace)
    , m_output(settings.pace)
{}

QString Session::run()
{
    while (step()) {
    }
    return m_error;
}

// While a client does not read, nothing more is taken from it either, so that what
// waits here stays small.
bool Session::step()
{
    short wanted = 0;
    if (m_toSend.isEmpty() && !m_inputAt)
        wanted = POLLIN;
    if (!m_toSend.isEmpty() && !m_outputAt)
        wanted = POLLOUT;
    const bool isConnected = m_line.stream() >= 0;
    std::array<pollfd, 3> polled = {{{m_line.stream(), wanted, 0},
                                     {m_wake, POLLIN, 0},
                                     {isConnected ? -1 : m_line.listener(), POLLIN, 0}}};
    const std::optional<timespec> patience = this->patience();
    if (::ppoll(polled.data(), polled.size(), patience ? &*patience : nullptr, nullptr) < 0
        && errno != EINTR) {
        m_error = systemFailure("waiting for the line");
        return false;
    }
    if (polled[1].revents != 0)
        return false;
    if (polled[2].revents != 0)
        m_line.accept();

    m_heardAt.reset();
    const qint64 now = monotonicUs();
    for (auto* gate : {&m_inputAt, &m_outputAt}) {
        if (*gate && **gate <= now)
            gate->reset();
    }
    process(m_station.elapse(monotonicMs()));
    if ((polled[0].revents & (POLLIN | POLLERR | POLLHUP | POLLNVAL)) != 0)
        receive();
    moveDue();
    if (!m_toSend.isEmpty() && !m_outputAt)
        send();
    if (m_toSend.isEmpty() && m_waiting.empty())
        logFinished();
    if (m_hangUp && m_toSend.isEmpty()) {
        m_hangUp = false;
        m_line.hangUp();
    }
    return m_error.isEmpty();
}

/// How long there is nothing to do but for what comes in; nothing: for ever. A line's
/// pace asks for less than milliseconds.
std::optional<timespec> Session::patience() const
{
    std::optional<qint64> until;
    const auto atMost = [&until](std::optional<qint64> time) {
        if (time && (!until || *time < *until))
            until = time;
    };
    if (const auto deadline = m_station.deadline())
        atMost(*deadline * 1000);
    if (!m_waiting.empty())
        atMost(m_waiting.front().at * 1000);
    atMost(m_inputAt);
    atMost(m_outputAt);
    if (!until)
        return std::nullopt;
    const qint64 microseconds = std::max<qint64>(*until - monotonicUs(), 0);
    return timespec{static_cast<time_t>(microseconds / microsecondsPerSecond),
                    static_cast<long>(microseconds % microsecondsPerSecond * 1000)};
}

void Session::receive()
{
    std::array<char, 512> buffer;
    const qint64 now = monotonicUs();
    m_input.begin(now);
    const int allowed = m_input.allowed(now);
    if (allowed <= 0) {
        m_inputAt = m_input.next();
        return;
    }
    const size_t wanted = std::min<size_t>(static_cast<size_t>(allowed), buffer.size());
    const ssize_t count = ::read(m_line.stream(), buffer.data(), wanted);
    if (count < 0 && mayTryAgain(errno)) {
        m_input.rest();
        return;
    }
    if (count <= 0) {
        breakOff(count < 0 ? systemFailure("reading") : QString("the other end has gone"));
        return;
    }
    m_input.pass(count);
    m_heardAt = m_input.last(now);
    if (isEmpty(m_line.stream()))
        m_input.rest();
    if (m_station.isBetweenSymbols())
        m_firstByteAt = monotonicUs();
    process(m_station.receive(QByteArray(buffer.data(), static_cast<int>(count)), monotonicMs()));
}

void Session::send()
{
    if (m_line.stream() < 0) { // nobody there: as on a line without a plug
        m_toSend.clear();
        return;
    }
    const qint64 now = monotonicUs();
    m_output.begin(m_heardAt.value_or(now));
    const int allowed = m_output.allowed(now);
    if (allowed <= 0) {
        m_outputAt = m_output.next();
        return;
    }
    const auto size = static_cast<size_t>(std::min<qint64>(allowed, m_toSend.size()));
    // A client that has gone must not end the program by a signal.
    ssize_t count = ::send(m_line.stream(), m_toSend.constData(), size, MSG_NOSIGNAL);
    if (count < 0 && errno == ENOTSOCK)
        count = ::write(m_line.stream(), m_toSend.constData(), size);
    if (count < 0) {
        if (!mayTryAgain(errno))
            breakOff(systemFailure("writing"));
        return;
    }
    m_output.pass(count);
    m_toSend.remove(0, static_cast<int>(count));
    if (m_toSend.isEmpty())
        m_output.rest();
}

void Session::process(const QByteArray& output)
{
    QByteArray sent = output;
    while (!sent.isEmpty()) {
        const qint64 now = monotonicMs();
        Faults::Passed passed = m_faults.pass(sent, now);
        sent.clear();
        m_callbacks.affect(passed.effects);
        if (!m_unlogged.empty())
            m_unlogged.back().faults << passed.names;
        m_hangUp = m_hangUp || passed.effects.hangUp;
        for (TimedBytes& piece : passed.line) {
            const auto later = std::upper_bound(
                m_waiting.begin(), m_waiting.end(), piece,
                [](const TimedBytes& a, const TimedBytes& b) { return a.at < b.at; });
            m_waiting.insert(later, std::move(piece));
        }
        for (int i = 0; i < passed.effects.forgottenReplies; ++i)
            sent += m_station.receive(controlPair(symbol::ACK), now);
    }
}

void Session::moveDue()
{
    const qint64 now = monotonicMs();
    while (!m_waiting.empty() && m_waiting.front().at <= now) {
        m_toSend += m_waiting.front().bytes;
        m_waiting.pop_front();
    }
}

void Session::breakOff(const QString& reason)
{
    m_toSend.clear();
    m_waiting.clear();
    m_output.rest();
    m_outputAt.reset();
    m_input.rest();
    m_inputAt.reset();
    if (!m_line.hangUp())
        m_error = QString("%1: %2").arg(m_line.name(), reason);
}

void Session::logFinished()
{
    for (Exchange& exchange : m_unlogged) {
        exchange.milliseconds = static_cast<double>(monotonicUs() - m_firstByteAt) / 1000;
        if (m_callbacks.log)
            m_callbacks.log(exchange);
    }
    m_unlogged.clear();
}

}
