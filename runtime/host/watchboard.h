// What a live table of polled tags shows: the last values, whether they have changed,
// how old they are, how they have moved. The time is handed in, in milliseconds from any
// origin.
#pragma once

#include <QString>
#include <QStringList>
#include <deque>
#include <vector>

#include "host/linkpoller.h"

namespace host {

/// Numbers as bars of eight heights between the least and the greatest of them, from
/// U+2581 to U+2588, or without @p isUnicode as the digits 1 to 8; equal numbers are
/// all of the lowest.
QString sparkline(const std::deque<double>& numbers, bool isUnicode);

class WatchBoard
{
public:
    static constexpr int longestHistory = 24; ///< values in a sparkline
    static constexpr int scansOfQuality = 100;

    explicit WatchBoard(std::vector<Tag> tags);

    void take(const Scan& scan, qint64 now);

    struct Row
    {
        QString name;
        QString value; ///< the last one that came; empty before the first
        QString unit;
        QString error;                 ///< why the last scan brought none; empty when it did
        bool hasChanged = false;       ///< the last scan brought another value
        std::optional<qint64> ageMs{}; ///< of the value
        std::deque<double> history{};
    };
    /// One for each tag.
    std::vector<Row> rows(qint64 now) const;

    /// Percent of the tags of the last scans that brought a value.
    double quality() const;
    /// Of the last scan.
    double milliseconds() const { return m_milliseconds; }
    qint64 scans() const { return m_scans; }

private:
    struct State
    {
        Tag tag;
        std::optional<FormedValue> value{};
        std::optional<qint64> at{};
        QString error{};
        bool hasChanged = false;
        std::deque<double> history{};
    };

    void take(State& state, const PolledValue& polled, qint64 now);

    std::vector<State> m_states;
    std::deque<double> m_shares; ///< of values in each of the last scans
    double m_milliseconds = 0;
    qint64 m_scans = 0;
};

}
