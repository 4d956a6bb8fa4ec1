// The forms that a value's bits can be understood in, and values in them.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "host/tagaddress.h"

namespace host {

enum class ValueForm
{
    Bit,
    I16,
    U16,
    Hex,  ///< a word as 0x and four digits
    Bin,  ///< a word as 0b and sixteen digits
    Bits, ///< the numbers of a word's bits that are on, such as 0+3+15; "-": none
    I32,  ///< two words in a row, the low one first; so are the following two
    U32,
    F32, ///< two words in a row, or an element of F
};

/// "bit", "i16" and so on, in the order above.
QStringList formNames();
/// The form with this name, in any case.
std::optional<ValueForm> formNamed(const QString& name);
QString nameOf(ValueForm form);

/// The forms that what lies at @p place can have, the one it has by itself first.
QList<ValueForm> formsAt(const DataPlace& place);
/// Data that a value takes: 2 or 4 bytes; a bit is taken from its word.
int bytesOf(ValueForm form);
/// Whether its values are numbers, which can be scaled.
bool isNumber(ValueForm form);

/// A value as the controller has it.
struct FormedValue
{
    ValueForm form = ValueForm::I16;
    quint32 bits = 0; ///< those that the form hasn't are 0

    /// Of Hex, Bin and Bits the unsigned word.
    double number() const;
    /// As the form says; numbers times @p scale, in decimal: floats with the fewest
    /// digits that give the same value back, products with 15 digits, of floats 7.
    QString text(double scale = 1) const;

    bool operator==(const FormedValue& other) const
    {
        return form == other.form && bits == other.bits;
    }
};

}
