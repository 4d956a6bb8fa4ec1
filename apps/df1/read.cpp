#include "read.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "host/values.h"
#include "output.h"
#include "target.h"

namespace {

struct ReadOptions
{
    ConnectionOptions connection;
    std::vector<std::string> addresses;
    int count = 1;
    OutputOptions output;
};

void readRows(Connection& connection, const host::TagAddress& target, int count, Table& table)
{
    const QByteArray data = connection.read(readRequest(target, count));
    for (int i = 0; i < host::valuesIn(target, data, count); ++i) {
        const host::ValueText text = host::valueAt(target, data, i);
        table.rows.push_back(
            {Cell::text(target.textOf(i)), Cell::number(text.value), Cell::text(text.hex)});
    }
}

/// Whether the next address is worth trying: the line itself is in order.
bool isAboutTheAddress(ExitCode code)
{
    return code == ExitCode::Usage || code == ExitCode::Refused;
}

ExitCode runRead(const ReadOptions& options)
{
    Connection connection(options.connection);
    Table table{{{"address"}, {"value", Column::Right}, {"hex", Column::Right}}, {}};
    ExitCode result = ExitCode::Success;
    for (const std::string& address : options.addresses) {
        try {
            readRows(connection, targetOf(address), options.count, table);
        } catch (const Failure& failure) {
            report(failure);
            if (result == ExitCode::Success)
                result = failure.code();
            if (!isAboutTheAddress(failure.code()))
                break;
        }
    }
    printTables({table}, options.output.format());
    return result;
}

}

void addReadVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* const verb = app.add_subcommand("read", "Read values and print them as a table");
    options->connection.addTo(*verb);
    verb->add_option("address", options->addresses,
                     "What to read: N7:0 (words), F8:1 (floats), T4:0 (control words), T4:0.ACC "
                     "(named words), B3:2/5, T4:0/DN, T4:0.ACC/3 (bits)")
        ->required()
        ->type_name("ADDRESS");
    verb->add_option("-n,--count", options->count, "Values from each address on")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 read N7:0 T4:0.ACC F8:1\n"
                 "  df1 read N7:0 --count 10 --port /dev/ttyUSB0 --line 9600,NONE,8,1\n"
                 "  df1 read N7:0 --port tcp://192.168.0.10:4001 --station 3");
    verb->callback([options, &run] { run = [options] { return runRead(*options); }; });
}
