// Any text as a script of faults: it is refused in one line, or plays the same again and
// again with the same seed, and never leaves less than what it says to do.
#include "harness.h"

#include "simulator/faults.h"
#include "support/bytes.h"

using namespace simulator;

namespace {

QByteArray played(const FaultScript& script)
{
    const quint32 seed = 7;
    Faults faults(script, seed, CheckMethod::Crc);
    QByteArray all;
    for (int transaction = 0; transaction < 4; ++transaction) {
        const qint64 now = transaction * 1000;
        for (const QByteArray& output :
             {controlPair(symbol::ACK), encodeFrame(hex("00014F000100 3412"), CheckMethod::Crc)}) {
            const Faults::Passed passed = faults.pass(output, now);
            qint64 last = now;
            for (const TimedBytes& piece : passed.line) {
                REQUIRE(piece.at >= last);
                last = piece.at;
                all += QByteArray::number(piece.at) + ' ' + piece.bytes;
            }
            all += passed.names.join(',').toUtf8();
        }
    }
    return all;
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray text = Input(data, size).rest();
    QString error;
    const bool isJson = text.startsWith('{');
    const auto script =
        isJson ? parseFaultsJson(text, &error) : parseFaults(QString::fromUtf8(text), &error);
    REQUIRE(script.has_value() == error.isEmpty());
    if (!script) {
        REQUIRE(!error.contains('\n'));
        return 0;
    }
    for (const Fault& fault : *script) {
        REQUIRE(fault.kind != nullptr && fault.times >= 1);
        const bool isRate = fault.when == Fault::When::Rate;
        REQUIRE(isRate ? fault.percent >= 0 && fault.percent <= 100 : fault.number >= 1);
    }
    REQUIRE(played(*script) == played(*script));
    return 0;
}
