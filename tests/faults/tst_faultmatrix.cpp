#include <QtTest>
#include <set>

#include "drivers/micrologix/micrologix.h"
#include "simulator/models.h"
#include "support/bytes.h"
#include "support/documentsection.h"
#include "support/parallel.h"
#include "support/requests.h"
#include "support/virtualline.h"

using simulator::DataFile;
using simulator::DataTables;
using support::VirtualLine;

namespace {

/// A piece of the controller's memory that an operation reads or writes in one go.
struct Place
{
    int file, element, subElement;
    const char* bytes; ///< hexadecimal: what stands there, or what is written
};

struct Operation
{
    const char* name;
    bool isWrite;
    const char* request;
    const char* bytes; ///< hexadecimal: what is to be read, or the data to write
    std::vector<Place> places;
    int commands = 1;
};

// Full of bytes that look like the line's own symbols.
const std::vector<Operation> OPERATIONS = {
    {"word", false, "2 2 N7:10", "10020310", {{7, 10, 0, "10020310"}}},
    {"float", false, "3 1 F8:1", "00001042", {{8, 1, 0, "00001042"}}},
    {"bit", false, "0 3 B3:2/4", "01", {{3, 2, 0, "1010"}}},
    {"control bit", false, "0 1 T4:1/4", "01", {{4, 1, 0, "10A010100310"}}},
    {"status bit", false, "0 1 T4:1/DN", "0100", {{4, 1, 0, "10A010100310"}}},
    {"bit of a named word", false, "0 2 T4:1.ACC/0", "03", {{4, 1, 0, "10A010100310"}}},
    {"element", false, "2 1 T4:1", "10A0", {{4, 1, 0, "10A010100310"}}},
    {"named word", false, "2 1 T4:1.PRE", "1010", {{4, 1, 0, "10A010100310"}}},
    {"words", true, "2 2 N7:20", "10031002", {{7, 20, 0, "1003"}, {7, 21, 0, "1002"}}},
    {"float", true, "3 1 F8:2", "00001042", {{8, 2, 0, "00001042"}}},
    {"elements", true, "2 2 T4:3", "10A00020", {{4, 3, 0, "10A0"}, {4, 4, 0, "0020"}}, 2},
    {"named words", true, "2 2 C5:2.PRE", "10100600", {{5, 2, 1, "1010"}, {5, 3, 1, "0600"}}, 2},
    {"bit", true, "0 1 B3:5/4", "01", {{3, 5, 0, "1000"}}},
    {"status bit", true, "0 1 T4:5/DN", "01", {{4, 5, 0, "0020"}}},
    {"bit of a named word", true, "0 1 R6:1.LEN/4", "01", {{6, 1, 1, "1000"}}},
};

/// What a cell's character stands for; %1 is the address.
const std::vector<std::pair<char, const char*>> TEXTS = {
    {'a', "PLC no response"},
    {'b', "packet loss"},
    {'c', "PLC no ack"},
    {'d', "invalid PLC response"},
    {'e', "invalid response from PLC3"},
    {'f', "invalid response from PLC1"},
    {'g', "invalid response from PLC"},
    {'h', "read %1:request CRC error"},
    {'i', "read %1:response CRC error"},
    {'j', "invalid address:%1"},
};
const char DONE = '=';

/// The values with which a fault is tried, and for each of them the seeds.
struct Variety
{
    int first = -1, last = -1, step = 1; ///< -1: without a value
    int seeds = 1;
};

Variety varietyOf(const QString& fault)
{
    const int lastByte = 27; // of the longest reply
    static const std::map<QString, Variety> varieties = {
        {"damage-ack", {-1, -1, 1, 24}}, {"late", {50, 2100, 50, 1}},
        {"flip", {0, lastByte, 1, 12}},  {"drop", {0, lastByte, 1, 1}},
        {"insert", {0, lastByte, 1, 4}}, {"double", {0, lastByte, 1, 1}},
        {"babble", {1, 64, 9, 3}},       {"sts", {0, 255, 1, 1}},
        {"ext-sts", {0, 255, 1, 1}},     {"swap", {1000, 1500, 100, 1}}};
    const auto found = varieties.find(fault);
    return found == varieties.end() ? Variety() : found->second;
}

// The first number under a fault: a byte that is sent twice.
const int DLE_NUMBER = 0x10;

struct Scenario
{
    const char* title;
    bool isLasting;
    int retries;
};

const Scenario SCENARIOS[] = {
    {"The fault happens once, no retries", false, 0},
    {"The fault happens once, 3 retries", false, 3},
    {"The fault stays, 3 retries", true, 3},
};

DataTables preparedTables()
{
    DataTables tables = simulator::seededTables(1);
    for (const Operation& operation : OPERATIONS) {
        for (const Place& place : operation.places) {
            const QByteArray bytes = hex(place.bytes);
            const QByteArray old = operation.isWrite ? QByteArray(bytes.size(), '\0') : bytes;
            if (!tables.file(place.file)->write(place.element, place.subElement, old))
                qFatal("%s is not in the tables", operation.request);
        }
    }
    return tables;
}

/// Watches what an operation makes of the controller's memory.
class Witness
{
public:
    Witness(const VirtualLine& line, const Operation& operation)
        : m_line(line)
        , m_operation(operation)
        , m_written(operation.places.size(), false)
    {}

    /// Every piece must be as before or written, and all else as before.
    void look()
    {
        DataTables expected = m_line.base();
        for (size_t i = 0; m_operation.isWrite && i < m_written.size(); ++i) {
            const Place& place = m_operation.places[i];
            const QByteArray bytes = hex(place.bytes);
            const DataFile* const file = m_line.tables().file(place.file);
            if (!file || file->read(place.element, place.subElement, sizeOf(bytes)) != bytes)
                continue;
            expected.file(place.file)->write(place.element, place.subElement, bytes);
            m_written[i] = true;
        }
        m_isThird = m_isThird || m_line.tables() != expected;
    }

    bool sawAllWritten() const
    {
        return std::find(m_written.begin(), m_written.end(), false) == m_written.end();
    }
    bool sawAThird() const { return m_isThird; }

private:
    const VirtualLine& m_line;
    const Operation& m_operation;
    std::vector<bool> m_written;
    bool m_isThird = false;
};

struct Outcome
{
    char cell;
    QString violation; ///< empty: none
};

Outcome outcomeOf(DriverABMicroLogix& driver, bool isDone, const QString& address)
{
    if (!driver.hasError())
        return {DONE, isDone ? QString() : "neither done nor an error"};
    const QString text = driver.getLastError();
    for (const auto& [cell, pattern] : TEXTS) {
        if (text == QString(pattern).replace("%1", address))
            return {cell, isDone ? "done and an error" : QString()};
    }
    return {'?', "unknown text: " + text};
}

/// One operation under one fault, after the same operation without it.
Outcome play(const Operation& operation, const QString& script, quint32 seed, int retries)
{
    static const DataTables tables = preparedTables();
    QString error;
    const auto faults = simulator::parseFaults(script, &error);
    if (!faults)
        return {'?', error};
    VirtualLine line({tables, *faults, seed, {}, 0});
    DriverABMicroLogix driver;
    while (driver.getTNS() + operation.commands < DLE_NUMBER - 1)
        driver.getNextTNS();
    const CommunicatorCommand command = request(operation.request);
    const QByteArray bytes = hex(operation.bytes);
    if (operation.isWrite)
        driver.write(&line, command, QByteArray(bytes.size(), '\0'));
    else
        driver.read(&line, command);
    if (driver.hasError())
        return {'?', "fails without a fault: " + driver.getLastError()};

    line.retries = retries;
    Witness witness(line, operation);
    line.executed = [&witness] { witness.look(); };
    const QByteArray read = operation.isWrite ? QByteArray() : driver.read(&line, command);
    const bool isDone = operation.isWrite ? driver.write(&line, command, bytes) : !read.isEmpty();
    Outcome outcome = outcomeOf(driver, isDone, command.address);
    witness.look();
    if (witness.sawAThird())
        outcome.violation = "the memory is neither the old nor the new one";
    if (isDone && operation.isWrite && !witness.sawAllWritten())
        outcome.violation = "confirmed and not written";
    if (isDone && !operation.isWrite && read != bytes)
        outcome.violation = "wrong data: " + read.toHex();
    return outcome;
}

/// All outcomes of a fault's varieties, and what must not be.
struct Cell
{
    std::set<char> outcomes;
    QStringList violations;
    int runs = 0;
};

Cell cellOf(const QString& fault, const Operation& operation, const Scenario& scenario)
{
    Cell cell;
    const Variety variety = varietyOf(fault);
    for (int value = variety.first; value <= variety.last; value += variety.step) {
        for (int seed = 1; seed <= variety.seeds; ++seed) {
            // Of several commands each once; the first ones are those without fault.
            for (int command = 1; command <= operation.commands; ++command) {
                QString script = QString("%1@%2").arg(fault).arg(operation.commands + command);
                if (scenario.isLasting)
                    script += "x1000000";
                if (value >= 0)
                    script += QString(":%1").arg(value);
                const Outcome outcome =
                    play(operation, script, static_cast<quint32>(seed), scenario.retries);
                cell.outcomes.insert(outcome.cell);
                ++cell.runs;
                if (!outcome.violation.isEmpty())
                    cell.violations << QString("%1, seed %2, %3 retries, %4: %5")
                                           .arg(script)
                                           .arg(seed)
                                           .arg(scenario.retries)
                                           .arg(operation.request, outcome.violation);
            }
        }
    }
    return cell;
}

QByteArray row(const QByteArrayList& cells)
{
    return "| " + cells.join(" | ") + " |\n";
}

}

/// Every fault that the simulator knows, in every kind of operation.
class TestFaultMatrix : public QObject
{
    Q_OBJECT

private slots:
    void nothingWrongGetsThrough();
};

// Catches: damaged or foreign data handed out, a write confirmed that was not made, a
// failure without its text, and a controller's memory that is neither the old nor the new
// one.
void TestFaultMatrix::nothingWrongGetsThrough()
{
    const QStringList faults = simulator::faultNames();
    const int operations = static_cast<int>(OPERATIONS.size());
    const int rows = static_cast<int>(std::size(SCENARIOS) * faults.size());
    std::vector<Cell> cells(static_cast<size_t>(rows * operations));
    support::inParallel(static_cast<int>(cells.size()), [&](int number) {
        const int line = number / operations;
        cells[static_cast<size_t>(number)] = cellOf(
            faults.at(line % faults.size()), OPERATIONS[static_cast<size_t>(number % operations)],
            SCENARIOS[line / faults.size()]);
    });

    QByteArray text = row({"", "Operation", "Request"}) + row({"---", "---", "---"});
    QByteArrayList heads = {"Fault"}, rules = {"---"};
    int reads = 0, writes = 0;
    for (const Operation& operation : OPERATIONS) {
        int& number = operation.isWrite ? writes : reads;
        heads << (operation.isWrite ? "W" : "R") + QByteArray::number(++number);
        rules << "---";
        const CommunicatorCommand command = request(operation.request);
        text += row({heads.last(),
                     (operation.isWrite ? "write " : "read ") + QByteArray(operation.name),
                     "type " + QByteArray::number(command.type) + ", count "
                         + QByteArray::number(command.count) + ", " + command.address.toLatin1()});
    }
    text += '\n' + row({"", "Outcome"}) + row({"---", "---"});
    text += row({QByteArray(1, DONE), "exactly the controller's data, or written"});
    for (const auto& [cell, pattern] : TEXTS)
        text +=
            row({QByteArray(1, cell), '`' + QByteArray(pattern).replace("%1", "ADDRESS") + '`'});
    int runs = 0;
    QStringList violations;
    size_t next = 0;
    for (const Scenario& scenario : SCENARIOS) {
        text += QByteArray("\n### ") + scenario.title + "\n\n";
        text += row(heads) + row(rules);
        for (const QString& fault : faults) {
            QByteArrayList line = {'`' + fault.toLatin1() + '`'};
            for (int i = 0; i < operations; ++i, ++next) {
                const Cell& cell = cells[next];
                QByteArray outcomes;
                for (const char outcome : cell.outcomes)
                    outcomes += outcome;
                line << outcomes;
                runs += cell.runs;
                violations += cell.violations;
            }
            text += row(line);
        }
    }
    text += "\n" + QByteArray::number(runs) + " runs.\n";
    QVERIFY2(violations.isEmpty(), qPrintable(QString("%1 violations, such as\n%2")
                                                  .arg(violations.size())
                                                  .arg(violations.mid(0, 20).join('\n'))));
    const QString fault = support::faultOfSection(RELIABILITY_FILE, "matrix", text);
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
}

QTEST_GUILESS_MAIN(TestFaultMatrix)
#include "tst_faultmatrix.moc"
