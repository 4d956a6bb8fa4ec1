#include "watch.h"

#include <CLI/CLI.hpp>
#include <QElapsedTimer>
#include <clocale>
#include <cstring>
#include <langinfo.h>
#include <mutex>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

#include "endsignals.h"
#include "host/readlist.h"
#include "host/watchboard.h"
#include "output.h"
#include "polling.h"
#include "target.h"

namespace {

struct WatchOptions
{
    ConnectionOptions connection;
    std::vector<std::string> addresses;
    std::string list;
    RateOptions rate;
    OutputOptions output;
};

/// What @p item stands for; of a timer, counter or control, whose three
/// words are @p item's tags, its status bits instead of its control word.
void append(std::vector<host::Tag>& tags, const host::ReadItem& item)
{
    for (size_t i = 0; i < item.tags.size(); ++i) {
        const host::Tag& tag = item.tags[i];
        if (!item.isWhole || i % 3 != 0) {
            tags.push_back(tag);
            continue;
        }
        for (const auto& [bit, number] : host::statusBitsOf(tag.place.letter)) {
            QString error;
            tags.push_back(
                host::tagAt(tag.name + QLatin1Char('/') + bit, QString(), &error).value());
        }
    }
}

std::vector<host::Tag> watchedTags(const WatchOptions& options)
{
    std::vector<host::Tag> tags;
    if (!options.list.empty())
        tags = tagsIn(options.list);
    for (const std::string& address : options.addresses) {
        QString error;
        const auto item = host::readItem(QString::fromStdString(address), 1, QString(), &error);
        if (!item)
            throw Failure(ExitCode::Usage, error);
        append(tags, *item);
    }
    if (tags.empty())
        throw Failure(ExitCode::Usage,
                      QStringLiteral("nothing to watch: give addresses such as N7:0, or --tags "
                                     "FILE"));
    return tags;
}

bool speaksUtf8()
{
    std::setlocale(LC_CTYPE, "");
    return std::strcmp(::nl_langinfo(CODESET), "UTF-8") == 0;
}

struct Size
{
    int columns;
    int lines;
};

/// Asked for each time, so that a window may change.
Size terminalSize()
{
    winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {80, 24};
    return {size.ws_col, size.ws_row};
}

/// The terminal's other screen, without a cursor, for as long as this lives.
class Screen
{
public:
    Screen() { print("\033[?1049h\033[?25l"); }
    ~Screen()
    {
        try {
            print("\033[?25h\033[?1049l");
        } catch (const Failure&) {
            // the terminal has gone, and with it what there was to restore
        }
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    static void show(const QStringList& lines)
    {
        QByteArray text = "\033[H";
        for (int i = 0; i < lines.size(); ++i)
            text += (i == 0 ? "" : "\r\n") + lines.at(i).toUtf8() + "\033[K";
        print(text + "\033[J");
    }
};

QString ageText(const std::optional<qint64>& milliseconds)
{
    if (!milliseconds)
        return QString();
    return QStringLiteral("%1 s").arg(static_cast<double>(*milliseconds) / 1000, 0, 'f', 1);
}

/// The table as lines no longer than the terminal is wide.
class Picture
{
public:
    Picture(const host::WatchBoard& board, const Size& size, bool isUnicode, bool isColoured)
        : m_board(board)
        , m_size(size)
        , m_isUnicode(isUnicode)
        , m_isColoured(isColoured)
    {}

    QStringList lines(const QString& footer, qint64 now) const
    {
        const std::vector<host::WatchBoard::Row> rows = m_board.rows(now);
        const auto most = static_cast<size_t>(std::max(m_size.lines - 4, 1));
        const size_t shown = std::min(rows.size(), most);
        int nameWidth = 4;
        for (size_t i = 0; i < shown; ++i)
            nameWidth = std::max(nameWidth, static_cast<int>(rows[i].name.size()));
        nameWidth = std::min(nameWidth, m_size.columns / 3);
        QStringList lines(cut(QStringLiteral("NAME").leftJustified(nameWidth)
                              + QStringLiteral("VALUE").rightJustified(14)
                              + QStringLiteral("AGE").rightJustified(10)
                              + QStringLiteral("  TREND / ERROR")));
        for (size_t i = 0; i < shown; ++i)
            lines << line(rows[i], nameWidth);
        if (shown < rows.size())
            lines << cut(
                QStringLiteral("(%1 more; make the window higher)").arg(rows.size() - shown));
        return lines << QString() << cut(footer);
    }

private:
    QString cut(const QString& text) const { return text.left(m_size.columns); }

    QString line(const host::WatchBoard::Row& row, int nameWidth) const
    {
        const QString value = row.value + (row.unit.isEmpty() ? QString() : ' ' + row.unit);
        QString text = cut(
            QStringLiteral("%1 %2%3%4  %5")
                .arg(row.name.left(nameWidth).leftJustified(nameWidth),
                     QLatin1String(row.hasChanged ? "*" : " "), value.rightJustified(12),
                     ageText(row.ageMs).rightJustified(10),
                     row.error.isEmpty() ? host::sparkline(row.history, m_isUnicode) : row.error));
        if (!m_isColoured || (row.error.isEmpty() && !row.hasChanged))
            return text;
        return QLatin1String(row.error.isEmpty() ? "\033[1;33m" : "\033[31m") + text
               + QStringLiteral("\033[0m");
    }

    const host::WatchBoard& m_board;
    Size m_size;
    bool m_isUnicode;
    bool m_isColoured;
};

class Watching
{
public:
    explicit Watching(const WatchOptions& options)
        : m_options(options)
        , m_driver(options.connection.plugin)
        , m_place(options.connection, *m_driver)
        , m_poller(pollerFor(m_place, nameOf(options.connection), watchedTags(options),
                             options.rate, m_driver))
        , m_board(m_poller->source().tags)
    {
        m_clock.start();
    }

    ExitCode run()
    {
        std::thread thread([this] {
            m_poller->run(m_stop, [this](const host::PollSource& source, const host::Scan& scan) {
                return take(source, scan);
            });
            m_ending.end();
        });
        try {
            ::isatty(STDOUT_FILENO) ? draw() : m_ending.wait();
        } catch (const Failure& failure) {
            m_failure = failure;
        }
        m_stop.stop();
        thread.join();
        if (m_failure)
            throw Failure(*m_failure);
        tell(textOf(m_poller->source(), m_poller->totals()), m_options.output);
        return m_poller->totals().values > 0 ? ExitCode::Success : ExitCode::NoAnswer;
    }

private:
    static QString nameOf(const ConnectionOptions& options)
    {
        return QString::fromStdString(options.link.empty() ? options.port.value_or("sim")
                                                           : options.link);
    }

    bool take(const host::PollSource& source, const host::Scan& scan)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_board.take(scan, m_clock.elapsed());
        try {
            requireTrace(m_place);
            if (::isatty(STDOUT_FILENO))
                return true;
            printRows(rowsOf(source, scan), m_options.output.format(), false);
        } catch (const Failure& failure) {
            m_failure = failure;
        }
        return !m_failure;
    }

    static Table rowsOf(const host::PollSource& source, const host::Scan& scan)
    {
        Table table{{{"time"}, {"name"}, {"value"}, {"unit"}, {"error"}}, {}};
        for (size_t i = 0; i < scan.values.size(); ++i)
            table.rows.push_back(rowOf(source.tags[i], scan.values[i]));
        return table;
    }

    static std::vector<Cell> rowOf(const host::Tag& tag, const host::PolledValue& polled)
    {
        return {Cell::text(polled.time.toString(Qt::ISODateWithMs)), Cell::text(tag.name),
                polled.value ? Cell::value(*polled.value, tag.scale)
                             : Cell::missing(QStringLiteral("-")),
                tag.unit.isEmpty() ? Cell::missing() : Cell::text(tag.unit),
                polled.value ? Cell::missing() : Cell::text(polled.error)};
    }

    void draw()
    {
        constexpr int redrawMs = 200;
        const bool isUnicode = speaksUtf8();
        const bool isColoured = mayColour(STDOUT_FILENO);
        const Screen screen;
        do {
            const std::lock_guard<std::mutex> lock(m_mutex);
            const Picture picture(m_board, terminalSize(), isUnicode, isColoured);
            Screen::show(picture.lines(footer(), m_clock.elapsed()));
        } while (!m_ending.waitFor(redrawMs));
    }

    QString footer() const
    {
        return QStringLiteral("%1: every %2 ms, %3 scans, quality %4 %, scan %5 ms   Ctrl-C ends")
            .arg(m_poller->source().name)
            .arg(m_options.rate.interval)
            .arg(m_board.scans())
            .arg(m_board.quality(), 0, 'f', 1)
            .arg(m_board.milliseconds(), 0, 'f', 1);
    }

    const WatchOptions& m_options;
    EndSignals m_ending;
    LoadedDriver m_driver;
    LinkPlace m_place;
    std::unique_ptr<host::LinkPoller> m_poller;
    host::StopSignal m_stop;
    std::mutex m_mutex;
    host::WatchBoard m_board;
    QElapsedTimer m_clock;
    std::optional<Failure> m_failure;
};

}

void addWatchVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<WatchOptions>();
    CLI::App* const verb = app.add_subcommand("watch", "Show values live");
    options->connection.addTo(*verb);
    verb->add_option("address", options->addresses,
                     "What to watch, as of df1 read: N7:0,L10, F8:1, T4:0, T4:0.ACC, B3:2/5")
        ->type_name("ADDRESS");
    verb->add_option("--tags", options->list,
                     "Tag list, CSV with the columns name, address, type, scale, unit")
        ->type_name("FILE");
    options->rate.addTo(*verb);
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer("In a terminal a table: value (* and colour: it has just changed), age, trend or\n"
                 "error, and below it rate, quality (values of the last 100 scans that came) and\n"
                 "the time of a scan. Elsewhere a line for each value.\n\n"
                 "Examples:\n"
                 "  df1 watch N7:0 F8:1 T4:0.ACC --port /dev/ttyUSB0\n"
                 "  df1 watch press4 --tags press.csv --interval 250ms");
    verb->callback([options, &run] { run = [options] { return Watching(*options).run(); }; });
}
