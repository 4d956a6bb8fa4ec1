// The controller's side of a DF1 full-duplex link (publication 1770-6.5.16,
// chapters 2 to 4): acknowledges requests, has them executed and sees that the
// replies arrive. Bytes go in and come out, the time is handed in; there is no
// clock, port or thread in here.
#pragma once

#include "simulator/framecodec.h"
#include "simulator/linkcounters.h"

#include <QByteArray>
#include <QtGlobal>
#include <deque>
#include <functional>
#include <optional>

namespace simulator {

/// The channel settings of a controller, with a MicroLogix 1100's defaults.
struct StationSettings
{
    quint8 station = 1; ///< own station number
    CheckMethod check = CheckMethod::Crc;
    qint64 ackTimeoutMs = 1000; ///< above 0
    int nakRetries = 3;         ///< repetitions of one reply after DLE NAK
    int enqRetries = 3;         ///< enquiries after one reply that stays unanswered
};

/// Receiving: a sound request is answered DLE ACK, everything else that comes as
/// a frame DLE NAK: a wrong check, fewer than 6 bytes, more than
/// FrameDecoder::longestMessage, a control symbol other than ACK and NAK before
/// the end, and a request for which there is no room while replies pile up. DLE
/// ENQ repeats the last of these answers, which is NAK at first and after noise
/// between frames.
///
/// A message with the SRC, CMD and TNS of the one before is acknowledged and
/// discarded: its sender has missed the acknowledgement. (A program that sends one
/// request per run, always with the same TNS, gets no reply from the second run
/// on, as on a controller.) A message for another station number is acknowledged
/// and discarded too: the link has two ends only, so it did arrive, and there is
/// nobody else to hand it to.
///
/// Sending: one reply at a time; the next waits for the DLE ACK of the one
/// before. DLE NAK repeats it, an ACK time-out asks for the answer with DLE ENQ;
/// when either has been done as often as the settings say, the reply is dropped.
class Station
{
public:
    /// Application bytes of a request to those of its reply; empty for no reply.
    using Handler = std::function<QByteArray(const QByteArray& request)>;

    /// Replies held at most, the one on its way included.
    static constexpr int mostReplies = 4;

    Station(const StationSettings& settings, Handler handler);

    /// Takes bytes that have arrived at @p now (milliseconds from any origin,
    /// never falling) and returns what is to be sent. An acknowledgement among
    /// them counts even if its time-out has passed without elapse() being called.
    QByteArray receive(const QByteArray& bytes, qint64 now);

    /// When elapse() is due; nothing while no reply waits for its answer.
    std::optional<qint64> deadline() const { return m_ackDeadline; }
    /// Does what is due at @p now and returns what is to be sent.
    QByteArray elapse(qint64 now);

    const LinkCounters& counters() const { return m_counters; }
    /// Whether the next byte begins a symbol or a request.
    bool isBetweenSymbols() const { return m_decoder.isAtRest(); }

private:
    void handle(FrameDecoder::Event event, qint64 now);
    void acceptMessage(qint64 now);
    void answer(char code);

    void queueReply(const QByteArray& reply, qint64 now);
    void sendFirst(qint64 now);
    void sendAgain(qint64 now);
    void dropFirst(qint64 now);
    void endFirst(qint64 now);

    StationSettings m_settings;
    Handler m_handler;
    FrameDecoder m_decoder;
    QByteArray m_toSend;
    LinkCounters m_counters;

    QByteArray m_lastAnswer;
    QByteArray m_lastIdentity;

    std::deque<QByteArray> m_replies; // frames; the first is on its way
    std::optional<qint64> m_ackDeadline;
    int m_naksLeft = 0;
    int m_enqsLeft = 0;
};

}
