#include "dump.h"

#include <CLI/CLI.hpp>
#include <QDateTime>
#include <QFileInfo>
#include <QSaveFile>

#include "host/tagaddress.h"
#include "host/wording.h"
#include "progress.h"
#include "simulator/tablesfile.h"
#include "tableconnection.h"

namespace {

struct DumpOptions
{
    ConnectionOptions connection;
    std::vector<std::string> files;
    std::string target; ///< empty or "-": standard output
    OutputOptions output;
};

/// Where the dump goes. A file is there whole or not at all, as it was before.
class Target
{
public:
    /// Throws Failure when nothing can be written there.
    explicit Target(const std::string& name)
        : m_name(QString::fromStdString(name == "-" ? std::string() : name))
    {
        if (m_name.isEmpty())
            return;
        const QFileInfo info(m_name);
        // What is there and no file, such as a pipe, can't be replaced by one.
        if (info.exists() && !info.isFile() && !info.isDir())
            m_device = std::make_unique<QFile>(m_name);
        else
            m_device = std::make_unique<QSaveFile>(m_name);
        if (!m_device->open(QIODevice::WriteOnly))
            fail();
    }

    void write(const QByteArray& text)
    {
        if (m_name.isEmpty()) {
            print(text);
            return;
        }
        auto* const file = qobject_cast<QSaveFile*>(m_device.get());
        const bool isWritten = m_device->write(text) == text.size() && m_device->flush();
        if (!isWritten || (file && !file->commit()))
            fail();
    }

    QString name() const { return m_name.isEmpty() ? QStringLiteral("standard output") : m_name; }

private:
    [[noreturn]] void fail() const
    {
        throw Failure(ExitCode::Output, QStringLiteral("can't write %1: %2; nothing is changed")
                                            .arg(m_name, m_device->errorString()));
    }

    QString m_name;
    std::unique_ptr<QFileDevice> m_device;
};

std::vector<host::DataFileName> namesIn(const std::vector<std::string>& texts)
{
    std::vector<host::DataFileName> names;
    for (const std::string& text : texts) {
        QString error;
        const auto name = host::parseDataFileName(QString::fromStdString(text), &error);
        if (!name)
            throw Failure(ExitCode::Usage, error);
        names.push_back(*name);
    }
    return names;
}

std::vector<host::FoundFile> findNamed(TableConnection& access,
                                       const std::vector<host::DataFileName>& names)
{
    std::vector<host::FoundFile> files;
    for (const host::DataFileName& name : names) {
        const int elements = lengthOf(access, name);
        if (elements == 0)
            throw Failure(ExitCode::Refused,
                          QStringLiteral("%1: the controller has no such file, or does not let it "
                                         "be read; nothing is written")
                              .arg(name.text()));
        files.push_back({name, elements});
    }
    return files;
}

std::vector<host::FoundFile> findAll(TableConnection& access, const simulator::Model* model,
                                     Progress& progress)
{
    // Programs for a 1000 have its fixed files and no others.
    const int last = model && model->name == QLatin1String("1000") ? model->files.back().number
                                                                   : host::LAST_FILE;
    std::vector<host::FoundFile> files = findDataFiles(access, last, [&progress, last](int number) {
        progress.show(QStringLiteral("looking for file %1").arg(number), number, last + 1);
    });
    if (files.empty())
        throw Failure(ExitCode::Refused,
                      QStringLiteral("the controller refuses every data file; nothing is written"));
    return files;
}

simulator::DataTables readAll(TableConnection& access, const std::vector<host::FoundFile>& files,
                              int dataBytes, Progress& progress)
{
    int total = 0;
    for (const host::FoundFile& file : files)
        total += file.elements;
    int done = 0;
    simulator::DataTables tables;
    for (const host::FoundFile& file : files) {
        const QString name = file.name.text();
        progress.show(name, done, total);
        const auto bytes = readDataFile(access, file, dataBytes, [&](int elements) {
            done += elements;
            progress.show(name, done, total);
        });
        if (!bytes)
            throw Failure(ExitCode::Refused,
                          QStringLiteral("%1 has changed while it was read; is a program being "
                                         "downloaded? Nothing is written")
                              .arg(name));
        tables.add(file.name.number, *simulator::fileTypeWith(file.name.letter), file.elements)
            .write(0, 0, *bytes);
    }
    return tables;
}

QJsonObject headOf(const std::optional<host::ControllerStatus>& status,
                   const simulator::Model* model, int station)
{
    QJsonObject note = {{"time", QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
                        {"station", station}};
    if (!status)
        return {{"note", note}};
    note.insert("controller", identityText(*status));
    note.insert("state", modeText(*status));
    note.insert("programId", status->programId);
    QJsonObject head = {{"note", note}, {"series", QString(QLatin1Char(status->series))}};
    if (!status->name.isEmpty())
        head.insert("catalogue", status->name);
    if (model)
        head.insert("model", model->name);
    return head;
}

ExitCode runDump(const DumpOptions& options)
{
    const std::vector<host::DataFileName> names = namesIn(options.files);
    Target target(options.target); // a pipe waits for its reader, until Ctrl-C
    EndSignals ending;
    options.connection.tellOfSimulator(options.output);
    ConnectionOptions connection = options.connection;
    connection.takeProfile();
    TableConnection access(connection, ending);
    const auto status = access.identity();
    const simulator::Model* const model =
        status ? simulator::modelOfCatalogue(status->name.toLatin1()) : nullptr;
    const int usual = model ? model->dataBytesPerMessage : host::USUAL_DATA_BYTES;

    Progress progress(options.output);
    const std::vector<host::FoundFile> files =
        names.empty() ? findAll(access, model, progress) : findNamed(access, names);
    const simulator::DataTables tables =
        readAll(access, files, connection.limit.value_or(usual), progress);
    target.write(simulator::tablesText(tables, headOf(status, model, access.station())));
    const auto count = static_cast<qint64>(tables.files().size());
    progress.tell(host::counted(count, "data file") + QStringLiteral(" written to ")
                  + target.name());
    return ExitCode::Success;
}

}

void addDumpVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<DumpOptions>();
    CLI::App* const verb =
        app.add_subcommand("dump", "Read whole data files and write them as JSON");
    options->connection.addTo(*verb);
    verb->add_option("files", options->files,
                     "Data files such as N7 F8 O; without any, all that there are")
        ->type_name("FILES");
    verb->add_option("-o,--output", options->target,
                     "File to write, whole or not at all (standard output)")
        ->type_name("FILE");
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 dump -o plant.json --port /dev/ttyUSB0\n"
                 "  df1 dump N7 F8 --port tcp://192.168.0.10:4001\n"
                 "  df1 simulate --tables plant.json");
    verb->callback([options, &run] { run = [options] { return runDump(*options); }; });
}
