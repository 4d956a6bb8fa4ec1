#include <CLI/CLI.hpp>
#include <QCoreApplication>

#include "failure.h"
#include "info.h"
#include "links.h"
#include "plan.h"
#include "read.h"
#include "simulate.h"
#include "write.h"

namespace {

int exitStatus(ExitCode code)
{
    return static_cast<int>(code);
}

const char* const EXIT_CODES =
    "Exit codes: 0 all done; 2 wrong usage or unusable address; 3 port; 4 no answer;\n"
    "5 damaged traffic; 6 refused by the controller.\n";

}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    CLI::App app("Reads and writes Allen-Bradley MicroLogix controllers over DF1 full duplex.",
                 "df1");
    app.set_version_flag("--version", DF1_VERSION);
    app.require_subcommand(1);
    app.footer(EXIT_CODES);
    std::function<ExitCode()> run;
    addInfoVerb(app, run);
    addLinksVerb(app, run);
    addPlanVerb(app, run);
    addReadVerb(app, run);
    addWriteVerb(app, run);
    addSimulateVerb(app, run);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exitStatus(ExitCode::Usage);
    }
    try {
        return exitStatus(run());
    } catch (const Failure& failure) {
        report(failure);
        return exitStatus(failure.code());
    }
}
