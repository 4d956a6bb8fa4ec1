#include "write.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "output.h"
#include "target.h"

namespace {

struct WriteOptions
{
    ConnectionOptions connection;
    std::string address;
    std::vector<std::string> values;
    bool isDryRun = false;
    OutputOptions output;
};

ExitCode runWrite(const WriteOptions& options)
{
    const host::TagAddress target = targetOf(options.address);
    const QByteArray data = dataOf(target, options.values);
    const CommunicatorCommand request =
        writeRequest(target, static_cast<int>(options.values.size()));
    // Also of a real write: what the driver refuses shows before a port is opened.
    const std::vector<QByteArray> frames = rehearse(options.connection, request, data);
    if (options.isDryRun) {
        for (const QByteArray& frame : frames)
            print(frame.toHex(' ').toUpper() + '\n');
        return ExitCode::Success;
    }
    Connection(options.connection).write(request, data);
    tell(QStringLiteral("%1: %2 %3 written")
             .arg(target.text())
             .arg(options.values.size())
             .arg(options.values.size() == 1 ? "value" : "values"),
         options.output);
    return ExitCode::Success;
}

}

void addWriteVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<WriteOptions>();
    CLI::App* const verb = app.add_subcommand("write", "Write values into a data table");
    options->connection.addTo(*verb);
    verb->add_option("address", options->address,
                     "Where to write: N7:0, F8:1, B3:2/5, T4:0/EN, T4:0.PRE; further values go "
                     "into the elements behind it")
        ->required()
        ->type_name("ADDRESS");
    verb->add_option("value", options->values,
                     "Words from -32768 to 65535 in decimal, 0x... or 0b...; floats; 0 or 1 for a "
                     "bit. A negative one may need -- before the first")
        ->required()
        ->type_name("VALUE");
    verb->add_flag("--dry-run", options->isDryRun,
                   "Print the frames that would be sent, and open no port");
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 write N7:0 42 0x2A --port /dev/ttyUSB0\n"
                 "  df1 write --port /dev/ttyUSB0 N7:0 -- -5\n"
                 "  df1 write B3:2/5 1 --dry-run");
    verb->callback([options, &run] { run = [options] { return runWrite(*options); }; });
}
