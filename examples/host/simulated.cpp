#include "simulated.h"

#include <QTextStream>

namespace {

simulator::DataTables someValues()
{
    using simulator::FileType;
    const quint16 enabledAndDone = 0xA000;
    const quint16 enabledAndTiming = 0xC000;

    simulator::DataTables tables;
    simulator::DataFile& bits = tables.add(3, FileType::Bit, 8);
    bits.setWord(0, 0, 0x9000); // bits 12 and 15
    bits.setWord(1, 0, 0x0001); // bit 0, which is bit 16 of B3:0

    simulator::DataFile& timers = tables.add(4, FileType::Timer, 4);
    const quint16 elements[][3] = {{enabledAndDone, 250, 250}, {enabledAndTiming, 600, 40}};
    for (int element = 0; element < 2; ++element) {
        for (int word = 0; word < 3; ++word)
            timers.setWord(element, word, elements[element][word]);
    }

    simulator::DataFile& integers = tables.add(7, FileType::Integer, 16);
    integers.setWord(0, 0, 0x1234);
    integers.setWord(1, 0, static_cast<quint16>(-5));
    integers.setWord(2, 0, 0x1010);

    tables.add(8, FileType::Float, 4).setReal(0, 21.5F);
    return tables;
}

}

std::unique_ptr<simulator::PtyServer> startSimulatedController()
{
    auto server = std::make_unique<simulator::PtyServer>(simulator::Controller(someValues()));
    QString error;
    if (server->start(&error))
        return server;
    QTextStream(stderr) << error << '\n';
    return nullptr;
}
