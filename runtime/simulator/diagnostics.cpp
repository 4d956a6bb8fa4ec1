// The diagnostic commands.
#include "simulator/controller.h"
#include "simulator/request.h"

namespace simulator {

namespace {

constexpr int echoLimit = 243;

void appendWord(QByteArray& bytes, int value)
{
    bytes.append(static_cast<char>(value));
    bytes.append(static_cast<char>(value >> 8));
}

}

Outcome Controller::echo(RequestFields& fields)
{
    const QByteArray data = fields.rest();
    return data.size() <= echoLimit ? Outcome::success(data) : Outcome::refusal(status::Illegal);
}

Outcome Controller::readCounters(RequestFields& fields)
{
    constexpr quint16 framingErrors = 0; // no line that could have any
    const LinkCounters& link = m_linkCounters;
    QByteArray counters;
    for (const quint16 counter :
         {link.sent, link.received, link.undelivered, link.enqsSent, link.naksReceived,
          link.enqsReceived, link.badMessages, link.noMemory, link.duplicates, framingErrors})
        appendWord(counters, counter);
    if (fields.atEnd())
        return Outcome::success(counters);

    const auto address = fields.word();
    const auto size = fields.byte();
    if (!address || !size || !fields.atEnd() || *size > counters.size())
        return Outcome::refusal(status::Illegal);
    return Outcome::success(counters.left(*size));
}

void Controller::setLinkCounters(const LinkCounters& counters)
{
    m_linkCounters = counters;
    DataFile* const file = m_model.countersFile ? m_tables.file(*m_model.countersFile) : nullptr;
    if (!file)
        return;
    const std::pair<int, quint16> places[] = {
        {10, counters.sent},       {11, counters.received},     {12, counters.undelivered},
        {14, counters.noMemory},   {15, counters.enqsReceived}, {17, counters.naksReceived},
        {18, counters.duplicates},
    };
    for (const auto& [element, value] : places)
        file->setWord(element, 0, value);
}

Outcome Controller::readStatus(RequestFields& fields)
{
    constexpr char typeExtender = '\xEE';
    constexpr char interfaceDf1 = 0x34;
    constexpr int nameSize = 11;
    constexpr int majorErrorHalted = 1 << 13;
    if (!fields.atEnd())
        return Outcome::refusal(status::Illegal);

    const quint16 mode = statusWord(1);
    QByteArray bytes(1, '\0');
    bytes.append(typeExtender);
    bytes.append(interfaceDf1);
    bytes.append('\0');
    bytes.append(static_cast<char>((m_model.series - 'A') << 5 | m_model.firmware));
    bytes.append(m_model.catalogueNumber.leftJustified(nameSize, ' ', true));
    appendWord(bytes, (mode & majorErrorHalted) != 0 ? statusWord(6) : 0);
    appendWord(bytes, mode);
    appendWord(bytes, m_model.programId);
    bytes.append(static_cast<char>(m_model.ramKilobytes));
    bytes.append('\0');
    return Outcome::success(bytes);
}

quint16 Controller::statusWord(int element) const
{
    const DataFile* file = m_tables.file(2);
    return file ? file->word(element).value_or(0) : 0;
}

}
