#include "simulator/request.h"

namespace simulator {

RequestFields::RequestFields(const QByteArray& bytes)
    : m_bytes(bytes)
{}

std::optional<quint8> RequestFields::byte()
{
    if (atEnd())
        return std::nullopt;
    return static_cast<quint8>(m_bytes.at(m_next++));
}

std::optional<QByteArray> RequestFields::word()
{
    const QByteArray bytes = m_bytes.mid(m_next, 2);
    m_next += static_cast<int>(bytes.size());
    if (bytes.size() < 2)
        return std::nullopt;
    return bytes;
}

std::optional<int> RequestFields::number()
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

std::optional<Area> RequestFields::typedArea(bool withSubElement)
{
    const auto size = byte();
    const auto file = number();
    const auto typeCode = byte();
    const auto element = number();
    const auto subElement = withSubElement ? number() : 0;
    if (!size || !file || !typeCode || !element || !subElement)
        return std::nullopt;
    return Area{*size, {*file, typeCode, *element, *subElement}};
}

std::optional<Address> RequestFields::logicalAddress()
{
    constexpr quint8 fileAndElement = 0x06;
    constexpr quint8 fileElementAndSubElement = 0x0E;
    const quint8 levels = byte().value_or(0);
    if (levels != fileAndElement && levels != fileElementAndSubElement)
        return std::nullopt;
    const auto file = number();
    const auto element = number();
    const auto subElement = levels == fileElementAndSubElement ? number() : 0;
    if (!file || !element || !subElement)
        return std::nullopt;
    return Address{*file, std::nullopt, *element, *subElement};
}

}
