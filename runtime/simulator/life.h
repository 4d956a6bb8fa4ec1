// What a running program does to the data files: timers run, counters count, an
// input word toggles, a float swings. The time is handed in.
#pragma once

#include "simulator/datatables.h"

#include <optional>

namespace simulator {

/// Moves data files along with time. What it makes of them at a time depends on
/// that time, on the first one and on the files alone, however often it was called
/// in between, as long as nobody else writes what it moves.
///
/// From the first call on:
/// - every T element is an on-delay timer. While EN is clear it stands at 0 without
///   TT and DN. While EN is set TT is, and ACC counts in steps of its base, 10 ms or
///   1 s (timer::SecondBase), up to PRE, where DN takes the place of TT. At the next
///   full second a timer that is done starts again.
/// - every C element counts up once a second, CU being set in the first half of it.
///   DN says that ACC has reached PRE; after 32767 comes -32768, and OV.
/// - the first word of the first I file is inverted every half second.
/// - the first element of the first F file is a sine from -100 to 100 with a period of
///   60 s, in steps of 0.01.
///
/// In Program mode (S2:1) nothing moves, and the time that passes is left out.
class Life
{
public:
    /// @p now in milliseconds from any origin, never falling.
    void advance(DataTables& tables, qint64 now);

private:
    std::optional<qint64> m_last; // when it was called
    qint64 m_age = 0;             // milliseconds lived
};

}
