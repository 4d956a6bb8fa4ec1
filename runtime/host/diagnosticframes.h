// Requests that ask a controller for nothing but a sign of life, and what can be told
// from the bytes that come back (publication 1770-6.5.16, chapters 2, 6 and 7).
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

namespace host {

/// What closes a frame: a CRC of two bytes, the only one that the driver speaks, or a
/// BCC of one.
enum class CheckMethod
{
    Crc,
    Bcc
};

/// Who asks whom, with which transaction number.
struct Envelope
{
    quint8 destination;
    quint8 source;
    quint16 transaction;
};

/// Application bytes of an echo (06 00): @p data, 243 bytes at most, come back.
QByteArray echoRequest(const Envelope& envelope, const QByteArray& data);
/// Application bytes of a diagnostic status (06 03).
QByteArray statusRequest(const Envelope& envelope);
/// The whole frame around application bytes.
QByteArray framed(const QByteArray& message, CheckMethod check);
/// Whether the frame with CRC is, up to its last byte, also a sound one with BCC, as one
/// in 256 is: a controller that expects a BCC acknowledges it.
bool isSoundWithEither(const QByteArray& message);

/// A frame that came whole, with a right check of the one or the other method.
struct SoundMessage
{
    QByteArray bytes; ///< application bytes
    CheckMethod check;
};

/// What came back after a frame was sent.
struct LineAnswer
{
    bool isEchoed = false; ///< what was sent is in it
    int acks = 0;
    int naks = 0;
    int enqs = 0;
    int strays = 0; ///< bytes and frames that are none of these, damaged ones among them
    std::vector<SoundMessage> messages; ///< in their order, without what was sent

    bool isEmpty() const;
};

/// Takes @p received apart, whatever it is. @p sent is the frame that was sent before;
/// the check that it has is looked for first.
LineAnswer answerIn(const QByteArray& received, const QByteArray& sent, CheckMethod check);

/// A reply, as far as its header goes.
struct Reply
{
    int source = 0; ///< station that it comes from
    int status = 0; ///< STS; 0: done
    QByteArray data;
};

/// The reply to @p request; nothing when @p message is another.
std::optional<Reply> replyTo(const QByteArray& request, const QByteArray& message);

/// What a diagnostic status tells.
struct ControllerStatus
{
    QString name;   ///< catalogue number, such as 1763-L16BWA; may be empty
    char series;    ///< 'A' to 'H'
    int firmware;   ///< 0 to 31
    int mode;       ///< the mode word S2:1
    int majorError; ///< S2:6 while the controller is halted by an error, otherwise 0
    int programId;
    int ramKilobytes;
};

/// Nothing when @p data are not those of a MicroLogix: 23 bytes or more with the
/// extended type mark.
std::optional<ControllerStatus> controllerStatus(const QByteArray& data);
/// Such as "1763-L16BWA series B firmware 16".
QString identityText(const ControllerStatus& status);
/// Such as "mode RUN, forces enabled, major error 0012h"; modes by the bits 0 to 4 of
/// the mode word, forces by 5 and 6.
QString modeText(const ControllerStatus& status);

}
