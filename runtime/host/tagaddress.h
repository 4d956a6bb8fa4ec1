// What an address such as N7:0, F8:1, B3:2/5 or T4:0.ACC names: where it lies in
// the controller's data tables, how its values are asked for, how many fit one
// request, and what the neighbours are called.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

#include "drivers/communicatorcommand.h"

namespace host {

/// The most data bytes that the driver takes in one read, when none of them is 0x10.
/// Such bytes travel twice, and the driver has room for 246 of both together; what is
/// no longer than SAFE_DATA_BYTES always fits.
const int MOST_DATA_BYTES = 246;
const int SAFE_DATA_BYTES = 123;
/// A controller's own limit: a MicroLogix 1100 and later, and a MicroLogix 1000.
const int USUAL_DATA_BYTES = 206;
const int DATA_BYTES_OF_1000 = 82;

enum class ValueKind
{
    Bit,
    Word, ///< 16 bits
    Float ///< 32 bits
};

/// Where a value lies. A plain value.
struct DataPlace
{
    char letter = 'N';      ///< of the file, in upper case: O I S B T C R N F
    int file = 0;           ///< 0 to 255; O is always 0, I always 1
    int element = 0;        ///< 0 to 65535
    int word = 0;           ///< of T, C and R: 0 control word, 1 PRE or LEN, 2 ACC or POS
    std::optional<int> bit; ///< 0 to 15; bits of 16 and more lie in further elements
};

/// Whether @p letter is that of timers, counters or controls, whose elements are
/// three words long.
bool isThreeWordFile(char letter);

struct StatusBit
{
    QString name;
    int number; ///< in the control word
};

/// Of timers, counters or controls, whose letter is in upper case; highest bit first.
std::vector<StatusBit> statusBitsOf(char letter);
/// PRE and ACC, or LEN and POS.
QStringList wordNamesOf(char letter);

class TagAddress
{
public:
    /// Takes any text: what names nothing has no place() and is left to the driver
    /// to refuse. Nothing, with one line in @p error (not null), for what the driver
    /// would take for something else: a file, element or bit number too large for
    /// its field, a file without a number that is not O or I, an unknown bit or word of
    /// a timer, counter or control.
    static std::optional<TagAddress> parse(const QString& text, QString* error);

    const QString& text() const { return m_text; }
    ValueKind kind() const { return m_kind; }
    /// Nothing for what is no address of the data tables: an unknown file letter, a
    /// bit of a float, a name for a bit or word outside timers, counters and
    /// controls, a bit beyond the last element.
    const std::optional<DataPlace>& place() const { return m_place; }

    /// Whether elements are three words long, of which a value is one.
    bool hasThreeWords() const { return m_hasThreeWords; }
    /// Values that a read of @p dataBytes can carry, otherwise the driver's largest read;
    /// the controller may carry fewer.
    int mostValues(int dataBytes = MOST_DATA_BYTES) const;
    /// The address of the value @p offset places further on.
    QString textOf(int offset) const;
    /// text(), but of a bit with the element it lies in and its number there, 0 to 15.
    QString plainText() const;
    /// Nothing, with one line in @p error (not null), when one request can't carry
    /// @p count values.
    std::optional<CommunicatorCommand> readRequest(int count, QString* error) const;
    /// Nothing, with one line in @p error (not null), when @p count values go beyond
    /// the last element there can be.
    std::optional<CommunicatorCommand> writeRequest(int count, QString* error) const;

private:
    explicit TagAddress(const QString& text);

    bool readParts(QString* error);
    QString neighbour(int offset) const;
    std::optional<DataPlace> findPlace(const QString& word, const QString& mnemonic) const;
    bool hasElements(int count, QString* error) const;

    QString m_text;
    ValueKind m_kind = ValueKind::Word;
    bool m_hasThreeWords = false;
    QString m_file; ///< without the colon; empty when the address has another form
    int m_element = 0;
    QString m_rest;           ///< behind the element, without the bit number
    std::optional<int> m_bit; ///< a mnemonic has none
    std::optional<DataPlace> m_place;
};

}
