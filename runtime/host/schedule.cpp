#include "host/schedule.h"

#include <algorithm>

namespace host {

Schedule::Schedule(qint64 start, qint64 intervalMs)
    : m_due(start)
    , m_interval(intervalMs)
{}

qint64 Schedule::begin(qint64 now)
{
    const qint64 missed = std::max<qint64>(now - m_due, 0) / m_interval;
    m_due += (missed + 1) * m_interval;
    return missed;
}

Backoff::Backoff(qint64 firstMs, qint64 longestMs)
    : m_first(std::min(firstMs, longestMs))
    , m_longest(longestMs)
    , m_next(m_first)
{}

qint64 Backoff::next()
{
    const qint64 pause = m_next;
    m_next = std::min(2 * m_next, m_longest);
    return pause;
}

}
