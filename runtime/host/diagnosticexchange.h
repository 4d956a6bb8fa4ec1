// One diagnostic question over an open port, and its answer.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

#include "drivers/abstractdeviceinterface.h"
#include "host/diagnosticframes.h"

namespace host {

/// What one question has brought, worst first.
enum class ProbeOutcome
{
    Silence,
    Garbage,      ///< bytes that are no answer
    Nak,          ///< the frame was refused as damaged
    Echo,         ///< what was sent, and nothing else of use
    Acknowledged, ///< the frame arrived sound, but no reply came
    Replied
};

/// Such as "own echo".
QString nameOf(ProbeOutcome outcome);

struct ProbeAnswer
{
    ProbeOutcome outcome = ProbeOutcome::Silence;
    Reply reply;                          ///< of Replied
    CheckMethod check = CheckMethod::Crc; ///< that the reply has
    bool isEchoed = false;                ///< what was sent came back, whatever else did
    bool isClean = false;                 ///< an ACK and the reply came, and nothing else
};

/// How long an answer may take.
struct Patience
{
    int timeoutMs = 500;       ///< silence that ends the wait
    double secondsPerByte = 0; ///< on the line; 0: unknown
};

/// Sends the application bytes @p request in a frame and waits for what comes back:
/// until the reply, a refusal of the frame, or silence. Acknowledges every frame and
/// enquiry that comes, so that a controller which still waits for another program's
/// acknowledgement gets on. Takes no longer than ten times the time-out and 5 s; gives up
/// on a line that brings garbage and no end.
ProbeAnswer ask(AbstractDeviceInterface& port, const QByteArray& request, CheckMethod check,
                const Patience& patience);

/// Confirms replies that the controller may still hold for somebody whom they have not
/// reached: while it holds some it sends no others, and with several it refuses requests
/// by NAK. What comes is thrown away. Takes 50 ms where nothing does.
void releaseReplies(AbstractDeviceInterface& port, double secondsPerByte);

/// A transaction number that no request before is likely to have had.
quint16 freshTransaction();

/// Who answers at the port's destination; nothing when nobody does or tells.
std::optional<ControllerStatus> askStatus(AbstractDeviceInterface& port, const Patience& patience);

}
