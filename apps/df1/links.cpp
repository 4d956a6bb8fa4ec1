#include "links.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "output.h"

namespace {

struct LinksOptions
{
    std::string project;
    std::string profile;
    OutputOptions output;
};

Table profileTable(const std::string& file)
{
    const auto cellOf = [](const std::optional<int>& number) {
        return number ? Cell::number(*number) : Cell::missing();
    };
    Table table{{{"link"},
                 {"port"},
                 {"line"},
                 {"station", Column::Right},
                 {"self", Column::Right},
                 {"timeout", Column::Right},
                 {"retry", Column::Right},
                 {"delay", Column::Right},
                 {"limit", Column::Right}},
                {}};
    for (const auto& [name, link] : openProfiles(file))
        table.rows.push_back({Cell::text(name), Cell::text(link.port),
                              link.line ? Cell::text(*link.line) : Cell::missing(),
                              cellOf(link.station), cellOf(link.self), cellOf(link.timeoutMs),
                              cellOf(link.retry), cellOf(link.delayMs), cellOf(link.limit)});
    return table;
}

Table projectTable(const std::string& directory)
{
    const std::unique_ptr<host::Project> project = openProject(directory);
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
    return table;
}

ExitCode runLinks(const LinksOptions& options)
{
    printTables(
        {options.project.empty() ? profileTable(options.profile) : projectTable(options.project)},
        options.output.format());
    return ExitCode::Success;
}

}

void addLinksVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<LinksOptions>();
    CLI::App* const verb =
        app.add_subcommand("links", "List the links of the profile file or of a panel project");
    CLI::Option* const project =
        verb->add_option("--project", options->project,
                         "Panel project, which holds compile/database/database: list its links, "
                         "ports and default stations")
            ->type_name("DIR");
    verb->add_option("--profile", options->profile,
                     "Profile file (micrologix/links.json in the configuration folder)")
        ->type_name("FILE")
        ->excludes(project);
    options->output.addFormatTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 links\n"
                 "  df1 links --project /opt/panel\n"
                 "  df1 read N7:0 --port /dev/ttyUSB0 --project /opt/panel --hmi-port COM2");
    verb->callback([options, &run] { run = [options] { return runLinks(*options); }; });
}
