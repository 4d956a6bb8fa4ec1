// What is seen on a line to a controller: bytes with direction and time, and the
// frames, answers and noise that they make.
#pragma once

#include <QByteArray>
#include <chrono>
#include <functional>

#include "host/linereader.h"

namespace host {

/// Of the wall clock, in microseconds.
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

enum class Direction
{
    Sent,
    Received
};

/// One step of a driver's dealings with its port.
struct LineEvent
{
    enum class Kind
    {
        Sent,
        Received,
        Silence,  ///< a wait ended before all bytes asked for had come
        Discarded ///< the driver threw away what had come; there may be no bytes
    };

    Kind kind;
    TimePoint time; ///< of a sending its beginning, otherwise when the step was over
    QByteArray bytes = {};
};

/// A token with where it went and when its last byte was seen.
struct Sighting
{
    Direction direction = Direction::Received;
    TimePoint time;
    LineToken token;
    bool isDiscarded = false; ///< its last byte was thrown away by the driver, unread
};

/// What a trace or a capture has kept of a sighting.
struct Record
{
    Direction direction = Direction::Received;
    TimePoint time;
    QByteArray bytes; ///< none: silence
    bool isDiscarded = false;
    bool isEmbedded = false; ///< an answer that stood inside the following frame
};

/// Makes tokens of events or of records. A wait in vain is a token too, of kind Silence.
/// What has come in by half is cut off by a wait in vain and by the next request.
class TrafficReader
{
public:
    using Taker = std::function<void(const Sighting& sighting)>;

    explicit TrafficReader(Taker taker);
    TrafficReader(const TrafficReader&) = delete;
    TrafficReader& operator=(const TrafficReader&) = delete;

    void take(const LineEvent& event);
    void take(const Record& record);
    /// Nothing more is to come in: hands out what is held back.
    void finish();

private:
    void takeSent(const LineEvent& event);
    void takeReceived(const LineEvent& event);
    void handOutSilence();
    void handOut(LineToken token);

    Taker m_taker;
    Sighting m_next;         ///< but for its token
    Sighting m_lastReceived; ///< likewise
    bool m_isEmbedded = false;
    LineReader m_sent;
    LineReader m_received;
};

}
