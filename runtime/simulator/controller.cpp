#include "simulator/controller.h"

#include <utility>

namespace simulator {

namespace {

constexpr int headerSize = 6;
constexpr int echoLimit = 243;
constexpr quint8 replyFlag = 0x40;

constexpr quint8 commandDiagnostic = 0x06;
constexpr quint8 commandProtected = 0x0F;
constexpr quint8 functionEcho = 0x00;
constexpr quint8 functionTypedRead = 0xA2;

constexpr quint8 statusIllegal = 0x10;
constexpr quint8 statusAddress = 0x50;
constexpr quint8 statusExtended = 0xF0;

constexpr quint8 extendedIllegalField = 0x01;
constexpr quint8 extendedTooLarge = 0x09;
constexpr quint8 extendedPastTheEnd = 0x0A;
constexpr quint8 extendedIllegalType = 0x11;
constexpr quint8 extendedTypeMismatch = 0x17;

}

struct Controller::Outcome
{
    static Outcome success(QByteArray data) { return {0, std::move(data)}; }
    static Outcome refusal(quint8 status) { return {status, {}}; }
    static Outcome extendedRefusal(quint8 extended)
    {
        return {statusExtended, QByteArray(1, static_cast<char>(extended))};
    }

    quint8 status;
    QByteArray data; // with an extended refusal, the EXT STS byte
};

// What follows the header, read field by field. Past the end every field is
// nothing and stays so.
class Controller::Fields
{
public:
    explicit Fields(const QByteArray& request)
        : m_bytes(request.mid(headerSize))
    {}

    std::optional<quint8> byte()
    {
        if (atEnd())
            return std::nullopt;
        return static_cast<quint8>(m_bytes.at(m_next++));
    }

    std::optional<int> address()
    {
        constexpr quint8 escape = 0xFF;
        const auto first = byte();
        if (!first || *first != escape)
            return first;
        const auto low = byte();
        const auto high = byte();
        if (!low || !high)
            return std::nullopt;
        return *low + 256 * *high;
    }

    QByteArray rest() const { return m_bytes.mid(m_next); }
    bool atEnd() const { return m_next >= m_bytes.size(); }

private:
    QByteArray m_bytes;
    int m_next = 0;
};

Controller::Controller(DataTables tables, int dataBytesPerMessage)
    : m_tables(std::move(tables))
    , m_dataBytesPerMessage(dataBytesPerMessage)
{}

QByteArray Controller::execute(const QByteArray& request) const
{
    if (request.size() < headerSize)
        return {};
    const auto command = static_cast<quint8>(request.at(2));
    if ((command & replyFlag) != 0)
        return {};

    Fields fields(request);
    const Outcome outcome = dispatch(command, fields);

    QByteArray reply;
    reply.append(request.at(1));
    reply.append(request.at(0));
    reply.append(static_cast<char>(command | replyFlag));
    reply.append(static_cast<char>(outcome.status));
    reply.append(request.mid(4, 2));
    return reply + outcome.data;
}

Controller::Outcome Controller::dispatch(quint8 command, Fields& fields) const
{
    const auto function = fields.byte();
    if (!function)
        return Outcome::refusal(statusIllegal);
    if (command == commandProtected && *function == functionTypedRead)
        return readTyped(fields);
    if (command == commandDiagnostic && *function == functionEcho
        && fields.rest().size() <= echoLimit)
        return Outcome::success(fields.rest());
    return Outcome::refusal(statusIllegal);
}

Controller::Outcome Controller::readTyped(Fields& fields) const
{
    const auto size = fields.byte();
    const auto fileNumber = fields.address();
    const auto typeCode = fields.byte();
    const auto element = fields.address();
    const auto subElement = fields.address();
    if (!size || !fileNumber || !typeCode || !element || !subElement || !fields.atEnd())
        return Outcome::refusal(statusIllegal);

    if (*size > m_dataBytesPerMessage)
        return Outcome::extendedRefusal(extendedTooLarge);
    if (*size == 0)
        return Outcome::extendedRefusal(extendedIllegalField);
    const auto type = fileTypeOf(*typeCode);
    if (!type)
        return Outcome::extendedRefusal(extendedIllegalType);
    const DataFile* file = m_tables.file(*fileNumber);
    if (!file)
        return Outcome::refusal(statusAddress);
    if (file->type() != *type)
        return Outcome::extendedRefusal(extendedTypeMismatch);
    if (!file->has(*element, *subElement))
        return Outcome::refusal(statusAddress);
    if (*size % file->bytesPerUnit() != 0)
        return Outcome::extendedRefusal(extendedIllegalField);
    const auto data = file->read(*element, *subElement, *size);
    if (!data)
        return Outcome::extendedRefusal(extendedPastTheEnd);
    return Outcome::success(*data);
}

}
