// The word commands with logical binary addresses: range reads, range writes and
// read-modify-writes.
#include "simulator/controller.h"
#include "simulator/request.h"

#include <QtEndian>
#include <vector>

namespace simulator {

namespace {

constexpr int bytesPerWord = 2;

int valueOf(const QByteArray& word)
{
    return qFromLittleEndian<quint16>(word.constData());
}

// How a word range's packet lies within the words of its whole transaction.
struct Packet
{
    static std::optional<Packet> of(RequestFields& fields)
    {
        const auto offset = fields.word();
        const auto total = fields.word();
        if (!offset || !total)
            return std::nullopt;
        return Packet{valueOf(*offset), valueOf(*total)};
    }

    bool holds(int size) const { return offset + size / bytesPerWord <= total; }

    int offset;
    int total;
};

}

Outcome Controller::readWordRange(RequestFields& fields)
{
    const auto packet = Packet::of(fields);
    const auto address = fields.logicalAddress();
    const auto size = fields.byte();
    if (!packet || !address || !size || !fields.atEnd())
        return Outcome::refusal(status::Illegal);
    if (!packet->holds(*size))
        return Outcome::extendedRefusal(extended::IllegalField);
    return read({*size, advanced(*address, packet->offset)});
}

Outcome Controller::writeWordRange(RequestFields& fields)
{
    const auto packet = Packet::of(fields);
    const auto address = fields.logicalAddress();
    const QByteArray data = fields.rest();
    const int size = static_cast<int>(data.size());
    if (!packet || !address)
        return Outcome::refusal(status::Illegal);
    if (!packet->holds(size))
        return Outcome::extendedRefusal(extended::IllegalField);
    return write({size, advanced(*address, packet->offset)}, data);
}

Address Controller::advanced(const Address& address, int words) const
{
    const DataFile* file = m_tables.file(address.file);
    if (!file || !file->has(address.element, address.subElement))
        return address;
    // Half a float comes out as a sub-element that no float has.
    const int wordsPerElement = file->bytesPerElement() / bytesPerWord;
    const int word = address.subElement + words;
    return {address.file, address.typeCode, address.element + word / wordsPerElement,
            word % wordsPerElement};
}

Outcome Controller::readModifyWrite(RequestFields& fields)
{
    struct Change
    {
        Area word;
        int andMask;
        int orMask;
    };
    std::vector<Change> changes;
    do {
        const auto address = fields.logicalAddress();
        const auto andMask = fields.word();
        const auto orMask = fields.word();
        if (!address || !andMask || !orMask)
            return Outcome::refusal(status::Illegal);
        changes.push_back({{bytesPerWord, *address}, valueOf(*andMask), valueOf(*orMask)});
    } while (!fields.atEnd());

    for (const Change& change : changes) {
        if (const auto refused = writeRefusalOf(change.word))
            return *refused;
    }
    for (const auto& [word, andMask, orMask] : changes) {
        const auto& [fileNumber, typeCode, element, subElement] = word.address;
        DataFile& file = *m_tables.file(fileNumber);
        const int old = *file.word(element, subElement);
        file.setWord(element, subElement, static_cast<quint16>((old & andMask) | orMask));
    }
    return Outcome::success();
}

}
