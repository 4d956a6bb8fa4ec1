#include "host/watchboard.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace host {

namespace {

template <typename Value>
void append(std::deque<Value>& last, Value value, size_t most)
{
    last.push_back(value);
    if (last.size() > most)
        last.pop_front();
}

}

QString sparkline(const std::deque<double>& numbers, bool isUnicode)
{
    constexpr int heights = 8;
    if (numbers.empty())
        return QString();
    const auto [least, greatest] = std::minmax_element(numbers.begin(), numbers.end());
    const double span = *greatest - *least;
    const char16_t lowest = isUnicode ? u'\u2581' : u'1';
    QString line;
    for (const double number : numbers) {
        const double share = span > 0 ? (number - *least) / span : 0;
        const int height = std::min(static_cast<int>(share * heights), heights - 1);
        line += QChar(static_cast<char16_t>(lowest + height));
    }
    return line;
}

WatchBoard::WatchBoard(std::vector<Tag> tags)
{
    for (Tag& tag : tags)
        m_states.push_back({std::move(tag)});
}

void WatchBoard::take(const Scan& scan, qint64 now)
{
    const size_t count = std::min(m_states.size(), scan.values.size());
    size_t good = 0;
    for (size_t i = 0; i < count; ++i) {
        take(m_states[i], scan.values[i], now);
        good += scan.values[i].value ? 1 : 0;
    }
    append(m_shares, static_cast<double>(good) / static_cast<double>(std::max<size_t>(count, 1)),
           size_t(scansOfQuality));
    m_milliseconds = scan.milliseconds;
    ++m_scans;
}

void WatchBoard::take(State& state, const PolledValue& polled, qint64 now)
{
    state.error = polled.error;
    state.hasChanged = state.value && polled.value && !(*state.value == *polled.value);
    if (!polled.value)
        return;
    state.value = polled.value;
    state.at = now;
    const double number = polled.value->number() * state.tag.scale;
    if (std::isfinite(number))
        append(state.history, number, size_t(longestHistory));
}

std::vector<WatchBoard::Row> WatchBoard::rows(qint64 now) const
{
    std::vector<Row> rows;
    for (const State& state : m_states) {
        Row row;
        row.name = state.tag.name;
        row.value = state.value ? state.value->text(state.tag.scale) : QString();
        row.unit = state.tag.unit;
        row.error = state.error;
        row.hasChanged = state.hasChanged;
        if (state.at)
            row.ageMs = now - *state.at;
        row.history = state.history;
        rows.push_back(std::move(row));
    }
    return rows;
}

double WatchBoard::quality() const
{
    if (m_shares.empty())
        return 0;
    return 100 * std::accumulate(m_shares.begin(), m_shares.end(), 0.0)
           / static_cast<double>(m_shares.size());
}

}
