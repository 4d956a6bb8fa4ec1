#include "target.h"

#include <QRegularExpression>

#include "failure.h"

namespace {

const int BITS_PER_WORD = 16;
const int MAX_FILE = 255;
const int MAX_ELEMENT = 65535;
const int MAX_BIT = 255;

int numberUpTo(int most, const char* what, const QString& digits, const QString& address)
{
    bool isNumber = false;
    const uint number = digits.toUInt(&isNumber);
    if (isNumber && number <= static_cast<uint>(most))
        return static_cast<int>(number);
    throw Failure(ExitCode::Usage, QStringLiteral("%1: %2 %3 is out of range; give 0 to %4")
                                       .arg(address, QLatin1String(what), digits)
                                       .arg(most));
}

/// The names that the elements of a file have for their bits and words. The
/// driver takes any other name for one of these.
struct Names
{
    char letter;
    const char* bits;
    const char* words;
};

const Names NAMES[] = {
    {'T', "EN TT DN", "PRE ACC"},
    {'C', "CU CD DN OV UN UA", "PRE ACC"},
    {'R', "EN EU DN EM ER UL IN FD", "LEN POS"},
};

const Names* namesOf(const QString& file)
{
    for (const Names& names : NAMES) {
        if (file.startsWith(QLatin1Char(names.letter), Qt::CaseInsensitive))
            return &names;
    }
    return nullptr;
}

void requireKnown(const QString& name, const char* known, const QString& address)
{
    const QStringList names = QString::fromLatin1(known).split(QLatin1Char(' '));
    if (name.isEmpty() || names.contains(name, Qt::CaseInsensitive))
        return;
    throw Failure(ExitCode::Usage, QStringLiteral("%1: there is no %2 in it; give one of %3")
                                       .arg(address, name, names.join(QStringLiteral(", "))));
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

Target::Target(const QString& address)
    : m_address(address)
{
    const QChar letter = address.isEmpty() ? QChar() : address.at(0).toUpper();
    m_hasThreeWords = QStringLiteral("TCR").contains(letter) || address.contains(QLatin1Char('.'));
    if (address.contains(QLatin1Char('/')))
        m_kind = ValueKind::Bit;
    else if (letter == QLatin1Char('F'))
        m_kind = ValueKind::Float;

    static const QRegularExpression pattern(QStringLiteral(
        "^([A-Za-z]+)(\\d*):(\\d+)(?:\\.([A-Za-z]+))?(?:/(?:(\\d+)|([A-Za-z]+)))?$"));
    const QRegularExpressionMatch match = pattern.match(address);
    if (!match.hasMatch())
        return;
    const QString number = match.captured(2);
    const QString word = match.captured(4);
    const QString bit = match.captured(5);
    const QString mnemonic = match.captured(6);
    m_file = match.captured(1) + number;
    m_rest = address.mid(match.capturedEnd(3), address.size() - match.capturedEnd(3) - bit.size());
    m_element = numberUpTo(MAX_ELEMENT, "element", match.captured(3), address);
    if (!number.isEmpty())
        numberUpTo(MAX_FILE, "file", number, address);
    if (!bit.isEmpty())
        m_bit = numberUpTo(MAX_BIT, "bit", bit, address);
    if (const Names* const names = namesOf(m_file)) {
        requireKnown(word, names->words, address);
        requireKnown(mnemonic, names->bits, address);
    }
}

int Target::mostValues() const
{
    const int mostWords = 123;
    const int mostElements = 41;
    const int mostFloats = 61;
    const int units = m_hasThreeWords ? mostElements : mostWords;
    if (m_kind == ValueKind::Float)
        return mostFloats;
    return m_bit ? units * BITS_PER_WORD - *m_bit : units;
}

QString Target::addressOf(int offset) const
{
    if (offset == 0 || m_file.isEmpty())
        return m_address;
    const int element = m_bit ? m_element + (*m_bit + offset) / BITS_PER_WORD : m_element + offset;
    const QString bit = m_bit ? QString::number((*m_bit + offset) % BITS_PER_WORD) : QString();
    return m_file + QLatin1Char(':') + QString::number(element) + m_rest + bit;
}

CommunicatorCommand Target::readRequest(int count) const
{
    if (count > mostValues())
        throw Failure(ExitCode::Usage, QStringLiteral("%1: %2 values are too many for one request; "
                                                      "give --count %3 at most")
                                           .arg(m_address)
                                           .arg(count)
                                           .arg(mostValues()));
    requireElements(count);
    return request(count);
}

CommunicatorCommand Target::writeRequest(int count) const
{
    requireElements(count);
    return request(count);
}

CommunicatorCommand Target::request(int count) const
{
    CommunicatorCommand command;
    command.type = requestType(m_kind);
    command.count = count;
    command.address = m_address;
    return command;
}

void Target::requireElements(int count) const
{
    if (!m_bit && m_element + count - 1 > MAX_ELEMENT)
        numberUpTo(MAX_ELEMENT, "last element", QString::number(m_element + count - 1), m_address);
}
