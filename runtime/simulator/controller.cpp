#include "simulator/controller.h"

#include "simulator/request.h"

#include <utility>

namespace simulator {

namespace {

constexpr int headerSize = 6;
constexpr quint8 replyFlag = 0x40;

}

Controller::Controller(DataTables tables, const Model& model)
    : m_tables(std::move(tables))
    , m_model(model)
{}

QByteArray Controller::execute(const QByteArray& request)
{
    if (request.size() < headerSize)
        return {};
    const auto command = static_cast<quint8>(request.at(2));
    if ((command & replyFlag) != 0)
        return {};

    const Outcome outcome = dispatch(command, request.mid(headerSize));

    QByteArray reply;
    reply.append(request.at(1));
    reply.append(request.at(0));
    reply.append(static_cast<char>(command | replyFlag));
    reply.append(static_cast<char>(outcome.status));
    reply.append(request.mid(4, 2));
    return reply + outcome.data;
}

Outcome Controller::dispatch(quint8 command, const QByteArray& body)
{
    struct Entry
    {
        quint8 command;
        quint8 function;
        Outcome (Controller::*execute)(RequestFields&);
    };
    static constexpr Entry entries[] = {
        {0x06, 0x00, &Controller::echo},          {0x06, 0x01, &Controller::readCounters},
        {0x06, 0x03, &Controller::readStatus},    {0x0F, 0x00, &Controller::writeWordRange},
        {0x0F, 0x01, &Controller::readWordRange}, {0x0F, 0x26, &Controller::readModifyWrite},
        {0x0F, 0xA1, &Controller::readElements},  {0x0F, 0xA2, &Controller::readSubElements},
        {0x0F, 0xA9, &Controller::writeElements}, {0x0F, 0xAA, &Controller::writeSubElements},
        {0x0F, 0xAB, &Controller::writeMasked},
    };

    RequestFields fields(body);
    const auto function = fields.byte();
    for (const Entry& entry : entries) {
        if (entry.command == command && entry.function == function)
            return (this->*entry.execute)(fields);
    }
    return Outcome::refusal(status::Illegal);
}

Outcome Controller::read(const Area& area) const
{
    const auto refused = refusalOf(area);
    if (refused)
        return *refused;
    const auto& [fileNumber, typeCode, element, subElement] = area.address;
    return Outcome::success(*m_tables.file(fileNumber)->read(element, subElement, area.size));
}

Outcome Controller::write(const Area& area, const QByteArray& data)
{
    const auto refused = writeRefusalOf(area);
    if (refused)
        return *refused;
    const auto& [fileNumber, typeCode, element, subElement] = area.address;
    m_tables.file(fileNumber)->write(element, subElement, data);
    return Outcome::success();
}

std::optional<Outcome> Controller::writeRefusalOf(const Area& area) const
{
    auto refused = refusalOf(area);
    if (refused)
        return refused;
    if (isInProgramMode(m_tables))
        return Outcome::refusal(status::ProgramMode);
    if (m_tables.file(area.address.file)->isProtected())
        return Outcome::extendedRefusal(extended::AccessDenied);
    return std::nullopt;
}

std::optional<Outcome> Controller::refusalOf(const Area& area) const
{
    const auto& [fileNumber, typeCode, element, subElement] = area.address;
    if (area.size > m_model.dataBytesPerMessage)
        return Outcome::extendedRefusal(extended::TooLarge);
    if (area.size == 0)
        return Outcome::extendedRefusal(extended::IllegalField);
    if (typeCode && !fileTypeOf(*typeCode))
        return Outcome::extendedRefusal(extended::IllegalType);
    const DataFile* file = m_tables.file(fileNumber);
    if (!file)
        return Outcome::refusal(status::Address);
    if (typeCode && file->type() != fileTypeOf(*typeCode))
        return Outcome::extendedRefusal(extended::TypeMismatch);
    if (!file->has(element, subElement))
        return Outcome::refusal(status::Address);
    if (area.size % file->bytesPerUnit() != 0)
        return Outcome::extendedRefusal(extended::IllegalField);
    if (!file->holds(element, subElement, area.size))
        return Outcome::extendedRefusal(extended::PastTheEnd);
    return std::nullopt;
}

}
