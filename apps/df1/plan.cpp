#include "plan.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

#include "host/linesettings.h"
#include "host/requestplan.h"
#include "output.h"
#include "target.h"

namespace {

struct PlanOptions
{
    std::string tags;
    std::string line = "19200,NONE,8,1";
    int limit = host::USUAL_DATA_BYTES;
    int turnaround = 0; // milliseconds
    int station = 1;
    int top = 10;
    OutputOptions output;
};

using Reads = std::vector<host::PlannedRead>;
using Tags = std::vector<host::Tag>;

host::PlanSettings settingsIn(const PlanOptions& options)
{
    QString error;
    const auto line = host::LineSettings::parse(QString::fromStdString(options.line), &error);
    if (!line)
        throw Failure(ExitCode::Usage, error);
    host::PlanSettings settings;
    settings.line.secondsPerByte = line->secondsPerByte();
    settings.line.turnaround = options.turnaround / 1000.0;
    settings.line.destination = options.station;
    settings.dataBytes = options.limit;
    return settings;
}

Cell milliseconds(double seconds)
{
    return Cell::number(QString::number(seconds * 1000, 'f', 1));
}

Column number(const char* name)
{
    return {QLatin1String(name), Column::Right};
}

Table requestTable(const Reads& reads)
{
    Table table{{{"request"}, number("count"), number("tags"), number("bytes"), number("ms")}, {}};
    for (const host::PlannedRead& read : reads)
        table.rows.push_back({Cell::text(read.command.address), Cell::number(read.command.count),
                              Cell::number(static_cast<int>(read.slices.size())),
                              Cell::number(read.lineBytes), milliseconds(read.seconds)});
    return table;
}

struct Costly
{
    int tag;
    double seconds;
};

/// Those without which a scan would be shorter, the dearest first.
std::vector<Costly> costliest(const Reads& reads, const Tags& tags,
                              const host::PlanSettings& settings, int most)
{
    std::vector<Costly> all;
    for (const host::PlannedRead& read : reads) {
        const std::vector<double> savings = savingsOf(read, tags, settings);
        for (size_t i = 0; i < savings.size(); ++i) {
            if (savings[i] > 0)
                all.push_back({read.slices[i].tag, savings[i]});
        }
    }
    const auto count = std::min(all.size(), static_cast<size_t>(most));
    std::partial_sort(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count), all.end(),
                      [](const Costly& a, const Costly& b) {
                          return a.seconds > b.seconds || (a.seconds == b.seconds && a.tag < b.tag);
                      });
    all.resize(count);
    return all;
}

Table tagTable(const std::vector<Costly>& costly, const Tags& tags)
{
    Table table{{{"tag"}, {"address"}, number("saves_ms")}, {}};
    for (const Costly& entry : costly) {
        const host::Tag& tag = tags[static_cast<size_t>(entry.tag)];
        table.rows.push_back(
            {Cell::text(tag.name), Cell::text(tag.address), milliseconds(entry.seconds)});
    }
    return table;
}

Table scanTable(const Reads& reads, const Tags& tags)
{
    const auto bytes = std::accumulate(
        reads.begin(), reads.end(), qint64(0),
        [](qint64 sum, const host::PlannedRead& read) { return sum + read.lineBytes; });
    Table table{{number("tags"), number("requests"), number("bytes"), number("scan_ms")}, {}};
    table.rows.push_back({Cell::number(static_cast<int>(tags.size())),
                          Cell::number(static_cast<int>(reads.size())),
                          Cell::number(QString::number(bytes)), milliseconds(secondsOf(reads))});
    return table;
}

ExitCode runPlan(const PlanOptions& options)
{
    const host::PlanSettings settings = settingsIn(options);
    const Tags tags = tagsIn(options.tags);
    const Reads reads = planReads(tags, settings);
    const std::vector<Costly> dearest =
        options.top == 0 ? std::vector<Costly>() : costliest(reads, tags, settings, options.top);
    printTables({requestTable(reads), tagTable(dearest, tags), scanTable(reads, tags)},
                options.output.format());
    return ExitCode::Success;
}

}

void addPlanVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<PlanOptions>();
    CLI::App* const verb =
        app.add_subcommand("plan", "Tell the requests that a tag list takes, and their time");
    verb->add_option("tags", options->tags,
                     "CSV file; its first line names the columns name,address,type,scale,unit, of "
                     "which name and address are required")
        ->required()
        ->type_name("TAGS.csv");
    verb->add_option("--line", options->line, "Baud rate, parity, data bits and stop bits")
        ->capture_default_str();
    verb->add_option(
            "--limit", options->limit,
            "Data bytes that the controller takes in one request; 82 for a MicroLogix 1000")
        ->check(CLI::Range(6, host::MOST_DATA_BYTES))
        ->capture_default_str();
    verb->add_option("--turnaround", options->turnaround,
                     "Milliseconds that pass at each request beside its bytes")
        ->check(CLI::Range(0, 60000))
        ->capture_default_str();
    verb->add_option("--station", options->station, "Station number of the controller")
        ->check(CLI::Range(0, 254))
        ->capture_default_str();
    verb->add_option("--top", options->top, "So many of the tags that cost most; 0: none")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    options->output.addFormatTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 plan plant.csv\n"
                 "  df1 plan plant.csv --line 38400,NONE,8,1 --turnaround 5 --limit 82");
    verb->callback([options, &run] { run = [options] { return runPlan(*options); }; });
}
