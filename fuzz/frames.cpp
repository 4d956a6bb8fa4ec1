// Folding, counting and framing of any bytes, against decoders written here.
#include "harness.h"

#include "drivers/df1/framing.h"
#include "support/frames.h"

namespace {

const char DLE = 0x10;

QByteArray doubled(QByteArray bytes)
{
    return bytes.replace(QByteArray(1, DLE), QByteArray(2, DLE));
}

/// The range folded up to the first DLE without a partner, the rest as it was.
QByteArray folded(const QByteArray& bytes, int from, int to, bool& isSound)
{
    QByteArray result = bytes.left(from);
    int at = from;
    isSound = true;
    while (at < to) {
        const bool isDle = bytes.at(at) == DLE;
        if (isDle && (at + 1 >= to || bytes.at(at + 1) != DLE)) {
            isSound = false;
            break;
        }
        result += bytes.at(at);
        at += isDle ? 2 : 1;
    }
    return result + bytes.mid(at);
}

void checkRange(const QByteArray& bytes, int from, int to)
{
    const int size = static_cast<int>(bytes.size());
    const int first = qBound(0, from, size);
    const int end = qBound(first, to, size);

    QByteArray escaped = bytes;
    DF1EscapeDLE(escaped, from, to);
    const QByteArray inside = doubled(bytes.mid(first, end - first));
    REQUIRE(escaped == bytes.left(first) + inside + bytes.mid(end));
    REQUIRE(DF1FoldDLE(escaped, first, first + static_cast<int>(inside.size())));
    REQUIRE(escaped == bytes);

    QByteArray result = bytes;
    bool isSound = true;
    const QByteArray expected = folded(bytes, first, end, isSound);
    REQUIRE(DF1FoldDLE(result, from, to) == isSound);
    REQUIRE(result == expected);
}

void checkCounting(const QByteArray& bytes, Input& pieces)
{
    const int size = static_cast<int>(bytes.size());
    const QByteArray pairs = doubled(bytes);
    const ExactBytes exact(pairs);
    int at = 0;
    REQUIRE(DF1CountEscapedDLEData(exact.get(), static_cast<int>(pairs.size()), at) == size);
    REQUIRE(at == pairs.size());
    REQUIRE(DF1CheckEscapedDLEData(exact.get(), static_cast<int>(pairs.size())));

    // Of anything: in pieces as at once, and never beyond the end.
    const ExactBytes raw(bytes);
    int whole = 0;
    const int count = DF1CountEscapedDLEData(raw.get(), size, whole);
    REQUIRE(whole <= size && count <= whole && whole >= size - 1);
    REQUIRE(DF1CheckEscapedDLEData(raw.get(), size) == (whole == size));
    int sum = 0;
    int end = 0;
    at = 0;
    while (end < size) {
        end = qMin(size, end + 1 + pieces.below(8));
        sum += DF1CountEscapedDLEData(raw.get(), pieces.below(16), end, at);
        REQUIRE(at <= end);
    }
    sum += DF1CountEscapedDLEData(raw.get(), end, at);
    REQUIRE(sum == count && at == whole);
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const int from = input.byte() - 64;
    const int to = input.byte() - 64;
    Input pieces(input);
    const QByteArray bytes = input.rest();
    checkRange(bytes, from, to);
    checkCounting(bytes, pieces);

    QByteArray frame = bytes;
    DF1ToDataLinkLayerPacket(frame);
    QByteArray other = bytes;
    DF1ToDataLinkLayerPacket2(other);
    REQUIRE(frame == frameOf(bytes) && other == frame);
    const QByteArray covered = bytes + '\x03' + frame.right(2);
    const ExactBytes exact(covered);
    REQUIRE(DF1CRC16(exact.get(), static_cast<int>(covered.size())) == 0);
    return 0;
}
