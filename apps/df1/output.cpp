#include "output.h"

#include <CLI/CLI.hpp>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

#include "failure.h"

namespace {

const char* const BOLD = "\033[1m";
const char* const PLAIN = "\033[0m";

// ---- text ----

QStringList titlesOf(const Table& table)
{
    QStringList titles;
    for (const Column& column : table.columns)
        titles << column.name.toUpper();
    return titles;
}

std::vector<QStringList> linesOf(const Table& table)
{
    std::vector<QStringList> lines{titlesOf(table)};
    for (const std::vector<Cell>& row : table.rows) {
        QStringList line;
        for (const Cell& cell : row)
            line << cell.shown;
        lines.push_back(line);
    }
    return lines;
}

QString aligned(const QStringList& line, const Table& table, const std::vector<int>& widths)
{
    QStringList columns;
    for (size_t i = 0; i < widths.size(); ++i) {
        const QString& text = line.at(static_cast<int>(i));
        columns << (table.columns[i].side == Column::Left ? text.leftJustified(widths[i])
                                                          : text.rightJustified(widths[i]));
    }
    QString text = columns.join(QStringLiteral("  "));
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

QByteArray textOf(const Table& table)
{
    const std::vector<QStringList> lines = linesOf(table);
    std::vector<int> widths(table.columns.size());
    for (const QStringList& line : lines) {
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], static_cast<int>(line.at(static_cast<int>(i)).size()));
    }
    const bool isColoured = mayColour(STDOUT_FILENO);
    QByteArray text;
    for (const QStringList& line : lines) {
        const QByteArray plain = aligned(line, table, widths).toUtf8();
        text += isColoured && text.isEmpty() ? BOLD + plain + PLAIN : plain;
        text += '\n';
    }
    return text;
}

// ---- JSON ----

QByteArray jsonOf(const QJsonValue& value)
{
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

// Not by QJsonObject, which would sort the keys.
QByteArray jsonOf(const std::vector<Column>& columns, const std::vector<Cell>& row)
{
    QByteArray text;
    for (size_t i = 0; i < row.size(); ++i)
        text += (i == 0 ? "{" : ", ") + jsonOf(columns[i].name) + ": " + jsonOf(row[i].json);
    return text + '}';
}

QByteArray jsonOf(const std::vector<Table>& tables)
{
    QByteArray text;
    for (const Table& table : tables) {
        for (const std::vector<Cell>& row : table.rows)
            text += (text.isEmpty() ? "\n  " : ",\n  ") + jsonOf(table.columns, row);
    }
    return text.isEmpty() ? "[]\n" : '[' + text + "\n]\n";
}

// ---- CSV ----

QByteArray csvOf(QString cell)
{
    const bool isQuoted = std::any_of(
        cell.cbegin(), cell.cend(), [](QChar c) { return QStringLiteral(",\"\r\n").contains(c); });
    if (!isQuoted)
        return cell.toUtf8();
    return '"' + cell.replace(QLatin1Char('"'), QStringLiteral("\"\"")).toUtf8() + '"';
}

QByteArray csvOf(const std::vector<Column>& columns)
{
    QByteArray text;
    for (size_t i = 0; i < columns.size(); ++i)
        text += (i == 0 ? "" : ",") + csvOf(columns[i].name);
    return text + "\r\n";
}

QByteArray csvOf(const std::vector<Cell>& row)
{
    QByteArray text;
    for (size_t i = 0; i < row.size(); ++i)
        text += (i == 0 ? "" : ",") + csvOf(row[i].json.isNull() ? QString() : row[i].shown);
    return text + "\r\n";
}

QByteArray csvOf(const Table& table)
{
    QByteArray text = csvOf(table.columns);
    for (const std::vector<Cell>& row : table.rows)
        text += csvOf(row);
    return text;
}

// ---- rows ----

QByteArray plainOf(const std::vector<Cell>& row)
{
    QStringList cells;
    for (const Cell& cell : row)
        cells << cell.shown;
    return cells.join(QStringLiteral("  ")).trimmed().toUtf8() + '\n';
}

QByteArray titleLineOf(const Table& table, Format format)
{
    if (format == Format::Json)
        return {};
    return format == Format::Csv ? csvOf(table.columns)
                                 : titlesOf(table).join(QStringLiteral("  ")).toUtf8() + '\n';
}

[[noreturn]] void failToWrite(int error)
{
    if (error == 0)
        error = EIO; // the reason is no longer known
    if (error == EPIPE)
        throw Failure(ExitCode::Output, QString());
    throw Failure(ExitCode::Output, QStringLiteral("can't write to standard output: %1")
                                        .arg(QString::fromLocal8Bit(std::strerror(error))));
}

}

Cell Cell::value(const host::FormedValue& value, double scale)
{
    const bool isNumber = value.form == host::ValueForm::Bit || host::isNumber(value.form);
    return isNumber ? number(value.text(scale)) : text(value.text(scale));
}

void OutputOptions::addFormatTo(CLI::App& verb)
{
    verb.add_option("--format", formatName, "Form of the data on standard output")
        ->check(CLI::IsMember(std::vector<std::string>{"text", "json", "csv"}))
        ->capture_default_str()
        ->group("Output");
}

void OutputOptions::addQuietTo(CLI::App& verb)
{
    verb.add_flag("-q,--quiet", isQuiet, "No messages but of failures")->group("Output");
}

Format OutputOptions::format() const
{
    return formatName == "json" ? Format::Json : formatName == "csv" ? Format::Csv : Format::Text;
}

void printTables(const std::vector<Table>& tables, Format format)
{
    if (format == Format::Json) {
        print(jsonOf(tables));
        return;
    }
    QByteArray text;
    for (const Table& table : tables) {
        if (format == Format::Csv)
            text += csvOf(table);
        else if (!table.rows.empty())
            text += (text.isEmpty() ? "" : "\n") + textOf(table);
    }
    print(text);
}

void printRows(const Table& table, Format format, bool withTitles)
{
    QByteArray lines = withTitles ? titleLineOf(table, format) : QByteArray();
    for (const std::vector<Cell>& row : table.rows) {
        if (format == Format::Json)
            lines += jsonOf(table.columns, row) + '\n';
        else
            lines += format == Format::Csv ? csvOf(row) : plainOf(row);
    }
    print(lines);
}

void print(const QByteArray& text)
{
    const auto size = static_cast<size_t>(text.size());
    if (std::fwrite(text.constData(), 1, size, stdout) != size || std::fflush(stdout) != 0)
        failToWrite(errno);
}

void finishOutput()
{
    errno = 0;
    std::cout.flush();
    if (!std::cout || std::fflush(stdout) != 0)
        failToWrite(errno);
}

void tell(const QString& message, const OutputOptions& options)
{
    if (!options.isQuiet)
        std::cerr << message.toStdString() << '\n';
}

void guardStandardStreams()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1)
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

bool mayColour(int descriptor)
{
    return ::isatty(descriptor) == 1 && qEnvironmentVariableIsEmpty("NO_COLOR")
           && qgetenv("TERM") != "dumb";
}
