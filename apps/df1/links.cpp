#include "links.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "output.h"

namespace {

struct LinksOptions
{
    std::string project;
    OutputOptions output;
};

ExitCode runLinks(const LinksOptions& options)
{
    const std::unique_ptr<host::Project> project = openProject(options.project);
    Table table{{{"link"}, {"port"}, {"station"}, {"address"}}, {}};
    for (const host::ProjectLink& link : project->links()) {
        const QString endpoint = link.ip.isEmpty()
                                     ? QString()
                                     : link.ip + QLatin1Char(':') + QString::number(link.tcpPort);
        table.rows.push_back({Cell::number(link.linkId),
                              Cell::text(host::hmiPortName(link.hmiPort)),
                              link.station ? Cell::number(*link.station) : Cell::missing("none"),
                              endpoint.isEmpty() ? Cell::missing() : Cell::text(endpoint)});
    }
    printTables({table}, options.output.format());
    return ExitCode::Success;
}

}

void addLinksVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<LinksOptions>();
    CLI::App* const verb =
        app.add_subcommand("links", "List a panel project's links, ports and default stations");
    verb->add_option("--project", options->project,
                     "Directory that holds compile/database/database")
        ->required()
        ->type_name("DIR");
    options->output.addFormatTo(*verb);
    verb->footer("Example:\n"
                 "  df1 links --project /opt/panel\n"
                 "  df1 read N7:0 --port /dev/ttyUSB0 --project /opt/panel --hmi-port COM2");
    verb->callback([options, &run] { run = [options] { return runLinks(*options); }; });
}
