// Carries bytes between a line and a station. Internal to the server.
#pragma once

#include "simulator/exchange.h"
#include "simulator/faults.h"
#include "simulator/line.h"
#include "simulator/station.h"

#include <ctime>
#include <deque>
#include <functional>
#include <optional>

namespace simulator {

/// Holds back bytes so that they pass no faster than on a line.
class Throttle
{
public:
    /// 0: as fast as they come. A byte takes ten bits.
    explicit Throttle(int bitsPerSecond);

    /// The first byte since rest() begins at @p time, in microseconds like all times here.
    /// Without rest() the bytes go on as they do.
    void begin(qint64 time);
    /// How many bytes may pass at @p now, after a call to begin().
    int allowed(qint64 now) const;
    void pass(qint64 bytes) { m_passed += bytes; }
    /// Nothing waits any more.
    void rest() { m_isActive = false; }
    /// When the byte after those that have passed will be through; not at pace 0.
    qint64 next() const { return through(m_passed + 1); }
    /// When, by the pace, the last byte that has passed was through; at pace 0 @p now.
    qint64 last(qint64 now) const { return m_bitsPerSecond == 0 ? now : through(m_passed); }

private:
    qint64 through(qint64 bytes) const;

    int m_bitsPerSecond;
    bool m_isActive = false;
    qint64 m_since = 0;
    qint64 m_passed = 0;
};

/// The loop of one server's thread.
class Session
{
public:
    struct Settings
    {
        StationSettings station;
        FaultScript faults;
        quint32 seed;
        int pace;
    };

    /// What the loop needs of its server, called in the loop's thread.
    struct Callbacks
    {
        std::function<QByteArray(const QByteArray& request, const LinkCounters& counters)> execute;
        std::function<void(const SideEffects& effects)> affect;
        std::function<void(const Exchange& exchange)> log; ///< may be empty
    };

    /// @p wake: a descriptor that becomes readable to end the loop.
    Session(Line& line, int wake, const Settings& settings, Callbacks callbacks);

    /// Serves until it is woken, or the line breaks: then says why.
    QString run();

private:
    bool step();
    std::optional<timespec> patience() const;
    void receive();
    void send();
    void process(const QByteArray& output);
    void moveDue();
    void breakOff(const QString& reason);
    void logFinished();

    Line& m_line;
    int m_wake;
    Callbacks m_callbacks;
    Station m_station;
    Faults m_faults;
    Throttle m_input;
    Throttle m_output;
    // When the bytes taken in this step came, by the pace: that the system's timers woke
    // the loop later is no delay of the line, so their answer begins then.
    std::optional<qint64> m_heardAt;
    std::optional<qint64> m_inputAt;  // microseconds; until then nothing is taken
    std::optional<qint64> m_outputAt; // likewise: nothing is sent
    std::deque<TimedBytes> m_waiting; // by their time
    QByteArray m_toSend;
    bool m_hangUp = false; // once all is sent
    qint64 m_firstByteAt = 0;
    std::vector<Exchange> m_unlogged;
    QString m_error;
};

}
