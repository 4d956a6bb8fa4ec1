#include "restore.h"

#include <CLI/CLI.hpp>
#include <QJsonArray>
#include <algorithm>
#include <iostream>
#include <poll.h>
#include <unistd.h>

#include "host/tagaddress.h"
#include "host/values.h"
#include "host/wording.h"
#include "progress.h"
#include "simulator/jsonfile.h"
#include "simulator/tablesfile.h"
#include "tableconnection.h"

namespace {

struct RestoreOptions
{
    ConnectionOptions connection;
    std::string source;
    std::vector<std::string> files;
    bool isConfirmed = false;
    bool isDryRun = false;
    OutputOptions output;
};

using Differences = std::vector<host::Difference>;

Failure usage(const QString& text)
{
    return Failure(ExitCode::Usage, text);
}

/// Several texts as one, the first ten of them by name.
QString listOf(const QStringList& texts)
{
    const int most = 10;
    if (texts.size() <= most)
        return texts.join(QLatin1Char(' '));
    return QStringLiteral("%1 and %2 more")
        .arg(texts.mid(0, most).join(QLatin1Char(' ')))
        .arg(texts.size() - most);
}

QStringList addressesOf(const Differences& differences)
{
    QStringList addresses;
    for (const host::Difference& difference : differences)
        addresses << difference.address();
    return addresses;
}

// ---- what is wanted ----

/// What a dump holds; the controller that it was made of, where it says so.
struct Wanted
{
    QString controller;
    std::vector<host::DataFile> files;
};

// Where the simulator takes zeros for values that are left out, a machine must not.
void requireAllValues(const QJsonArray& files, const simulator::DataTables& tables,
                      const QString& source)
{
    for (int i = 0; i < static_cast<int>(files.size()); ++i) {
        const QJsonObject file = files.at(i).toObject();
        const int given = static_cast<int>(file.value("values").toArray().size());
        const int elements = tables.file(file.value("number").toInt())->elements();
        if (given != elements)
            throw usage(QStringLiteral("%1: files[%2] has values for %3 of its %4 elements; what "
                                       "is restored needs them all")
                            .arg(source)
                            .arg(i)
                            .arg(given)
                            .arg(elements));
    }
}

Wanted wantedIn(const std::string& source)
{
    const QString name = QString::fromStdString(source);
    QString error;
    const auto json = simulator::fileBytes(name, &error);
    if (!json)
        throw usage(error);
    const auto description = simulator::parseTables(*json, 0, &error);
    if (!description)
        throw usage(name + QStringLiteral(": ") + error);
    const QJsonObject object = simulator::jsonObject(*json);
    if (!object.contains("files"))
        throw usage(name + QStringLiteral(": there are no \"files\" in it"));
    requireAllValues(object.value("files").toArray(), description->tables, name);

    Wanted wanted;
    if (object.contains("catalogue"))
        wanted.controller = QString::fromLatin1(description->model.catalogueNumber);
    for (const auto& [number, file] : description->tables.files()) {
        const host::DataFileName named = {simulator::fileLetter(file.type()), number};
        if ((named.letter == 'O' && number != 0) || (named.letter == 'I' && number != 1))
            throw usage(QStringLiteral("%1: file %2 can't be of type %3; O is file 0, I file 1")
                            .arg(name)
                            .arg(number)
                            .arg(QLatin1Char(named.letter)));
        wanted.files.push_back({named, *file.read(0, 0, file.elements() * file.bytesPerElement())});
    }
    return wanted;
}

/// Whether writing the file may move what the controller drives, or stop it.
bool isDangerous(const host::DataFileName& name)
{
    return name.letter == 'O' || name.letter == 'I' || name.letter == 'S';
}

host::DataFile takeNamed(const Wanted& wanted, const RestoreOptions& options,
                         const std::string& text)
{
    QString error;
    const auto name = host::parseDataFileName(QString::fromStdString(text), &error);
    if (!name)
        throw usage(error);
    if (isDangerous(*name) && !options.isConfirmed && !options.isDryRun)
        throw usage(QStringLiteral("%1: writing outputs, inputs or status words can move machines "
                                   "or stop the controller; add --yes to do it")
                        .arg(name->text()));
    for (const host::DataFile& file : wanted.files) {
        if (file.name == *name)
            return file;
    }
    throw usage(QStringLiteral("%1: there is no such file in %2")
                    .arg(name->text(), QString::fromStdString(options.source)));
}

std::vector<host::DataFile> chosen(const Wanted& wanted, const RestoreOptions& options)
{
    std::vector<host::DataFile> files;
    for (const std::string& text : options.files) {
        const host::DataFile named = takeNamed(wanted, options, text);
        const bool isNew = std::none_of(files.begin(), files.end(),
                                        [&](const auto& file) { return file.name == named.name; });
        if (isNew)
            files.push_back(named);
    }
    if (!options.files.empty())
        return files;
    QStringList leftOut;
    for (const host::DataFile& file : wanted.files) {
        if (isDangerous(file.name))
            leftOut << file.name.text();
        else
            files.push_back(file);
    }
    if (!leftOut.isEmpty())
        tell(QStringLiteral("left out: %1 (name them, with --yes, to write them)")
                 .arg(listOf(leftOut)),
             options.output);
    return files;
}

// ---- what is there ----

class Restoration
{
public:
    Restoration(const RestoreOptions& options, const Wanted& wanted)
        : m_options(options)
        , m_wanted(chosen(wanted, options))
        , m_progress(options.output)
    {
        options.connection.tellOfSimulator(options.output);
        ConnectionOptions connection = options.connection;
        connection.takeProfile();
        m_access = std::make_unique<TableConnection>(connection, m_ending);
        m_dataBytes = connection.dataBytes();
        compareIdentity(wanted.controller);
    }

    ExitCode run()
    {
        compareAll();
        printDifferences();
        requireAll();
        if (m_count > 0 && !m_options.isDryRun) {
            confirm();
            writeAll();
        }
        return conclude();
    }

private:
    struct ChangedFile
    {
        host::DataFile wanted;
        int elements; ///< that the controller has of it
        Differences differences;
    };

    void compareIdentity(const QString& dumped)
    {
        const auto status = m_access->identity();
        const QString present = status ? status->name : QString();
        if (!dumped.isEmpty() && !present.isEmpty() && dumped != present)
            m_progress.tell(QStringLiteral("the dump is of a %1, but this is a %2; make sure that "
                                           "it is the right controller")
                                .arg(dumped, present));
    }

    /// The file as the controller has it, as far as @p wanted goes.
    host::DataFile readPresent(const host::DataFile& wanted, int elements)
    {
        const QString name = wanted.name.text();
        int done = 0;
        const auto bytes =
            readDataFile(*m_access, {wanted.name, elements}, m_dataBytes, [&](int count) {
                done += count;
                m_progress.show(QStringLiteral("reading ") + name, done, elements);
            });
        if (!bytes)
            throw Failure(ExitCode::Refused,
                          QStringLiteral("%1 has changed while it was read; is a program being "
                                         "downloaded?")
                              .arg(name));
        return {wanted.name, *bytes};
    }

    void compareAll()
    {
        try {
            for (const host::DataFile& file : m_wanted)
                compare(file);
        } catch (const Failure& failure) {
            throw Failure(failure.code(), QString::fromUtf8(failure.what())
                                              + QStringLiteral("; nothing is written"));
        }
        m_progress.clear();
    }

    void compare(const host::DataFile& wanted)
    {
        const QString name = wanted.name.text();
        m_progress.show(QStringLiteral("looking at ") + name);
        const int present = lengthOf(*m_access, wanted.name);
        if (present == 0) {
            m_missing << name;
            return;
        }
        if (present < wanted.elements())
            m_missing
                << QStringLiteral("%1:%2-%3").arg(name).arg(present).arg(wanted.elements() - 1);
        const int elements = std::min(present, wanted.elements());
        const Differences differences = differencesOf(readPresent(wanted, elements), wanted);
        m_count += static_cast<int>(differences.size());
        if (!differences.empty())
            m_changed.push_back({wanted, elements, differences});
    }

    void printDifferences() const
    {
        Table table{{{"address"}, {"now", Column::Right}, {"wanted", Column::Right}}, {}};
        for (const ChangedFile& file : m_changed) {
            for (const host::Difference& difference : file.differences)
                table.rows.push_back({Cell::text(difference.address()),
                                      valueOf(difference, difference.now),
                                      valueOf(difference, difference.wanted)});
        }
        printTables({table}, m_options.output.format());
    }

    static Cell valueOf(const host::Difference& difference, const QByteArray& bytes)
    {
        QString error;
        const auto address = host::TagAddress::parse(difference.address(), &error);
        return Cell::number(host::valueAt(*address, bytes, 0).value);
    }

    void requireAll() const
    {
        if (!m_missing.isEmpty())
            throw Failure(ExitCode::Refused,
                          QStringLiteral("the controller does not have %1; nothing is written: is "
                                         "it the right one? Name the files to write the others")
                              .arg(listOf(m_missing)));
    }

    QString difference() const
    {
        return host::counted(m_count, "value")
               + QLatin1String(m_count == 1 ? " differs" : " differ");
    }

    void confirm()
    {
        if (m_options.isConfirmed)
            return;
        const QString question = difference();
        if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1)
            throw usage(question + QStringLiteral("; nothing is written without --yes"));
        std::cerr << question.toStdString() << "; write them to station " << m_access->station()
                  << "? [y/N] " << std::flush;
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        while (::poll(&input, 1, 100) <= 0) {
            if (!m_ending.waitFor(0))
                continue;
            std::cerr << '\n';
            throw Failure(ExitCode::Interrupted, QStringLiteral("interrupted; nothing is written"));
        }
        std::string answer;
        std::getline(std::cin, answer);
        if (answer != "y" && answer != "Y" && answer != "yes")
            throw usage(QStringLiteral("not confirmed; nothing is written"));
    }

    void writeAll()
    {
        try {
            for (const ChangedFile& file : m_changed)
                writeFile(file);
        } catch (const Failure& failure) {
            throw Failure(failure.code(),
                          QStringLiteral("%1; %2 of %3 confirmed: run it again to go on")
                              .arg(QString::fromUtf8(failure.what()))
                              .arg(m_settled - m_refused.size())
                              .arg(host::counted(m_count, "value")));
        }
        m_progress.clear();
    }

    void writeFile(const ChangedFile& file)
    {
        const Differences refused =
            writeDifferences(*m_access, file.differences, m_dataBytes, [&](int values) {
                m_settled += values;
                m_progress.show(QStringLiteral("writing ") + file.wanted.name.text(), m_settled,
                                m_count);
            });
        m_refused << addressesOf(refused);

        // Of what differs now, the rest has been changed by the controller itself.
        const QStringList written = addressesOf(file.differences);
        const host::DataFile present = readPresent(file.wanted, file.elements);
        for (const QString& address : addressesOf(differencesOf(present, file.wanted))) {
            if (written.contains(address) && !m_refused.contains(address))
                m_unkept << address;
        }
    }

    ExitCode conclude()
    {
        QStringList troubles;
        if (!m_refused.isEmpty())
            troubles << QStringLiteral("refused: ") + listOf(m_refused);
        if (!m_unkept.isEmpty())
            troubles << QStringLiteral("written, but read back otherwise: ") + listOf(m_unkept);
        const QString done = m_count == 0 ? QStringLiteral("nothing differs")
                             : m_options.isDryRun
                                 ? difference() + QStringLiteral("; nothing is written")
                                 : QStringLiteral("%1 of %2 written")
                                       .arg(m_settled - m_refused.size())
                                       .arg(host::counted(m_count, "value"));
        if (troubles.isEmpty()) {
            tell(done, m_options.output);
            return ExitCode::Success;
        }
        throw Failure(m_refused.isEmpty() ? ExitCode::Mismatch : ExitCode::Refused,
                      done + QStringLiteral("; ") + troubles.join(QStringLiteral("; ")));
    }

    const RestoreOptions& m_options;
    EndSignals m_ending;
    const std::vector<host::DataFile> m_wanted;
    Progress m_progress;
    std::unique_ptr<TableConnection> m_access;
    int m_dataBytes = 0;
    std::vector<ChangedFile> m_changed;
    int m_count = 0;   // of all differences
    int m_settled = 0; // of those written or refused
    QStringList m_missing;
    QStringList m_refused;
    QStringList m_unkept;
};

ExitCode runRestore(const RestoreOptions& options)
{
    return Restoration(options, wantedIn(options.source)).run();
}

}

void addRestoreVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App* const verb =
        app.add_subcommand("restore", "Write what differs from a dump back into the controller");
    options->connection.addTo(*verb);
    verb->add_option("source", options->source, "What df1 dump has written")
        ->required()
        ->type_name("IN.json");
    verb->add_option("files", options->files,
                     "Data files of it, such as N7 F8; without any, all but O, I and S")
        ->type_name("FILES");
    verb->add_flag("-y,--yes", options->isConfirmed, "Write without being asked");
    verb->add_flag("--dry-run", options->isDryRun, "Show the difference, and write nothing");
    options->output.addFormatTo(*verb);
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 restore plant.json --port /dev/ttyUSB0 --dry-run\n"
                 "  df1 restore plant.json N7 F8 --port tcp://192.168.0.10:4001 --yes");
    verb->callback([options, &run] { run = [options] { return runRestore(*options); }; });
}
