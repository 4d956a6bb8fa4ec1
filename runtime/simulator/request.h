// What the controller's commands share: reading a request field by field, the
// address in it, and what comes of executing it. Internal to the controller.
#pragma once

#include <QByteArray>
#include <QtGlobal>
#include <optional>

namespace simulator {

namespace status {
constexpr quint8 Illegal = 0x10;
constexpr quint8 Address = 0x50;
constexpr quint8 ProgramMode = 0x70;
constexpr quint8 Extended = 0xF0;
}

namespace extended {
constexpr quint8 IllegalField = 0x01;
constexpr quint8 TooLarge = 0x09;
constexpr quint8 PastTheEnd = 0x0A;
constexpr quint8 AccessDenied = 0x0B;
constexpr quint8 IllegalType = 0x11;
constexpr quint8 TypeMismatch = 0x17;
}

struct Outcome
{
    static Outcome success(const QByteArray& data = {}) { return {0, data}; }
    static Outcome refusal(quint8 status) { return {status, {}}; }
    static Outcome extendedRefusal(quint8 extended)
    {
        return {status::Extended, QByteArray(1, static_cast<char>(extended))};
    }

    quint8 status;
    QByteArray data; // with an extended refusal, the EXT STS byte
};

struct Address
{
    int file;
    std::optional<quint8> typeCode; // as sent, known or not; nothing: any type will do
    int element;
    int subElement;
};

/// An address and how many bytes are wanted from there on.
struct Area
{
    int size;
    Address address;
};

/// What follows the header. Past the end every field is nothing and stays so.
class RequestFields
{
public:
    explicit RequestFields(const QByteArray& bytes);

    std::optional<quint8> byte();
    /// Two bytes as they are, low byte first.
    std::optional<QByteArray> word();
    /// One byte, or FF and 16 bits, low byte first.
    std::optional<int> number();
    /// Size, file number, file type, element, and sub-element unless that is not
    /// among the fields and means 0.
    std::optional<Area> typedArea(bool withSubElement = true);
    /// Level mask 06, file number and element; or 0E and a sub-element behind them.
    std::optional<Address> logicalAddress();

    QByteArray rest() const { return m_bytes.mid(m_next); }
    bool atEnd() const { return m_next >= m_bytes.size(); }

private:
    QByteArray m_bytes;
    int m_next = 0;
};

}
