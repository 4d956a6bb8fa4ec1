// CSV text as RFC 4180 has it, cell by cell.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace host {

/// Reads rows out of a text that it borrows. Lines end in LF or CR LF. A cell in
/// quotes may hold commas, line ends and, doubled, quotes; others lose the blanks
/// around them. Blank lines, and lines that begin with #, are skipped.
class CsvReader
{
public:
    explicit CsvReader(const QByteArray& text);

    /// The next row's cells in @p cells (not null), at least one. False at the end of
    /// the text, and where it is no CSV in UTF-8: then error() is not empty.
    bool next(QStringList* cells);
    /// Line in which the row begins that next() has found last, counted from 1.
    int line() const { return m_rowLine; }
    /// What is wrong with that row, and what would be right.
    const QString& error() const { return m_error; }

private:
    bool skipLine();
    bool readCell(QString* cell);
    bool readQuoted(QByteArray* bytes);
    bool fail(const char* reason);
    char byteAt(qsizetype position) const;

    const QByteArray& m_text;
    qsizetype m_position = 0;
    int m_line = 1;
    int m_rowLine = 0;
    QString m_error;
};

}
