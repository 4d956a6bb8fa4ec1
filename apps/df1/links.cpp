#include "links.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "table.h"

namespace {

ExitCode runLinks(const std::string& directory)
{
    const std::unique_ptr<host::Project> project = openProject(directory);
    std::vector<QStringList> rows;
    for (const host::ProjectLink& link : project->links()) {
        const QString endpoint = link.ip.isEmpty()
                                     ? QString()
                                     : link.ip + QLatin1Char(':') + QString::number(link.tcpPort);
        rows.push_back({QString::number(link.linkId), host::hmiPortName(link.hmiPort),
                        link.station ? QString::number(*link.station) : QStringLiteral("none"),
                        endpoint});
    }
    printTable({"LINK", "PORT", "STATION", "ADDRESS"}, rows, 4);
    return ExitCode::Success;
}

}

void addLinksVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto project = std::make_shared<std::string>();
    CLI::App* const verb =
        app.add_subcommand("links", "List a panel project's links, ports and default stations");
    verb->add_option("--project", *project, "Directory that holds compile/database/database")
        ->required()
        ->type_name("DIR");
    verb->footer("Example:\n"
                 "  df1 links --project /opt/panel\n"
                 "  df1 read N7:0 --port /dev/ttyUSB0 --project /opt/panel --hmi-port COM2");
    verb->callback([project, &run] { run = [project] { return runLinks(*project); }; });
}
