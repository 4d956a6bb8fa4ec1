// Any noise, sound requests in it, at any time, to the simulated controller: it never
// answers with anything but symbols and sound frames, a refused request changes nothing,
// and afterwards a valid request is understood within one repetition.
#include "harness.h"

#include "simulator/controller.h"
#include "simulator/station.h"
#include "support/bytes.h"

using namespace simulator;

namespace {

/// One file of every form, small, with protection and counters.
Controller smallController()
{
    DataTables tables;
    tables.add(2, FileType::Status, 16);
    tables.add(3, FileType::Bit, 4);
    tables.add(4, FileType::Timer, 3);
    tables.add(7, FileType::Integer, 30);
    tables.add(8, FileType::Float, 3);
    tables.add(9, FileType::Integer, 4).setProtected(true);
    tables.add(255, FileType::Integer, 300);
    Model model = defaultModel();
    model.countersFile = 7;
    return Controller(tables, model);
}

/// A controller that looks at itself at every request.
class WatchedController
{
public:
    QByteArray execute(const QByteArray& request)
    {
        const DataTables before = m_controller.tables();
        const QByteArray reply = m_controller.execute(request);
        if (reply.isEmpty()) {
            REQUIRE(m_controller.tables() == before);
            return reply;
        }
        const int shortest = 6;
        const int status = 3;
        REQUIRE(reply.size() >= shortest && reply.size() <= FrameDecoder::longestMessage);
        REQUIRE(reply.at(0) == request.at(1) && reply.at(1) == request.at(0));
        REQUIRE(reply.at(2) == static_cast<char>(request.at(2) | 0x40));
        REQUIRE(reply.mid(4, 2) == request.mid(4, 2));
        if (reply.at(status) != 0)
            REQUIRE(m_controller.tables() == before);
        REQUIRE(*m_controller.tables().file(9) == *before.file(9));
        return reply;
    }

private:
    Controller m_controller = smallController();
};

/// Every byte that the station sends belongs to a symbol or a sound frame.
class Watcher
{
public:
    explicit Watcher(CheckMethod check)
        : m_decoder(check)
    {}

    void take(const QByteArray& output)
    {
        using Event = FrameDecoder::Event;
        for (const char byte : output) {
            const Event event = m_decoder.take(byte);
            REQUIRE(event != Event::Damaged && event != Event::Noise);
            if (event == Event::Message)
                m_message = m_decoder.message();
        }
        REQUIRE(m_decoder.isAtRest());
    }
    const QByteArray& message() const { return m_message; }

private:
    FrameDecoder m_decoder;
    QByteArray m_message;
};

QByteArray noiseIn(Input& input, CheckMethod check)
{
    const char codes[] = {symbol::STX, symbol::ETX, symbol::ENQ,
                          symbol::ACK, symbol::NAK, symbol::DLE};
    switch (input.below(4)) {
    case 0:
        return controlPair(codes[input.below(6)]);
    case 1:
        return encodeFrame(input.bytes(input.byte()), check);
    case 2: { // a request with the header that a station 1 answers to
        const QByteArray header = hex("0100") + static_cast<char>(input.below(2) == 0 ? 0x0F : 6);
        const QByteArray tns = input.bytes(2);
        return encodeFrame(header + '\0' + tns + input.bytes(input.byte()), check);
    }
    default:
        return input.bytes(input.byte());
    }
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    StationSettings settings;
    settings.check = input.below(2) == 0 ? CheckMethod::Crc : CheckMethod::Bcc;
    settings.nakRetries = input.below(4);
    settings.enqRetries = input.below(4);
    WatchedController controller;
    Station station(settings,
                    [&](const QByteArray& request) { return controller.execute(request); });
    Watcher watcher(settings.check);
    qint64 now = 0;
    while (!input.atEnd()) {
        watcher.take(station.receive(noiseIn(input, settings.check), now));
        now += input.below(4) * 400;
        watcher.take(station.elapse(now));
    }
    while (station.deadline()) {
        now = *station.deadline();
        watcher.take(station.elapse(now));
    }

    // Another SRC than any before it, so that it is no repetition of the last one.
    const QByteArray request = hex("01EE0600AAAA 00 77");
    QByteArray answer;
    for (int attempt = 0; attempt < 2 && !answer.contains(controlPair(symbol::ACK)); ++attempt) {
        answer = station.receive(encodeFrame(request, settings.check), now);
        watcher.take(answer);
    }
    REQUIRE(watcher.message() == hex("EE014600AAAA 77"));
    return 0;
}
