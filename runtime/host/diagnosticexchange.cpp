#include "host/diagnosticexchange.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <atomic>

#include "drivers/df1/framing.h"

namespace host {

namespace {

// An echo of 243 bytes 0x10 takes 500.
const int MOST_BYTES = 1024;
const int MOST_STRAYS = 128;

/// Appends what has come; waits for it until @p deadline of @p clock. False when
/// nothing has.
bool takeMore(AbstractDeviceInterface& port, QByteArray& received, const QElapsedTimer& clock,
              qint64 deadline)
{
    for (;;) {
        QVariant pending = 0;
        port.getParameter(PORT_PARAM_INPUT_PENDING, pending);
        if (pending.toInt() > 0) {
            QByteArray bytes(std::min(pending.toInt(), MOST_BYTES), '\0');
            const int taken = port.receiveData(reinterpret_cast<unsigned char*>(bytes.data()),
                                               static_cast<int>(bytes.size()));
            received += bytes.left(std::max(taken, 0));
            return taken > 0;
        }
        if (clock.elapsed() >= deadline)
            return false;
        QThread::msleep(1);
    }
}

/// Whether a driver, which takes an answer byte by byte, would find it right.
bool isClean(const LineAnswer& answer)
{
    return !answer.isEchoed && answer.acks == 1 && answer.naks == 0 && answer.enqs == 0
           && answer.strays == 0 && answer.messages.size() == 1;
}

std::optional<ProbeAnswer> replyIn(const LineAnswer& answer, const QByteArray& request)
{
    for (const SoundMessage& message : answer.messages) {
        if (const auto reply = replyTo(request, message.bytes))
            return ProbeAnswer{ProbeOutcome::Replied, *reply, message.check, answer.isEchoed,
                               isClean(answer)};
    }
    return std::nullopt;
}

/// Whether nothing more is to come. A reply whose check is of the other method may be
/// one of this method, cut short.
bool isComplete(const LineAnswer& answer, const QByteArray& request, CheckMethod check)
{
    if (answer.naks > 0 && answer.acks == 0)
        return true;
    const auto reply = replyIn(answer, request);
    return reply && reply->check == check;
}

ProbeOutcome outcomeWithoutReply(const LineAnswer& answer)
{
    if (answer.isEmpty())
        return ProbeOutcome::Silence;
    // Sound frames and enquiries that have nothing to do with the question are a
    // controller's too.
    if (answer.acks > 0 && answer.strays == 0)
        return ProbeOutcome::Acknowledged;
    if (answer.naks > 0 && answer.strays == 0)
        return ProbeOutcome::Nak;
    return answer.isEchoed ? ProbeOutcome::Echo : ProbeOutcome::Garbage;
}

}

QString nameOf(ProbeOutcome outcome)
{
    switch (outcome) {
    case ProbeOutcome::Silence:
        return QStringLiteral("silence");
    case ProbeOutcome::Garbage:
        return QStringLiteral("garbage");
    case ProbeOutcome::Nak:
        return QStringLiteral("NAK");
    case ProbeOutcome::Echo:
        return QStringLiteral("own echo");
    case ProbeOutcome::Acknowledged:
        return QStringLiteral("acknowledged, no reply");
    case ProbeOutcome::Replied:
        break;
    }
    return QStringLiteral("reply");
}

ProbeAnswer ask(AbstractDeviceInterface& port, const QByteArray& request, CheckMethod check,
                const Patience& patience)
{
    const int longestWaitMs = 10 * patience.timeoutMs + 5000;
    const QByteArray frame = framed(request, check);
    port.setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
    QElapsedTimer clock;
    clock.start();
    port.sendData(reinterpret_cast<const unsigned char*>(frame.constData()),
                  static_cast<int>(frame.size()));
    const auto frameMs =
        static_cast<qint64>(1000 * patience.secondsPerByte * static_cast<double>(frame.size()));

    QByteArray received;
    LineAnswer answer;
    size_t acknowledged = 0;
    qint64 deadline = clock.elapsed() + frameMs + patience.timeoutMs;
    while (received.size() < MOST_BYTES && takeMore(port, received, clock, deadline)) {
        answer = answerIn(received, frame, check);
        const size_t toAcknowledge = answer.messages.size() + static_cast<size_t>(answer.enqs);
        if (toAcknowledge > acknowledged)
            port.sendData(DF1_DLE_ACK, sizeof DF1_DLE_ACK);
        acknowledged = std::max(acknowledged, toAcknowledge);
        if (isComplete(answer, request, check) || answer.strays > MOST_STRAYS)
            break;
        deadline = std::min<qint64>(clock.elapsed() + patience.timeoutMs, longestWaitMs);
    }
    if (const auto replied = replyIn(answer, request))
        return *replied;
    return ProbeAnswer{outcomeWithoutReply(answer), {}, check, answer.isEchoed, false};
}

void releaseReplies(AbstractDeviceInterface& port, double secondsPerByte)
{
    const int mostRounds = 8;
    const int pauseMs = 50;
    const int bytesOnTheWay = 4; // the ACK, and what a reply begins with
    const int quietMs = pauseMs + static_cast<int>(1000 * bytesOnTheWay * secondsPerByte);
    QElapsedTimer clock;
    clock.start();
    for (int round = 0; round < mostRounds; ++round) {
        QByteArray received;
        port.sendData(DF1_DLE_ACK, sizeof DF1_DLE_ACK);
        while (received.size() < MOST_BYTES
               && takeMore(port, received, clock, clock.elapsed() + quietMs)) {
        }
        if (received.isEmpty())
            return;
    }
}

quint16 freshTransaction()
{
    static std::atomic<quint16> last{
        static_cast<quint16>(QRandomGenerator::global()->bounded(0x10000))};
    return ++last;
}

std::optional<ControllerStatus> askStatus(AbstractDeviceInterface& port, const Patience& patience)
{
    const Envelope envelope = {static_cast<quint8>(port.destinationAddress()),
                               static_cast<quint8>(port.sourceAddress()), freshTransaction()};
    const ProbeAnswer answer = ask(port, statusRequest(envelope), CheckMethod::Crc, patience);
    if (answer.outcome != ProbeOutcome::Replied || answer.reply.status != 0)
        return std::nullopt;
    return controllerStatus(answer.reply.data);
}

}
