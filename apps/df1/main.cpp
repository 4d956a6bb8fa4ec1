#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QStringList>

#include "decode.h"
#include "doctor.h"
#include "dump.h"
#include "failure.h"
#include "info.h"
#include "links.h"
#include "output.h"
#include "plan.h"
#include "poll.h"
#include "read.h"
#include "restore.h"
#include "simulate.h"
#include "watch.h"
#include "write.h"

namespace {

int exitStatus(ExitCode code)
{
    return static_cast<int>(code);
}

const char* const EXIT_CODES =
    "Exit codes: 0 all done; 2 wrong usage or unusable address; 3 port; 4 no answer;\n"
    "5 damaged traffic; 6 refused by the controller; 7 reads back otherwise than\n"
    "written; 8 output or the trace can't be written to; 130 interrupted.\n";

/// CLI11 says only that something is missing or was not expected.
void requireVerb(const CLI::App& app, const QString& first)
{
    QStringList verbs;
    for (const CLI::App* const verb : app.get_subcommands(nullptr))
        verbs << QString::fromStdString(verb->get_name());
    const QStringList others{QStringLiteral("-h"), QStringLiteral("--help"),
                             QStringLiteral("--version")};
    if (verbs.contains(first) || others.contains(first))
        return;
    const QString all = verbs.join(QStringLiteral(", "));
    throw Failure(
        ExitCode::Usage,
        first.isEmpty()
            ? QStringLiteral("a verb is missing; give one of %1").arg(all)
            : QStringLiteral("'%1' is no verb; give one of %2 first, and options behind it")
                  .arg(first, all));
}

int runWith(int argc, char** argv)
{
    CLI::App app("Reads and writes Allen-Bradley MicroLogix controllers over DF1 full duplex.",
                 "df1");
    app.set_version_flag("--version", DF1_VERSION);
    app.require_subcommand(1);
    app.footer(EXIT_CODES);
    std::function<ExitCode()> run;
    addDecodeVerb(app, run);
    addInfoVerb(app, run);
    addLinksVerb(app, run);
    addPlanVerb(app, run);
    addReadVerb(app, run);
    addWriteVerb(app, run);
    addPollVerb(app, run);
    addDumpVerb(app, run);
    addRestoreVerb(app, run);
    addDoctorVerb(app, run);
    addSimulateVerb(app, run);
    addWatchVerb(app, run);

    requireVerb(app, argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString());
    ExitCode code = ExitCode::Success;
    try {
        app.parse(argc, argv);
        code = run();
    } catch (const CLI::ParseError& error) {
        code = app.exit(error) == 0 ? ExitCode::Success : ExitCode::Usage;
    }
    finishOutput();
    return exitStatus(code);
}

}

int main(int argc, char** argv)
{
    guardStandardStreams();
    const QCoreApplication application(argc, argv);
    try {
        return runWith(argc, argv);
    } catch (const Failure& failure) {
        report(failure);
        return exitStatus(failure.code());
    }
}
