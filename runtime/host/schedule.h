// When things are due that happen again and again. The time is handed in, in
// milliseconds from any origin, never falling.
#pragma once

#include <QtGlobal>

namespace host {

/// A raster of instants: start, start + interval, start + 2 intervals and so on. What
/// begins late does not move the ones after it.
class Schedule
{
public:
    /// @p intervalMs is above 0.
    Schedule(qint64 start, qint64 intervalMs);

    /// The next instant of the raster.
    qint64 due() const { return m_due; }
    /// To be called at each beginning, at due() or later: takes the latest instant up
    /// to @p now and says how many before it were left out.
    qint64 begin(qint64 now);

private:
    qint64 m_due;
    qint64 m_interval;
};

/// Growing pauses: each is twice the one before, up to the longest.
class Backoff
{
public:
    Backoff(qint64 firstMs, qint64 longestMs);

    /// The pause to make now.
    qint64 next();
    /// Begins with the first pause again.
    void reset() { m_next = m_first; }

private:
    qint64 m_first;
    qint64 m_longest;
    qint64 m_next;
};

}
