#include "doctor.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "host/diagnosis.h"
#include "progress.h"
#include "simulator/server.h"

namespace {

struct DoctorOptions
{
    ConnectionOptions connection;
    bool allStations = false;
    OutputOptions output;
};

host::DiagnosisSettings settingsOf(const DoctorOptions& options, const LinkPlace& place)
{
    host::DiagnosisSettings settings;
    settings.line = place.line;
    settings.station = place.port.destination;
    settings.self = place.port.source;
    settings.timeoutMs = place.port.timeoutMs;
    settings.retries = options.connection.retry.value_or(settings.retries);
    settings.delayMs = place.port.delayMs;
    settings.allStations = options.allStations;
    return settings;
}

QString textOf(const host::Probe& probe, bool hasLineSettings)
{
    return QStringLiteral("%1station %2 %3: %4")
        .arg(hasLineSettings ? probe.line.toText() + QLatin1Char(' ') : QString())
        .arg(probe.station)
        .arg(probe.check == host::CheckMethod::Crc ? "CRC" : "BCC", nameOf(probe.outcome));
}

ExitCode exitCodeOf(const host::Diagnosis& diagnosis, const host::DiagnosisSettings& settings)
{
    using host::Finding;
    switch (diagnosis.finding) {
    case Finding::Healthy:
        return isHealthyAsGiven(diagnosis, settings) ? ExitCode::Success : ExitCode::NoAnswer;
    case Finding::Silence:
    case Finding::Unanswered:
        return ExitCode::NoAnswer;
    case Finding::Refused:
        return ExitCode::Refused;
    case Finding::PortFault:
        return ExitCode::Port;
    default:
        return ExitCode::Damaged;
    }
}

Table recordOf(const host::Diagnosis& diagnosis, const QString& verdict, const QString& options)
{
    const auto& controller = diagnosis.controller;
    const auto told = [&](const QString& text) {
        return text.isEmpty() ? Cell::missing() : Cell::text(text);
    };
    return {{{"finding"}, {"verdict"}, {"options"}, {"controller"}, {"mode"}, {"program"}},
            {{Cell::text(nameOf(diagnosis.finding)), Cell::text(verdict), told(options),
              told(controller ? controller->name : QString()),
              told(controller ? modeText(*controller) : QString()),
              controller ? Cell::number(controller->programId) : Cell::missing()}}};
}

ExitCode runDoctor(const DoctorOptions& options)
{
    EndSignals ending;
    const LoadedDriver driver(options.connection.plugin);
    const LinkPlace place(options.connection, *driver);
    const host::DiagnosisSettings settings = settingsOf(options, place);
    host::LinkLine line(place.link, observerOf(place));
    Progress progress(options.output);
    bool isFirst = true;
    const host::Diagnosis diagnosis = diagnose(line, settings, [&](const host::Probe& probe) {
        throwIfEnded(ending, QStringLiteral("interrupted before there was a verdict"));
        requireTrace(place);
        if (isFirst && !line.hasSettings())
            progress.tell(QStringLiteral("speed and parity can't be told on this port; only check "
                                         "methods and stations are tried"));
        isFirst = false;
        const QString text = textOf(probe, line.hasSettings());
        if (probe.isOfMany)
            progress.show(text);
        else
            progress.tell(text);
    });
    progress.clear();
    if (diagnosis.finding == host::Finding::PortFault)
        throw Failure(ExitCode::Port, diagnosis.fault);

    const QString verdict = verdictOf(diagnosis, settings);
    const QString given =
        optionsFor(diagnosis, place.simulator ? QStringLiteral("sim") : place.link);
    if (options.output.format() != Format::Text)
        printTables({recordOf(diagnosis, verdict, given)}, options.output.format());
    else
        print((given.isEmpty() ? verdict + '\n' : verdict + '\n' + given + '\n').toUtf8());
    return exitCodeOf(diagnosis, settings);
}

}

void addDoctorVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<DoctorOptions>();
    CLI::App* const verb = app.add_subcommand(
        "doctor", "Find out what is wrong with a line, and the options that it needs");
    options->connection.addTo(*verb);
    verb->add_flag("--all-stations", options->allStations,
                   "Ask every station number even where nothing comes back at all");
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer(
        "Asks by echo and diagnostic status only, which change nothing in a controller: with the\n"
        "line and station given, then at other speeds and parities, by CRC and by BCC, and at\n"
        "every station. Prints a verdict and, where a controller answers, the options for it.\n"
        "Exit code 0: healthy with the options given; 4: nobody answers with these; 5: damage,\n"
        "an echo, or a wrong check method.\n\n"
        "Examples:\n"
        "  df1 doctor --port /dev/ttyUSB0\n"
        "  df1 doctor --port tcp://192.168.0.10:4001 --station 3 --quiet");
    verb->callback([options, &run] { run = [options] { return runDoctor(*options); }; });
}
