#include "decode.h"

#include <CLI/CLI.hpp>
#include <QStringList>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "host/capture.h"
#include "host/tracetext.h"
#include "host/wording.h"
#include "output.h"

namespace {

const char* const STANDARD_INPUT = "-";

[[noreturn]] void fail(const QString& text)
{
    throw Failure(ExitCode::Usage, text);
}

void printLine(const QString& line)
{
    print(line.toUtf8() + '\n');
}

/// Prints what it is given, one line for each token.
class Decoder
{
public:
    Decoder()
        : m_hex([this](const host::LineToken& token) {
            printLine(
                QStringLiteral("%1 [%2]").arg(m_narrator.words(token), host::hexText(token.raw)));
        })
        , m_records([this](const host::Sighting& sighting) {
            printLine(host::traceLine(sighting, m_narrator));
        })
    {}

    /// Bytes whose direction and time nobody knows; frames may go on from piece to piece.
    void takeHex(const QByteArray& bytes) { m_hex.take(bytes); }
    void take(const host::Record& record)
    {
        m_hex.finish();
        m_records.take(record);
    }
    void finish() { m_hex.finish(); }

private:
    host::Narrator m_narrator;
    host::LineReader m_hex;
    host::TrafficReader m_records;
};

/// A file that is open for reading.
class Input
{
public:
    /// @p name: a path, or "-" for standard input.
    explicit Input(const std::string& name)
        : m_name(name)
        , m_file(name == STANDARD_INPUT ? stdin : std::fopen(name.c_str(), "rbe"))
    {
        if (m_file == nullptr)
            failAsSystemSays();
    }
    ~Input()
    {
        std::free(m_line);
        if (m_file != nullptr)
            std::fclose(m_file);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    QString name() const
    {
        return m_name == STANDARD_INPUT ? QStringLiteral("standard input")
                                        : QString::fromStdString(m_name);
    }

    /// The first bytes, which stay to be read.
    QByteArray start()
    {
        QByteArray bytes(4, '\0');
        bytes.truncate(static_cast<int>(std::fread(bytes.data(), 1, 4, m_file)));
        if (std::ferror(m_file) != 0)
            failAsSystemSays();
        for (int i = static_cast<int>(bytes.size()) - 1; i >= 0; --i)
            std::ungetc(static_cast<unsigned char>(bytes.at(i)), m_file);
        return bytes;
    }

    std::optional<QString> line()
    {
        const ssize_t size = ::getline(&m_line, &m_room, m_file);
        if (size >= 0)
            return QString::fromUtf8(m_line, static_cast<int>(size));
        if (std::ferror(m_file) != 0)
            failAsSystemSays();
        return std::nullopt;
    }

    /// The file, whose new owner closes it.
    std::FILE* handOver() { return std::exchange(m_file, nullptr); }

private:
    [[noreturn]] void failAsSystemSays() const
    {
        fail(QStringLiteral("cannot read %1: %2; give bytes such as 10 02 01 00 0F 00, or a file "
                            "with bytes, a trace or a capture")
                 .arg(name(), QString::fromLocal8Bit(std::strerror(errno))));
    }

    const std::string m_name;
    std::FILE* m_file;
    char* m_line = nullptr;
    size_t m_room = 0;
};

void decodeCapture(Input& input, Decoder& decoder)
{
    QString error;
    const auto capture = host::CaptureReader::open(input.handOver(), input.name(), &error);
    if (!capture)
        fail(error);
    while (const auto record = capture->next())
        decoder.take(*record);
    if (!capture->error().isEmpty())
        fail(capture->error());
}

void decodeText(Input& input, Decoder& decoder)
{
    int number = 0;
    while (const auto line = input.line()) {
        ++number;
        // df1's own messages stand between the lines of a trace on standard error.
        if (line->startsWith(QLatin1String("df1: ")))
            continue;
        if (const auto record = host::readTraceLine(*line)) {
            decoder.take(*record);
            continue;
        }
        QString error;
        const auto bytes = host::readHex(*line, &error);
        if (!bytes)
            fail(QStringLiteral("%1, line %2: %3").arg(input.name()).arg(number).arg(error));
        decoder.takeHex(*bytes);
    }
}

void decodeFile(const std::string& name, Decoder& decoder)
{
    Input input(name);
    if (host::CaptureReader::isCapture(input.start()))
        decodeCapture(input, decoder);
    else
        decodeText(input, decoder);
}

void decode(const std::vector<std::string>& inputs, Decoder& decoder)
{
    if (inputs.empty()) {
        decodeFile(STANDARD_INPUT, decoder);
        return;
    }
    QStringList texts;
    for (const std::string& input : inputs)
        texts << QString::fromStdString(input);
    QString error;
    const auto bytes = host::readHex(texts.join(QLatin1Char(' ')), &error);
    if (bytes)
        decoder.takeHex(*bytes);
    else if (inputs.size() == 1)
        decodeFile(inputs.front(), decoder);
    else
        fail(error);
}

ExitCode runDecode(const std::vector<std::string>& inputs)
{
    Decoder decoder;
    decode(inputs, decoder);
    decoder.finish();
    return ExitCode::Success;
}

}

void addDecodeVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto inputs = std::make_shared<std::vector<std::string>>();
    CLI::App* const verb =
        app.add_subcommand("decode", "Put frames in words: bytes, a trace or a capture");
    verb->add_option("input", *inputs,
                     "Hexadecimal bytes as they are on the line, or a file with such bytes, a "
                     "trace or a capture; standard input when there is none, or for -")
        ->type_name("HEX|FILE");
    verb->footer("Examples:\n"
                 "  df1 decode 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 34\n"
                 "  df1 decode line.pcap\n"
                 "  df1 write N7:0 42 --dry-run | df1 decode");
    verb->callback([inputs, &run] { run = [inputs] { return runDecode(*inputs); }; });
}
