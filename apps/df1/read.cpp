#include "read.h"

#include <CLI/CLI.hpp>
#include <QRegularExpression>
#include <QtEndian>
#include <charconv>
#include <cstring>
#include <iostream>

#include "connection.h"

namespace {

struct ReadOptions
{
    ConnectionOptions connection;
    std::vector<std::string> addresses;
    int count = 1;
};

struct Row
{
    QString address;
    QString value;
    QString hex;
};

/// How the values of an address are asked for and shown.
struct Kind
{
    int requestType; ///< of CommunicatorCommand
    int valueSize;   ///< bytes a value
    int mostValues;  ///< that one request carries
};

const int WORD_REQUEST = 2;
const int DOUBLE_WORD_REQUEST = 3;

Kind kindOf(const QString& address)
{
    const QChar letter = address.isEmpty() ? QChar() : address.at(0).toUpper();
    if (letter == QLatin1Char('F'))
        return {DOUBLE_WORD_REQUEST, 4, 61};
    const bool wholeElements = QStringLiteral("TCR").contains(letter) || address.contains('.');
    return {WORD_REQUEST, 2, wholeElements ? 41 : 123};
}

void requireInRange(const QString& address, const char* what, const QString& digits, int most)
{
    bool isNumber = false;
    const uint number = digits.toUInt(&isNumber);
    if (digits.isEmpty() || (isNumber && number <= static_cast<uint>(most)))
        return;
    throw Failure(ExitCode::Usage, QStringLiteral("%1: %2 %3 is out of range; give 0 to %4")
                                       .arg(address, QLatin1String(what), digits)
                                       .arg(most));
}

/// Refuses numbers that the driver would cut to the width of their field, so that
/// another element would be read than the one named. All else is the driver's to judge.
void requireNumbersThatFit(const QString& address, int count)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z]*(\\d*)[^:]*:(\\d*)"));
    const QRegularExpressionMatch match = pattern.match(address);
    requireInRange(address, "file", match.captured(1), 255);
    requireInRange(address, "element", match.captured(2), 65535);
    requireInRange(address, "last element",
                   QString::number(match.captured(2).toUInt() + static_cast<uint>(count) - 1),
                   65535);
}

/// The address of the value @p offset elements further on.
QString addressAt(const QString& address, int offset)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\w+:)(\\d+)(.*)$"));
    const QRegularExpressionMatch match = pattern.match(address);
    return match.captured(1) + QString::number(match.captured(2).toUInt() + offset)
           + match.captured(3);
}

/// The fewest digits that give the same value back.
QString shortest(float value)
{
    char text[32];
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
    return QString::fromLatin1(text, static_cast<int>(result.ptr - text));
}

Row rowOf(const QString& address, const char* bytes, int size)
{
    if (size == 2) {
        const auto word = qFromLittleEndian<quint16>(bytes);
        return {address, QString::number(static_cast<qint16>(word)),
                QStringLiteral("%1").arg(word, 4, 16, QLatin1Char('0')).toUpper()};
    }
    const auto bits = qFromLittleEndian<quint32>(bytes);
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return {address, shortest(value),
            QStringLiteral("%1").arg(bits, 8, 16, QLatin1Char('0')).toUpper()};
}

std::vector<Row> readRows(Connection& connection, const QString& address, int count)
{
    const Kind kind = kindOf(address);
    if (count > kind.mostValues)
        throw Failure(ExitCode::Usage, QStringLiteral("%1: %2 values are too many for one request; "
                                                      "give --count %3 at most")
                                           .arg(address)
                                           .arg(count)
                                           .arg(kind.mostValues));
    requireNumbersThatFit(address, count);
    CommunicatorCommand command;
    command.type = kind.requestType;
    command.count = count;
    command.address = address;
    const QByteArray data = connection.read(command);

    std::vector<Row> rows;
    for (int i = 0; (i + 1) * kind.valueSize <= data.size(); ++i)
        rows.push_back(
            rowOf(addressAt(address, i), data.constData() + i * kind.valueSize, kind.valueSize));
    return rows;
}

void print(const std::vector<Row>& rows)
{
    Row widest{QStringLiteral("ADDRESS"), QStringLiteral("VALUE"), QStringLiteral("HEX")};
    const Row title = widest;
    const auto widen = [](QString& column, const QString& text) {
        if (text.size() > column.size())
            column = text;
    };
    for (const Row& row : rows) {
        widen(widest.address, row.address);
        widen(widest.value, row.value);
        widen(widest.hex, row.hex);
    }
    const auto printRow = [&widest](const Row& row) {
        std::cout << row.address.leftJustified(widest.address.size()).toStdString() << "  "
                  << row.value.rightJustified(widest.value.size()).toStdString() << "  "
                  << row.hex.rightJustified(widest.hex.size()).toStdString() << '\n';
    };
    printRow(title);
    for (const Row& row : rows)
        printRow(row);
    std::cout.flush();
}

/// Whether the next address is worth trying: the line itself is in order.
bool isAboutTheAddress(ExitCode code)
{
    return code == ExitCode::Usage || code == ExitCode::Refused;
}

ExitCode runRead(const ReadOptions& options)
{
    Connection connection(options.connection);
    std::vector<Row> rows;
    ExitCode result = ExitCode::Success;
    for (const std::string& address : options.addresses) {
        try {
            const std::vector<Row> read =
                readRows(connection, QString::fromStdString(address), options.count);
            rows.insert(rows.end(), read.begin(), read.end());
        } catch (const Failure& failure) {
            report(failure);
            if (result == ExitCode::Success)
                result = failure.code();
            if (!isAboutTheAddress(failure.code()))
                break;
        }
    }
    if (!rows.empty())
        print(rows);
    return result;
}

}

void addReadVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<ReadOptions>();
    CLI::App* const verb = app.add_subcommand("read", "Read values and print them as a table");
    verb->add_option("address", options->addresses,
                     "What to read: N7:0 (words), F8:1 (floats), T4:0 (control words), T4:0.ACC "
                     "(named words)")
        ->required()
        ->type_name("ADDRESS");
    verb->add_option("-n,--count", options->count, "Values from each address on")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    options->connection.addTo(*verb);
    verb->footer("Examples:\n"
                 "  df1 read N7:0 T4:0.ACC F8:1\n"
                 "  df1 read N7:0 --count 10 --port /dev/ttyUSB0 --line 9600,NONE,8,1\n"
                 "  df1 read N7:0 --port tcp://192.168.0.10:4001 --station 3");
    verb->callback([options, &run] { run = [options] { return runRead(*options); }; });
}
