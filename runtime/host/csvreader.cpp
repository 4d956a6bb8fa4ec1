#include "host/csvreader.h"

namespace host {

namespace {

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\t' || byte == '\r';
}

}

CsvReader::CsvReader(const QByteArray& text)
    : m_text(text)
{
    if (text.startsWith("\xEF\xBB\xBF")) // a byte order mark
        m_position = 3;
}

bool CsvReader::next(QStringList* cells)
{
    while (skipLine()) {
    }
    if (m_position >= m_text.size() || !m_error.isEmpty())
        return false;
    m_rowLine = m_line;
    cells->clear();
    for (;;) {
        QString cell;
        if (!readCell(&cell))
            return false;
        cells->append(cell);
        const char end = byteAt(m_position);
        ++m_position;
        if (end != ',')
            break;
    }
    ++m_line;
    return true;
}

/// Whether there was a blank line or a comment.
bool CsvReader::skipLine()
{
    qsizetype position = m_position;
    while (position < m_text.size() && isBlank(byteAt(position)))
        ++position;
    const bool isComment = byteAt(position) == '#';
    if (position < m_text.size() && byteAt(position) != '\n' && !isComment)
        return false;
    if (m_position >= m_text.size())
        return false;
    const qsizetype end = m_text.indexOf('\n', static_cast<int>(position));
    m_position = end < 0 ? m_text.size() : end + 1;
    ++m_line;
    return true;
}

bool CsvReader::readCell(QString* cell)
{
    QByteArray bytes;
    while (isBlank(byteAt(m_position)))
        ++m_position;
    if (byteAt(m_position) == '"') {
        if (!readQuoted(&bytes))
            return false;
    } else {
        const qsizetype begin = m_position;
        while (m_position < m_text.size() && byteAt(m_position) != ','
               && byteAt(m_position) != '\n')
            ++m_position;
        bytes = m_text.mid(static_cast<int>(begin), static_cast<int>(m_position - begin)).trimmed();
        if (bytes.contains('"'))
            return fail(
                "a quote inside a cell; put the whole cell in quotes and double those in it");
    }
    *cell = QString::fromUtf8(bytes);
    if (cell->contains(QChar::ReplacementCharacter))
        return fail("the text is not UTF-8; save the file as UTF-8");
    return true;
}

bool CsvReader::readQuoted(QByteArray* bytes)
{
    for (;;) {
        const qsizetype begin = m_position + 1;
        const qsizetype end = m_text.indexOf('"', static_cast<int>(begin));
        if (end < 0)
            return fail("a quote that is not closed; end the cell with \"");
        const QByteArray piece = m_text.mid(static_cast<int>(begin), static_cast<int>(end - begin));
        m_line += static_cast<int>(piece.count('\n'));
        bytes->append(piece);
        m_position = end + 1;
        if (byteAt(m_position) != '"')
            break;
        bytes->append('"');
    }
    while (isBlank(byteAt(m_position)))
        ++m_position;
    if (m_position < m_text.size() && byteAt(m_position) != ',' && byteAt(m_position) != '\n')
        return fail("text behind a closing quote; put a comma there, or double a quote inside");
    return true;
}

/// Always false, for the caller to hand on.
bool CsvReader::fail(const char* reason)
{
    m_error = QLatin1String(reason);
    return false;
}

/// 0 behind the end.
char CsvReader::byteAt(qsizetype position) const
{
    return position < m_text.size() ? m_text.at(static_cast<int>(position)) : '\0';
}

}
