// Any bytes as what came back to a diagnostic question: every message that is told
// stands in them as a sound frame, and a sound frame behind them is found.
#include "harness.h"

#include "host/diagnosticframes.h"

#include <algorithm>

namespace {

void checkMessage(const host::LineAnswer& answer, const host::SoundMessage& message,
                  const QByteArray& received, const QByteArray& request)
{
    // Link answers within a frame have been taken out of it.
    if (answer.acks + answer.naks + answer.enqs == 0)
        REQUIRE(received.contains(host::framed(message.bytes, message.check)));
    const auto reply = host::replyTo(request, message.bytes);
    if (!reply)
        return;
    REQUIRE(message.bytes.endsWith(reply->data) && reply->source == request.at(0));
    const auto status = host::controllerStatus(reply->data);
    REQUIRE(!status || !host::identityText(*status).isEmpty());
    REQUIRE(!status || !host::modeText(*status).isEmpty());
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const auto check = input.below(2) == 0 ? host::CheckMethod::Crc : host::CheckMethod::Bcc;
    const QByteArray request = host::statusRequest({1, 0, 0x1234});
    const QByteArray sent = host::framed(request, check);
    QByteArray received;
    while (!input.atEnd()) {
        QByteArray header = QByteArray::fromHex("000146003412");
        switch (input.below(4)) {
        case 0:
            received += sent;
            break;
        case 1:
            header += input.bytes(input.below(30));
            received += host::framed(header, check);
            break;
        default:
            received += input.bytes(input.byte());
        }
    }
    const host::LineAnswer answer = host::answerIn(received, sent, check);
    REQUIRE(answer.isEmpty() == received.isEmpty());
    REQUIRE(2 * (answer.acks + answer.naks + answer.enqs) + answer.strays <= received.size());
    for (const host::SoundMessage& message : answer.messages)
        checkMessage(answer, message, received, request);

    const QByteArray last = QByteArray::fromHex("0001460034120010");
    const QByteArray frame = host::framed(last, check);
    const auto found = host::answerIn(received + frame + frame, sent, check).messages;
    REQUIRE(std::any_of(found.begin(), found.end(),
                        [&](const host::SoundMessage& message) { return message.bytes == last; }));
    return 0;
}
