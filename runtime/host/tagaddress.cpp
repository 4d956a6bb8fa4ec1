#include "host/tagaddress.h"

#include <QRegularExpression>
#include <QStringList>
#include <cstring>

#include "drivers/df1/addressing.h"

namespace host {

namespace {

const int BITS_PER_WORD = 16;
const int WORD_SIZE = 2;
const int FLOAT_SIZE = 4;
const int ELEMENT_SIZE = 6;
const int MAX_FILE = 255;
const int MAX_ELEMENT = 65535;
const int MAX_BIT = 255;

std::optional<int> numberUpTo(int most, const char* what, const QString& digits,
                              const QString& address, QString* error)
{
    bool isNumber = false;
    const uint number = digits.toUInt(&isNumber);
    if (isNumber && number <= static_cast<uint>(most))
        return static_cast<int>(number);
    *error = QStringLiteral("%1: %2 %3 is out of range; give 0 to %4")
                 .arg(address, QLatin1String(what), digits)
                 .arg(most);
    return std::nullopt;
}

/// The names that the elements of a file have for their bits and words. The
/// driver takes any other name for one of these.
struct Names
{
    char letter;
    const char* bits;
    const char* words;
    int (*bitNumber)(const QByteArray& mnemonic);
};

const Names NAMES[] = {
    {'T', "EN TT DN", "PRE ACC", DF1GetT4MnemonicBitNum},
    {'C', "CU CD DN OV UN UA", "PRE ACC", DF1GetC5MnemonicBitNum},
    {'R', "EN EU DN EM ER UL IN FD", "LEN POS", DF1GetR6MnemonicBitNum},
};

QStringList listOf(const char* names)
{
    return QString::fromLatin1(names).split(QLatin1Char(' '));
}

const Names* namesOf(const QString& file)
{
    for (const Names& names : NAMES) {
        if (file.startsWith(QLatin1Char(names.letter), Qt::CaseInsensitive))
            return &names;
    }
    return nullptr;
}

/// Files that a program has from the start; all letters but O and I need a number.
const char* const USUAL_FILES = "S2 B3 T4 C5 R6 N7 F8";

bool hasNumber(const QString& file, const QString& address, QString* error)
{
    for (const QString& usual : listOf(USUAL_FILES)) {
        if (file.compare(usual.left(1), Qt::CaseInsensitive) != 0)
            continue;
        *error = QStringLiteral("%1: the file has no number; give one, such as %2%3")
                     .arg(address, usual, address.mid(file.size()));
        return false;
    }
    return true;
}

bool isKnown(const QString& name, const char* known, const QString& address, QString* error)
{
    const QStringList names = listOf(known);
    if (name.isEmpty() || names.contains(name, Qt::CaseInsensitive))
        return true;
    *error = QStringLiteral("%1: there is no %2 in it; give one of %3")
                 .arg(address, name, names.join(QStringLiteral(", ")));
    return false;
}

/// CommunicatorCommand's type codes.
int requestType(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Bit:
        return 0;
    case ValueKind::Float:
        return 3;
    default:
        return 2;
    }
}

}

bool isThreeWordFile(char letter)
{
    return letter == 'T' || letter == 'C' || letter == 'R';
}

std::vector<StatusBit> statusBitsOf(char letter)
{
    std::vector<StatusBit> bits;
    if (const Names* const names = namesOf(QString(QLatin1Char(letter)))) {
        for (const QString& name : listOf(names->bits))
            bits.push_back({name, names->bitNumber(name.toLatin1())});
    }
    return bits;
}

QStringList wordNamesOf(char letter)
{
    const Names* const names = namesOf(QString(QLatin1Char(letter)));
    return names ? listOf(names->words) : QStringList();
}

std::optional<TagAddress> TagAddress::parse(const QString& text, QString* error)
{
    TagAddress address(text);
    if (!address.readParts(error))
        return std::nullopt;
    return address;
}

TagAddress::TagAddress(const QString& text)
    : m_text(text)
{
    const QChar letter = text.isEmpty() ? QChar() : text.at(0).toUpper();
    m_hasThreeWords = isThreeWordFile(letter.toLatin1()) || text.contains(QLatin1Char('.'));
    if (text.contains(QLatin1Char('/')))
        m_kind = ValueKind::Bit;
    else if (letter == QLatin1Char('F'))
        m_kind = ValueKind::Float;
}

bool TagAddress::readParts(QString* error)
{
    static const QRegularExpression pattern(QStringLiteral(
        "^([A-Za-z]+)(\\d*):(\\d+)(?:\\.([A-Za-z]+))?(?:/(?:(\\d+)|([A-Za-z]+)))?\\z"));
    const QRegularExpressionMatch match = pattern.match(m_text);
    if (!match.hasMatch())
        return true;
    const QString number = match.captured(2);
    const QString word = match.captured(4);
    const QString bit = match.captured(5);
    const QString mnemonic = match.captured(6);
    m_file = match.captured(1) + number;
    m_rest = m_text.mid(match.capturedEnd(3), m_text.size() - match.capturedEnd(3) - bit.size());

    const auto element = numberUpTo(MAX_ELEMENT, "element", match.captured(3), m_text, error);
    if (!element || (!number.isEmpty() && !numberUpTo(MAX_FILE, "file", number, m_text, error)))
        return false;
    if (!hasNumber(m_file, m_text, error))
        return false;
    m_element = *element;
    if (!bit.isEmpty()) {
        m_bit = numberUpTo(MAX_BIT, "bit", bit, m_text, error);
        if (!m_bit)
            return false;
    }
    const Names* const names = namesOf(m_file);
    if (names
        && (!isKnown(word, names->words, m_text, error)
            || !isKnown(mnemonic, names->bits, m_text, error)))
        return false;
    m_place = findPlace(word, mnemonic);
    return true;
}

std::optional<DataPlace> TagAddress::findPlace(const QString& word, const QString& mnemonic) const
{
    const QByteArray file = m_file.toLatin1().toUpper();
    const bool hasOneLetter = file.size() == 1 || (file.at(1) >= '0' && file.at(1) <= '9');
    if (!hasOneLetter || DF1GetFileType(file) == 0)
        return std::nullopt;
    const Names* const names = namesOf(m_file);
    const bool isNamed = !word.isEmpty() || !mnemonic.isEmpty();
    if ((isNamed && !names) || (!word.isEmpty() && !mnemonic.isEmpty()))
        return std::nullopt;

    DataPlace place;
    place.letter = file.at(0);
    if (place.letter == 'F' && m_kind == ValueKind::Bit)
        return std::nullopt;
    place.file = DF1GetFileNo(file);
    place.element = m_element + m_bit.value_or(0) / BITS_PER_WORD;
    if (place.element > MAX_ELEMENT)
        return std::nullopt;
    if (!word.isEmpty())
        place.word = DF1WordNameToSubElementNo(word.toLatin1());
    if (m_bit)
        place.bit = *m_bit % BITS_PER_WORD;
    else if (!mnemonic.isEmpty())
        place.bit = names->bitNumber(mnemonic.toLatin1());
    return place;
}

int TagAddress::mostValues(int dataBytes) const
{
    if (m_kind == ValueKind::Float)
        return dataBytes / FLOAT_SIZE;
    const int units = dataBytes / (m_hasThreeWords ? ELEMENT_SIZE : WORD_SIZE);
    return m_bit ? units * BITS_PER_WORD - *m_bit : units;
}

QString TagAddress::textOf(int offset) const
{
    return offset == 0 || m_file.isEmpty() ? m_text : neighbour(offset);
}

QString TagAddress::plainText() const
{
    return m_bit ? neighbour(0) : m_text;
}

QString TagAddress::neighbour(int offset) const
{
    const int element = m_bit ? m_element + (*m_bit + offset) / BITS_PER_WORD : m_element + offset;
    const QString bit = m_bit ? QString::number((*m_bit + offset) % BITS_PER_WORD) : QString();
    return m_file + QLatin1Char(':') + QString::number(element) + m_rest + bit;
}

std::optional<CommunicatorCommand> TagAddress::readRequest(int count, QString* error) const
{
    if (count > mostValues()) {
        *error = QStringLiteral("%1: %2 values are too many for one request; give %3 at most")
                     .arg(m_text)
                     .arg(count)
                     .arg(mostValues());
        return std::nullopt;
    }
    return writeRequest(count, error);
}

std::optional<CommunicatorCommand> TagAddress::writeRequest(int count, QString* error) const
{
    if (!hasElements(count, error))
        return std::nullopt;
    CommunicatorCommand command;
    command.type = requestType(m_kind);
    command.count = count;
    command.address = m_text;
    return command;
}

bool TagAddress::hasElements(int count, QString* error) const
{
    const int last = m_element + count - 1;
    return m_bit || last <= MAX_ELEMENT
           || numberUpTo(MAX_ELEMENT, "last element", QString::number(last), m_text, error);
}

}
