// Why a call of a driver has failed, told from what was seen on the line.
#pragma once

#include <QString>
#include <deque>
#include <optional>
#include <vector>

#include "host/message.h"
#include "host/traffic.h"

namespace host {

enum class Cause
{
    Port,              ///< the line itself is lost
    NotSent,           ///< the driver made no request of it
    Silence,           ///< nothing at all came back
    Noise,             ///< bytes came that are no DF1
    Echo,              ///< the line gives back what is sent
    Nak,               ///< the controller says that the request came damaged
    NoAcknowledgement, ///< a reply without an ACK before it
    EmbeddedAnswer,    ///< the ACK stood inside the reply
    NoReply,           ///< an ACK and nothing behind it
    Enquiry,           ///< the controller asks for an answer in place of giving one
    DamagedReply,      ///< a wrong check, or an end too early
    BccReply,          ///< the frame closes with a BCC, where drivers expect a CRC
    ForeignReply,      ///< sound, but not to this request
    LateReply,         ///< to a request that had been given up
    Refused,           ///< a status in the reply
    Other,             ///< none of these
};

struct Explanation
{
    Cause cause = Cause::Other;
    QString text; ///< what was seen, without a full stop
    QString hint; ///< the one thing to do about it
};

/// Of a line that is lost; @p reason is what the port says.
Explanation lossOfPort(const QString& reason);

/// What was seen during one call of a driver. Of several attempts the last one counts. A
/// late reply is known from the ones before, and where the last one got no reply, the
/// cause is what was wrong with the reply before: a controller keeps the next one back
/// until that has been acknowledged.
class CallTraffic
{
public:
    /// A new call begins.
    void beginCall();
    void take(const Sighting& sighting);
    /// To be asked when the call has failed.
    Explanation explain() const;

private:
    struct Summary;

    void beginAttempt(const LineToken& request);
    void endAttempt();
    bool isLate(const Message& reply) const;
    Summary summary() const;
    Explanation explainAttempt() const;
    Explanation explainAnswers(const Summary& seen) const;
    Explanation explainRefusal(const Message& reply) const;
    Explanation explainForeign(const Message& reply) const;

    std::deque<Message> m_earlier; // requests that were answered or given up
    std::optional<Message> m_request;
    QByteArray m_requestBytes;
    std::vector<LineToken> m_received;     // since the request
    std::optional<Explanation> m_badReply; // to the last of the earlier requests that had one
};

}
