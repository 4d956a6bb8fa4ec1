#include "read.h"

#include <CLI/CLI.hpp>

#include "batchread.h"
#include "output.h"

namespace {

using Values = std::vector<std::optional<host::FormedValue>>;

struct ReadOptions
{
    ConnectionOptions connection;
    std::vector<std::string> addresses;
    int count = 1;
    std::string form;
    OutputOptions output;
};

// ---- rows ----

Cell hexOf(const host::FormedValue& value)
{
    const int digits = value.form == host::ValueForm::Bit ? 1 : 2 * bytesOf(value.form);
    return Cell::text(QStringLiteral("%1").arg(value.bits, digits, 16, QLatin1Char('0')).toUpper());
}

Table tableOfValues()
{
    return {{{"address"}, {"value", Column::Right}, {"hex", Column::Right}}, {}};
}

void addValue(Table& table, const QString& address, const host::FormedValue& value)
{
    table.rows.push_back({Cell::text(address), Cell::value(value), hexOf(value)});
}

void addValues(Table& table, const host::ReadItem& item, const Values& values)
{
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i])
            addValue(table, item.tags[i].name, *values[i]);
    }
}

// ---- timers, counters and controls whole ----

/// A bit or a word of an element.
struct Part
{
    QString name;
    QString address;
    host::FormedValue value;
};

/// The parts of the element whose control word is @p tag; none unless all its words
/// have been read.
std::vector<Part> partsOf(const host::ReadItem& item, const Values& values, size_t tag)
{
    const size_t wordsPerElement = 3;
    for (size_t word = 0; word < wordsPerElement; ++word) {
        if (!values[tag + word])
            return {};
    }
    const host::Tag& control = item.tags[tag];
    std::vector<Part> parts;
    for (const auto& [name, number] : host::statusBitsOf(control.place.letter))
        parts.push_back({name,
                         control.name + QLatin1Char('/') + name,
                         {host::ValueForm::Bit, values[tag]->bits >> number & 1}});
    const QStringList words = host::wordNamesOf(control.place.letter);
    for (size_t word = 1; word < wordsPerElement; ++word)
        parts.push_back({words.at(static_cast<int>(word) - 1), item.tags[tag + word].name,
                         *values[tag + word]});
    return parts;
}

/// @p add is called for each element with its address and its parts.
template <typename Add>
void forEachElement(const host::ReadItem& item, const Values& values, const Add& add)
{
    for (size_t tag = 0; tag < values.size(); tag += 3) {
        const std::vector<Part> parts = partsOf(item, values, tag);
        if (!parts.empty())
            add(item.tags[tag].name, parts);
    }
}

/// A row for each element, with a column for each of its parts.
Table tableOfElements(const host::ReadItem& item, const Values& values)
{
    Table table;
    forEachElement(item, values, [&](const QString& address, const std::vector<Part>& parts) {
        table.columns = {{"address"}};
        std::vector<Cell> row = {Cell::text(address)};
        for (const Part& part : parts) {
            table.columns.push_back({part.name, Column::Right});
            row.push_back(Cell::value(part.value));
        }
        table.rows.push_back(row);
    });
    return table;
}

bool isAlike(const Table& one, const Table& other)
{
    return std::equal(one.columns.begin(), one.columns.end(), other.columns.begin(),
                      other.columns.end(),
                      [](const Column& a, const Column& b) { return a.name == b.name; });
}

void append(std::vector<Table>& tables, Table table)
{
    if (tables.empty() || !isAlike(tables.back(), table))
        tables.push_back(std::move(table));
    else
        tables.back().rows.insert(tables.back().rows.end(), table.rows.begin(), table.rows.end());
}

/// For people and for JSON: neighbours with the same columns share a table.
std::vector<Table> tablesOf(const BatchRead& batch)
{
    std::vector<Table> tables;
    for (size_t i = 0; i < batch.items().size(); ++i) {
        const host::ReadItem& item = batch.items()[i];
        Table table = tableOfValues();
        if (item.isWhole)
            table = tableOfElements(item, batch.valuesOf(i));
        else
            addValues(table, item, batch.valuesOf(i));
        if (!table.rows.empty())
            append(tables, std::move(table));
    }
    return tables;
}

/// For CSV, which has the same columns all the way: a row for each part.
Table longTableOf(const BatchRead& batch)
{
    Table table = tableOfValues();
    for (size_t i = 0; i < batch.items().size(); ++i) {
        const host::ReadItem& item = batch.items()[i];
        if (!item.isWhole) {
            addValues(table, item, batch.valuesOf(i));
            continue;
        }
        forEachElement(item, batch.valuesOf(i),
                       [&](const QString&, const std::vector<Part>& parts) {
                           for (const Part& part : parts)
                               addValue(table, part.address, part.value);
                       });
    }
    return table;
}

// ---- the verb ----

/// What the addresses stand for; those that stand for nothing are reported.
std::vector<host::ReadItem> itemsOf(const ReadOptions& options)
{
    std::vector<host::ReadItem> items;
    for (const std::string& address : options.addresses) {
        QString error;
        const auto item = host::readItem(QString::fromStdString(address), options.count,
                                         QString::fromStdString(options.form), &error);
        if (item)
            items.push_back(*item);
        else
            report(Failure(ExitCode::Usage, error));
    }
    return items;
}

ExitCode runRead(const ReadOptions& options)
{
    const std::vector<host::ReadItem> items = itemsOf(options);
    if (items.empty())
        return ExitCode::Usage;
    options.connection.tellOfSimulator(options.output);
    Connection connection(options.connection);
    BatchRead batch(connection, items);
    const ExitCode code = batch.run();
    const Format format = options.output.format();
    printTables(format == Format::Csv ? std::vector<Table>{longTableOf(batch)} : tablesOf(batch),
                format);
    return items.size() < options.addresses.size() ? ExitCode::Usage : code;
}

std::vector<std::string> formNames()
{
    std::vector<std::string> names;
    for (const QString& name : host::formNames()) {
        if (host::formNamed(name) != host::ValueForm::Bit)
            names.push_back(name.toStdString());
    }
    return names;
}

}

void addReadVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* const verb = app.add_subcommand("read", "Read values and print them");
    options->connection.addTo(*verb);
    verb->add_option("address", options->addresses,
                     "What to read: N7:0 (words), F8:1 (floats), T4:0 (timers, counters and "
                     "controls whole), T4:0.ACC (named words), B3:2/5, T4:0/DN, T4:0.ACC/3 "
                     "(bits); N7:0,L10: ten values from there on")
        ->required()
        ->type_name("ADDRESS");
    verb->add_option("-n,--count", options->count, "Values from each address without a length on")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    verb->add_option("--as", options->form,
                     "Show words as signed or unsigned, in hexadecimal or binary, as the numbers "
                     "of the bits that are on, or in pairs, low word first, as 32-bit values")
        ->check(CLI::IsMember(formNames(), CLI::ignore_case));
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 read N7:0,L10 T4:0 F8:1\n"
                 "  df1 read press4 N7:0,L4 --as u32 --format json\n"
                 "  df1 read N7:0 --count 10 --port /dev/ttyUSB0 --line 9600,NONE,8,1\n"
                 "  df1 read N7:0 --port tcp://192.168.0.10:4001 --station 3");
    verb->callback([options, &run] { run = [options] { return runRead(*options); }; });
}
