// The typed logical commands: reads, writes and masked writes.
#include "simulator/controller.h"
#include "simulator/request.h"

namespace simulator {

namespace {

// The bits of @p data where @p mask, repeated over its length, is 1; those of
// @p old elsewhere.
QByteArray merged(const QByteArray& old, const QByteArray& mask, const QByteArray& data)
{
    QByteArray result = old;
    for (int i = 0; i < static_cast<int>(result.size()); ++i) {
        const auto bits = static_cast<quint8>(mask.at(i % static_cast<int>(mask.size())));
        result[i] = static_cast<char>((old.at(i) & ~bits) | (data.at(i) & bits));
    }
    return result;
}

}

Outcome Controller::readElements(RequestFields& fields)
{
    return readTyped(fields.typedArea(false), fields);
}

Outcome Controller::readSubElements(RequestFields& fields)
{
    return readTyped(fields.typedArea(), fields);
}

Outcome Controller::readTyped(const std::optional<Area>& area, const RequestFields& fields) const
{
    if (!area || !fields.atEnd())
        return Outcome::refusal(status::Illegal);
    return read(*area);
}

Outcome Controller::writeElements(RequestFields& fields)
{
    return writeTyped(fields.typedArea(false), fields);
}

Outcome Controller::writeSubElements(RequestFields& fields)
{
    return writeTyped(fields.typedArea(), fields);
}

Outcome Controller::writeTyped(const std::optional<Area>& area, const RequestFields& fields)
{
    const QByteArray data = fields.rest();
    if (!area || data.size() != area->size)
        return Outcome::refusal(status::Illegal);
    return write(*area, data);
}

Outcome Controller::writeMasked(RequestFields& fields)
{
    const auto area = fields.typedArea();
    const auto mask = fields.word();
    const QByteArray data = fields.rest();
    if (!area || !mask || data.size() != area->size)
        return Outcome::refusal(status::Illegal);
    const Outcome old = read(*area);
    return old.status == 0 ? write(*area, merged(old.data, *mask, data)) : old;
}

}
