#include "poll.h"

#include <CLI/CLI.hpp>
#include <mutex>
#include <optional>
#include <thread>

#include "connection.h"
#include "endsignals.h"
#include "host/linkpoller.h"
#include "output.h"
#include "target.h"

namespace {

struct PollOptions
{
    ConnectionOptions connection;
    std::vector<std::string> lists;
    qint64 interval = 1000;
    qint64 longestPause = 10000;
    std::optional<qint64> count;
    OutputOptions output;
};

/// A tag list and the link that it is for.
struct ListOfLink
{
    QString file;
    QString name; ///< of the link, as people gave it
    ConnectionOptions connection;
};

/// LINK=FILE, where a link is a name in the profile file or what --port takes; or a
/// file alone, of the link that the other options describe.
ListOfLink listOf(const std::string& text, const ConnectionOptions& options)
{
    ListOfLink list{QString::fromStdString(text), QString(), options};
    const auto equals = text.find('=');
    if (equals == std::string::npos) {
        list.name = QString::fromStdString(options.link.empty() ? options.port.value_or("sim")
                                                                : options.link);
        return list;
    }
    const std::string link = text.substr(0, equals);
    list.file = QString::fromStdString(text.substr(equals + 1));
    list.name = QString::fromStdString(link);
    if (!options.link.empty() || options.port)
        throw Failure(ExitCode::Usage,
                      QStringLiteral("'%1' names a link of its own: leave out %2")
                          .arg(QString::fromStdString(text),
                               options.link.empty() ? QStringLiteral("--port")
                                                    : QString::fromStdString(options.link)));
    if (host::isLinkName(list.name) && link != "sim")
        list.connection.link = link;
    else
        list.connection.port = link;
    return list;
}

Cell cellOf(const host::FormedValue& value, const host::Tag& tag)
{
    const QString text = value.text(tag.scale);
    const bool isNumber = host::isNumber(value.form) || value.form == host::ValueForm::Bit;
    return isNumber ? Cell::number(text) : Cell::text(text);
}

class Polling
{
public:
    explicit Polling(const PollOptions& options)
        : m_options(options)
        , m_driver(options.connection.plugin)
    {
        for (const std::string& list : options.lists)
            addLink(listOf(list, options.connection));
    }

    ExitCode run()
    {
        printRows(m_header, m_options.output.format(), true);
        std::vector<std::thread> threads;
        for (const auto& poller : m_pollers)
            threads.emplace_back([this, &poller] { poll(*poller); });
        m_ending.wait();
        m_stop.stop();
        for (std::thread& thread : threads)
            thread.join();
        if (m_failure)
            throw *m_failure;
        bool isComplete = true;
        for (const auto& poller : m_pollers) {
            tellTotals(*poller);
            isComplete = isComplete && poller->totals().values > 0;
        }
        return isComplete ? ExitCode::Success : ExitCode::NoAnswer;
    }

private:
    void addLink(const ListOfLink& list)
    {
        m_places.emplace_back(list.connection, *m_driver);
        const LinkPlace& place = m_places.back();
        host::PollSource source;
        source.name = list.name;
        source.link = place.link;
        source.line = place.line;
        source.port = place.port;
        source.tags = tagsIn(list.file.toStdString());
        host::PollSettings settings;
        settings.intervalMs = m_options.interval;
        settings.count = m_options.count;
        settings.longestPauseMs = m_options.longestPause;
        m_pollers.push_back(
            std::make_unique<host::LinkPoller>(std::move(source), settings, m_driver.create()));
    }

    void poll(host::LinkPoller& poller)
    {
        poller.run(m_stop, [this](const host::PollSource& source, const host::Scan& scan) {
            return write(source, scan);
        });
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (++m_ended == m_pollers.size())
            m_ending.end();
    }

    bool write(const host::PollSource& source, const host::Scan& scan)
    {
        Table table = m_header;
        for (size_t i = 0; i < scan.values.size(); ++i)
            table.rows.push_back(rowOf(source, source.tags[i], scan.values[i]));
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_failure)
            return false;
        try {
            printRows(table, m_options.output.format(), false);
        } catch (const Failure& failure) {
            m_failure = failure;
            m_ending.end();
        }
        return !m_failure;
    }

    static std::vector<Cell> rowOf(const host::PollSource& source, const host::Tag& tag,
                                   const host::PolledValue& polled)
    {
        const QString missing = QStringLiteral("-");
        return {Cell::text(polled.time.toString(Qt::ISODateWithMs)),
                Cell::text(source.name),
                Cell::text(tag.name),
                polled.value ? cellOf(*polled.value, tag) : Cell::missing(missing),
                tag.unit.isEmpty() ? Cell::missing() : Cell::text(tag.unit),
                polled.value ? Cell::missing() : Cell::text(polled.error)};
    }

    void tellTotals(const host::LinkPoller& poller) const
    {
        const host::PollTotals& totals = poller.totals();
        const double mean =
            totals.scans == 0 ? 0 : totals.sumMs / static_cast<double>(totals.scans);
        tell(QStringLiteral("%1: %2 scans, %3 left out, %4 values, %5 errors, opened again %6 "
                            "times, scan time %7/%8/%9 ms (least, mean, most)")
                 .arg(poller.source().name)
                 .arg(totals.scans)
                 .arg(totals.missed)
                 .arg(totals.values)
                 .arg(totals.errors)
                 .arg(totals.reopened)
                 .arg(totals.fastestMs, 0, 'f', 1)
                 .arg(mean, 0, 'f', 1)
                 .arg(totals.slowestMs, 0, 'f', 1),
             m_options.output);
    }

    const PollOptions& m_options;
    const Table m_header{
        {{"time"}, {"link"}, {"name"}, {"value", Column::Right}, {"unit"}, {"error"}}, {}};
    EndSignals m_ending;
    LoadedDriver m_driver;
    std::vector<LinkPlace> m_places;
    std::vector<std::unique_ptr<host::LinkPoller>> m_pollers;
    host::StopSignal m_stop;
    std::mutex m_mutex;
    size_t m_ended = 0;
    std::optional<Failure> m_failure;
};

}

void addPollVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<PollOptions>();
    options->output.formatName = "csv";
    CLI::App* const verb =
        app.add_subcommand("poll", "Read tag lists at a fixed rate, for a log on standard output");
    options->connection.addTo(*verb);
    verb->add_option(
            "list", options->lists,
            "Tag list, CSV with the columns name, address, type, scale, unit; LINK=TAGS.csv "
            "for several links at once, each a name in the profile file or a port")
        ->required()
        ->type_name("[LINK=]TAGS.csv");
    verb->add_option("--interval", options->interval,
                     "Time from scan to scan, such as 500ms or 2s (1s)")
        ->transform(CLI::AsNumberWithUnit(
            std::map<std::string, qint64>{{"ms", 1}, {"s", 1000}, {"min", 60000}}))
        ->check(CLI::Range(1, 86400000))
        ->type_name("TIME");
    verb->add_option("-n,--count", options->count, "Scans of each link; without it until Ctrl-C")
        ->check(CLI::PositiveNumber);
    verb->add_option("--longest-pause", options->longestPause,
                     "Longest pause between attempts at a link that is dead, such as 10s (10s)")
        ->transform(CLI::AsNumberWithUnit(
            std::map<std::string, qint64>{{"ms", 1}, {"s", 1000}, {"min", 60000}}))
        ->check(CLI::Range(1, 86400000))
        ->type_name("TIME");
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer("One row a tag and scan: time (RFC 3339, UTC), link, name, value, unit, error.\n"
                 "JSON is an object a line. Ctrl-C ends and prints totals on standard error.\n\n"
                 "Examples:\n"
                 "  df1 poll press.csv --port /dev/ttyUSB0 --interval 500ms > press.log\n"
                 "  df1 poll press4=press.csv oven=oven.csv --format json\n"
                 "  df1 poll tcp://10.0.0.7:4001=press.csv --count 10");
    verb->callback([options, &run] { run = [options] { return Polling(*options).run(); }; });
}
