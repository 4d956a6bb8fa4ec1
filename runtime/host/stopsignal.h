// Tells threads to end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace host {

/// Set once by anybody, seen by all who wait for it. For any thread, but not for
/// signal handlers.
class StopSignal
{
public:
    using Time = std::chrono::steady_clock::time_point;

    void stop()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_isStopped = true;
        m_changed.notify_all();
    }
    bool isStopped() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_isStopped;
    }
    /// Waits until @p time or the stop, whichever is first; whether it was the stop.
    bool waitUntil(Time time)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, time, [this] { return m_isStopped; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_isStopped = false;
};

}
