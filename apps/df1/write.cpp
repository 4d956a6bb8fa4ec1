#include "write.h"

#include <CLI/CLI.hpp>

#include "connection.h"
#include "host/values.h"
#include "host/wording.h"
#include "output.h"
#include "target.h"

namespace {

struct WriteOptions
{
    ConnectionOptions connection;
    std::string address;
    std::vector<std::string> values;
    bool isDryRun = false;
    bool isVerified = false;
    bool isConfirmed = false;
    OutputOptions output;
};

/// Why nobody writes to @p place unawares: outputs move machines, status words change how
/// the controller runs, and who names a whole timer hardly means its flags. Else nothing.
QString cautionOf(const host::DataPlace& place)
{
    if (place.letter == 'O')
        return QStringLiteral("it is in an output file");
    if (place.letter == 'S')
        return QStringLiteral("it is in the status file");
    if (host::isThreeWordFile(place.letter) && place.word == 0 && !place.bit)
        return QStringLiteral("it is the control word, not %1")
            .arg(host::wordNamesOf(place.letter).join(QStringLiteral(" or ")));
    return QString();
}

void requireConfirmation(const host::TagAddress& target, const WriteOptions& options)
{
    const QString caution = target.place() ? cautionOf(*target.place()) : QString();
    if (!caution.isEmpty() && !options.isConfirmed && !options.connection.isSimulator())
        throw Failure(
            ExitCode::Usage,
            QStringLiteral("%1: %2; add --yes to write to it").arg(target.text(), caution));
}

void write(Connection& connection, const std::vector<host::WritePiece>& pieces)
{
    int done = 0;
    for (const host::WritePiece& piece : pieces) {
        try {
            connection.write(piece.command, piece.data);
        } catch (const Failure& failure) {
            if (done == 0)
                throw;
            throw Failure(
                failure.code(),
                QString::fromStdString(failure.what())
                    + QStringLiteral("; %1 before it written").arg(host::counted(done, "value")));
        }
        done += piece.command.count;
    }
}

QByteArray readBack(Connection& connection, const host::TagAddress& target, int count)
{
    // Any bytes 0x10 fit a read of so many.
    const int dataBytes = std::min(connection.planSettings().dataBytes, host::SAFE_DATA_BYTES);
    QByteArray data;
    for (const host::ReadPiece& piece : splitRead(target, count, dataBytes))
        data += connection.read(piece.command);
    return data;
}

/// Compares bits, so that a float that is no number equals itself.
void verify(Connection& connection, const host::TagAddress& target, const QByteArray& written,
            int count)
{
    const QByteArray data = readBack(connection, target, count);
    QString first;
    int different = 0;
    for (int i = 0; i < count; ++i) {
        const host::ValueText wanted = valueAt(target, written, i);
        const host::ValueText found =
            i < valuesIn(target, data, count) ? valueAt(target, data, i) : host::ValueText();
        if (found.hex != wanted.hex && different++ == 0)
            first = QStringLiteral("%1: reads back as %2 (hex %3) after %4 (hex %5) was written")
                        .arg(target.textOf(i), found.value, found.hex, wanted.value, wanted.hex);
    }
    if (different > 1)
        first +=
            QStringLiteral("; %1 of %2 differ").arg(different).arg(host::counted(count, "value"));
    if (different > 0)
        throw Failure(ExitCode::Mismatch, first);
}

ExitCode runWrite(WriteOptions options)
{
    options.connection.takeProfile();
    const host::TagAddress target = targetOf(options.address);
    const QByteArray data = dataOf(target, options.values);
    const auto count = static_cast<int>(options.values.size());
    const std::vector<host::WritePiece> pieces =
        splitWrite(target, data, options.connection.dataBytes());
    // Also of a real write: what the driver refuses shows before a port is opened.
    const std::vector<QByteArray> frames = rehearse(options.connection, pieces);
    if (options.isDryRun) {
        for (const QByteArray& frame : frames)
            print(frame.toHex(' ').toUpper() + '\n');
        return ExitCode::Success;
    }
    requireConfirmation(target, options);
    options.connection.tellOfSimulator(options.output);
    Connection connection(options.connection);
    write(connection, pieces);
    if (options.isVerified)
        verify(connection, target, data, count);
    tell(QStringLiteral("%1: %2 written%3")
             .arg(target.text(), host::counted(count, "value"),
                  options.isVerified ? QStringLiteral(" and read back") : QString()),
         options.output);
    return ExitCode::Success;
}

}

void addWriteVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<WriteOptions>();
    CLI::App* const verb = app.add_subcommand("write", "Write values into a data table");
    options->connection.addTo(*verb);
    verb->add_option("address", options->address,
                     "Where to write: N7:0, F8:1, B3:2/5, T4:0/EN, T4:0.PRE; further values go "
                     "into the elements behind it")
        ->required()
        ->type_name("ADDRESS");
    verb->add_option("value", options->values,
                     "Words from -32768 to 65535 in decimal, 0x... or 0b...; floats; 0 or 1 for a "
                     "bit. A negative one may need -- before the first")
        ->required()
        ->type_name("VALUE");
    verb->add_flag("--dry-run", options->isDryRun,
                   "Print the frames that would be sent, and open no port");
    verb->add_flag("--verify", options->isVerified, "Read back what was written, and compare");
    verb->add_flag("--yes", options->isConfirmed,
                   "Do write to an output or status file, or a control word, of a controller");
    options->output.addQuietTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 write N7:0 42 0x2A --port /dev/ttyUSB0\n"
                 "  df1 write --port /dev/ttyUSB0 N7:0 -- -5\n"
                 "  df1 write press4 T4:0.PRE 300 --verify\n"
                 "  df1 write B3:2/5 1 --dry-run");
    verb->callback([options, &run] { run = [options] { return runWrite(*options); }; });
}
