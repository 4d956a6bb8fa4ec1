// What df1 prints: data on standard output in the form that was asked for, messages
// on standard error.
#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <string>
#include <vector>

#include "host/valueforms.h"

namespace CLI {
class App;
}

enum class Format
{
    Text, ///< columns for people
    Json,
    Csv ///< RFC 4180: lines end in CR LF
};

/// One value of a row, as people and as programs read it.
struct Cell
{
    static Cell text(const QString& text) { return {text, text}; }
    static Cell number(int value) { return {QString::number(value), value}; }
    /// A number that is written already; JSON has none that is not finite and gets null.
    static Cell number(const QString& digits) { return {digits, digits.toDouble()}; }
    /// A number unless its form is one of digits or names; times @p scale.
    static Cell value(const host::FormedValue& value, double scale = 1);
    /// Null in JSON, nothing in CSV, @p text for people.
    static Cell missing(const QString& text = QString()) { return {text, QJsonValue()}; }

    QString shown;
    QJsonValue json;
};

struct Column
{
    enum Side
    {
        Left,
        Right
    };

    QString name; ///< the key in JSON; people see it in capitals
    Side side = Left;
};

/// Rows of as many cells as there are columns.
struct Table
{
    std::vector<Column> columns;
    std::vector<std::vector<Cell>> rows;
};

struct OutputOptions
{
    std::string formatName = "text";
    bool isQuiet = false;

    /// Adds --format.
    void addFormatTo(CLI::App& verb);
    /// Adds --quiet.
    void addQuietTo(CLI::App& verb);
    Format format() const;
};

/// Prints all tables in one go: text with a line of titles above each and a blank
/// line between them, and nothing at all for a table without rows; JSON as one array
/// of objects; CSV with a line of names above each.
void printTables(const std::vector<Table>& tables, Format format);

/// Prints rows that come bit by bit, each on a line of its own: text with two blanks
/// between the cells, JSON as an object a line, CSV; @p withTitles: after a line that
/// names the columns, which JSON has none of. Throws as print() does.
void printRows(const Table& table, Format format, bool withTitles);

/// Writes @p text to standard output and sees it through. Throws Failure when it can't
/// be written; the text of the failure is empty when the reader has gone.
void print(const QByteArray& text);
/// Throws as print() does when anything written by other ways could not be.
void finishOutput();

/// Prints one line on standard error, unless it is to be quiet.
void tell(const QString& message, const OutputOptions& options);

/// Opens the standard streams that are closed, so that no port or file takes their
/// place, and makes writing to a closed pipe an error instead of the end.
void guardStandardStreams();

/// Whether colours may go to a descriptor: it is a terminal that knows them, and
/// NO_COLOR is not set.
bool mayColour(int descriptor);
