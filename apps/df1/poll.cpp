#include "poll.h"

#include <CLI/CLI.hpp>
#include <mutex>
#include <optional>
#include <thread>

#include "endsignals.h"
#include "output.h"
#include "polling.h"
#include "target.h"

namespace {

struct PollOptions
{
    ConnectionOptions connection;
    std::vector<std::string> lists;
    RateOptions rate;
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

class Polling
{
public:
    explicit Polling(const PollOptions& options)
        : m_options(options)
        , m_driver(options.connection.plugin)
    {
        if (!options.connection.trace.empty() && options.lists.size() > 1)
            throw Failure(ExitCode::Usage,
                          QStringLiteral("--trace is for one link: give one list at a time"));
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
            throw Failure(*m_failure);
        bool isComplete = true;
        for (const auto& poller : m_pollers) {
            tell(textOf(poller->source(), poller->totals()), m_options.output);
            isComplete = isComplete && poller->totals().values > 0;
        }
        return isComplete ? ExitCode::Success : ExitCode::NoAnswer;
    }

private:
    void addLink(const ListOfLink& list)
    {
        m_places.emplace_back(list.connection, *m_driver);
        m_pollers.push_back(pollerFor(m_places.back(), list.name, tagsIn(list.file.toStdString()),
                                      m_options.rate, m_driver));
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
            requireTrace(m_places.front());
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
                polled.value ? Cell::value(*polled.value, tag.scale) : Cell::missing(missing),
                tag.unit.isEmpty() ? Cell::missing() : Cell::text(tag.unit),
                polled.value ? Cell::missing() : Cell::text(polled.error)};
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
    options->rate.addTo(*verb);
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
