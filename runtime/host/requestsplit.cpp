#include "host/requestsplit.h"

#include <algorithm>

namespace host {

std::optional<std::vector<ReadPiece>> splitRead(const TagAddress& address, int count, int dataBytes,
                                                QString* error)
{
    // Asks for all of them: an end that does not exist shows before anything is read.
    if (!address.writeRequest(count, error))
        return std::nullopt;
    std::vector<ReadPiece> pieces;
    for (int done = 0; done < count;) {
        const auto begin =
            TagAddress::parse(done == 0 ? address.plainText() : address.textOf(done), error);
        if (!begin)
            return std::nullopt;
        const int next = std::min(count - done, begin->mostValues(dataBytes));
        const auto command = begin->readRequest(next, error);
        if (!command)
            return std::nullopt;
        pieces.push_back({*begin, next, *command});
        done += next;
    }
    return pieces;
}

std::optional<std::vector<WritePiece>> splitWrite(const TagAddress& address, const QByteArray& data,
                                                  int dataBytes, QString* error)
{
    const int size = address.kind() == ValueKind::Float ? 4 : 2;
    const int count = address.kind() == ValueKind::Bit ? 1 : static_cast<int>(data.size()) / size;
    const auto whole = address.writeRequest(count, error);
    if (!whole)
        return std::nullopt;
    if (address.kind() == ValueKind::Bit || address.hasThreeWords())
        return std::vector<WritePiece>{{*whole, data}};
    std::vector<WritePiece> pieces;
    const int most = dataBytes / size;
    for (int done = 0; done < count; done += most) {
        const int next = std::min(count - done, most);
        WritePiece piece = {*whole, data.mid(done * size, next * size)};
        piece.command.address = address.textOf(done);
        piece.command.count = next;
        pieces.push_back(piece);
    }
    return pieces;
}

}
