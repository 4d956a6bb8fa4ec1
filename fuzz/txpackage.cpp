// Transmit packages under any sequence of calls: sections lie one behind the other, and
// none reaches beyond the packet's bytes.
#include "harness.h"

#include <QList>
#include <climits>

#include "drivers/txpackage.h"

namespace {

const int MOST_BYTES = 4096;

/// Small lengths, references, and numbers that no packet can hold.
int entryIn(Input& input)
{
    switch (input.below(8)) {
    case 0:
        return -input.byte();
    case 1:
        return INT_MIN + input.byte();
    case 2:
        return INT_MAX - input.byte();
    default:
        return input.byte();
    }
}

/// A new part's bytes, or the whole of them when the sections stay as they are.
void change(TxPackage& package, Input& input)
{
    const QByteArray before = package.byteArrayData();
    const int sections = package.numberOfSections();
    QByteArray bytes;
    switch (input.below(10)) {
    case 0: {
        QList<int> sizes;
        for (int i = input.below(12); i > 0; --i)
            sizes << entryIn(input);
        package.setSectionSize(sizes);
        REQUIRE(package.numberOfSections() == sizes.size());
        return;
    }
    case 1:
        bytes = input.bytes(input.byte());
        REQUIRE(package.setData(bytes) && package.byteArrayData() == bytes);
        return;
    case 2: {
        bytes = input.bytes(input.byte());
        const ExactBytes exact(bytes);
        REQUIRE(package.setData(reinterpret_cast<char*>(exact.get()), int(bytes.size())));
        REQUIRE(package.byteArrayData() == bytes);
        return;
    }
    case 3:
        package.appendByte(static_cast<unsigned char>(input.byte()));
        break;
    case 4:
        package.appendWord(static_cast<unsigned short>(input.word()));
        break;
    case 5:
        package.appendDWord(static_cast<unsigned int>(input.word()) << 16);
        break;
    case 6:
        package.appendLRCByte();
        break;
    case 7:
        package.appendLRCAscii();
        break;
    case 8:
        package.appendFCSAscii(input.byte());
        REQUIRE(package.dataAt(-1).isEmpty());
        break;
    default:
        package.appendSection(input.bytes(input.byte()));
        break;
    }
    REQUIRE(package.numberOfSections() == sections + 1);
    REQUIRE(package.byteArrayData().startsWith(before));
}

void checkSections(const TxPackage& package)
{
    const QByteArray bytes = package.byteArrayData();
    const int count = package.numberOfSections();
    REQUIRE(bytes.size() == package.totalSize());
    qint64 start = 0;
    for (int i = 0; i < count; ++i) {
        const int size = package.sectionSize(i);
        const int shown = package.sectionStartIndex(i);
        REQUIRE(shown == qMin<qint64>(start, INT_MAX));
        const QByteArray expected = size > 0 ? bytes.mid(shown, size) : QByteArray();
        REQUIRE(package.dataAt(i) == expected);
        start += qMax(size, 0);
    }
    for (const int i : {INT_MIN, -1, count, INT_MAX}) {
        REQUIRE(!package.validSectionNumber(i) && package.sectionSize(i) == -1);
        REQUIRE(package.sectionStartIndex(i) == -1 && package.dataAt(i).isEmpty());
    }
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    TxPackage package;
    while (!input.atEnd() && package.totalSize() < MOST_BYTES) {
        change(package, input);
        checkSections(package);
    }
    const int total = package.totalSize();
    for (const int n : {-1, 0, total - 1, total, INT_MAX}) {
        const int fcs = TxPackage::calculateFCS(&package, n);
        REQUIRE(n < total || fcs == 0);
    }
    TxPackage copy(package);
    package.clearAll();
    REQUIRE(copy.totalSize() == total && package.totalSize() == 0);
    REQUIRE(package.numberOfSections() == 0 && package.toString() == "() : ");
    return 0;
}
