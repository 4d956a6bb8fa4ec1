// What an address on the command line names: how its values are asked for, how
// many fit one request, and what the neighbours are called.
#pragma once

#include <QString>
#include <optional>

#include "drivers/communicatorcommand.h"

enum class ValueKind
{
    Bit,
    Word, ///< 16 bits
    Float ///< 32 bits
};

class Target
{
public:
    /// Takes any text: what names nothing is left to the driver to refuse. Throws
    /// Failure for what the driver would take for something else: a file, element
    /// or bit number too large for its field, an unknown bit or word of a timer,
    /// counter or control.
    explicit Target(const QString& address);

    const QString& address() const { return m_address; }
    ValueKind kind() const { return m_kind; }
    /// Values that one read can carry; the controller may carry fewer.
    int mostValues() const;
    /// The address of the value @p offset places further on.
    QString addressOf(int offset) const;
    /// Throws Failure when one request can't carry @p count values.
    CommunicatorCommand readRequest(int count) const;
    /// Throws Failure when @p count values go beyond the last element there can be.
    CommunicatorCommand writeRequest(int count) const;

private:
    CommunicatorCommand request(int count) const;
    void requireElements(int count) const;

    QString m_address;
    ValueKind m_kind = ValueKind::Word;
    bool m_hasThreeWords = false;
    QString m_file; ///< with the colon; empty when the address has another form
    int m_element = 0;
    QString m_rest;           ///< behind the element, without the bit number
    std::optional<int> m_bit; ///< a mnemonic has none
};
