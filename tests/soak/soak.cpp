#include <QElapsedTimer>
#include <QtTest>
#include <cmath>
#include <mutex>
#include <random>

#include "drivers/micrologix/micrologix.h"
#include "host/link.h"
#include "simulator/server.h"
#include "support/documentsection.h"
#include "support/operations.h"
#include "support/parallel.h"
#include "support/program.h"
#include "support/resources.h"
#include "support/virtualline.h"

using simulator::DataTables;
using support::Operation;
using support::Resources;
using support::VirtualLine;

namespace {

constexpr int USUAL_IN_MEMORY = 1000000;
constexpr int USUAL_ON_A_LINE = 12500;
constexpr int RETRIES = 3;
constexpr int TIMEOUT_MS = 20; // on the line

int fromEnvironment(const char* name, int usual)
{
    const int value = qEnvironmentVariableIntValue(name);
    return value > 0 ? value : usual;
}

void checkGrowth(const Resources& before)
{
    const Resources after = Resources::now();
    qInfo("%d kB and %d descriptors; after the first quarter %d kB and %d", after.kilobytes,
          after.descriptors, before.kilobytes, before.descriptors);
    QVERIFY(!after.hasGrownSince(before));
}

QString allFaults(int percent)
{
    QStringList script;
    for (const QString& name : simulator::faultNames())
        script << QString("%1%%2").arg(name).arg(percent);
    return script.join(',');
}

/// In each byte from @p first on one bit, with a chance of one half.
QString flipsFrom(int first)
{
    QStringList script;
    for (int at = first; at < 25; ++at)
        script << QString("flip%50:%1").arg(at);
    return script.join(',');
}

/// One way in which a line damages what passes.
struct Damage
{
    const char* name;
    support::NoiseSettings noise;
    QString script = {};
};

const std::vector<Damage> DAMAGES = {
    {"1 bit in 100,000 flips", {1e-5, 1}},
    {"1 bit in 10,000 flips", {1e-4, 1}},
    {"1 bit in 1,000 flips", {1e-3, 1}},
    {"1 bit in 100 flips", {1e-2, 1}},
    {"a burst over 40 bits begins at 1 bit in 10,000", {1e-4, 40}},
    {"a burst over 40 bits begins at 1 bit in 1,000", {1e-3, 40}},
    {"a bit in every second byte of a reply flips", {}, flipsFrom(0)},
    {"the same, but for the reply's first 8 bytes", {}, flipsFrom(8)},
    {"every fault of the simulator at 1 %", {}, allFaults(1)},
    {"every fault of the simulator at 5 %", {}, allFaults(5)},
};

struct Counts
{
    qint64 transactions = 0, retried = 0, failed = 0, damaged = 0, wrong = 0;
    QMap<QString, int> texts; ///< of the failures

    void operator+=(const Counts& other)
    {
        transactions += other.transactions;
        retried += other.retried;
        failed += other.failed;
        damaged += other.damaged;
        wrong += other.wrong;
        for (auto text = other.texts.cbegin(); text != other.texts.cend(); ++text)
            texts[text.key()] += text.value();
    }
    /// How many damaged frames a 16-bit check lets through on the average.
    double bound() const { return static_cast<double>(damaged) / 65536; }
};

/// A controller, and the port to it, which may be another one every time.
struct Plant
{
    std::function<AbstractDeviceInterface&()> port;
    std::function<DataTables()> tables;
    std::function<void(const std::function<void(DataTables&)>&)> change;
};

// A controller that a fault has put in place of another does not have this file.
constexpr int MARK = 99;

/// The marks of what faults do to a controller itself, put right.
void restore(DataTables& tables)
{
    if (!tables.file(MARK))
        tables.add(MARK, simulator::FileType::Integer, 20);
    setProcessorMode(tables, simulator::ProcessorMode::Run);
}

/// Random reads and writes of one driver.
Counts countsOf(DriverInterface& driver, const Plant& plant, int transactions, quint32 seed)
{
    std::mt19937 random(seed);
    Counts counts;
    counts.transactions = transactions;
    for (int i = 0; i < transactions; ++i) {
        plant.change(restore);
        const DataTables before = plant.tables();
        const Operation operation = support::randomOperation(before, random);
        const bool isWrite = random() % 4 == 0;
        AbstractDeviceInterface& port = plant.port();
        QByteArray read;
        if (isWrite)
            driver.write(&port, operation.request, operation.data);
        else
            read = support::asData(driver.read(&port, operation.request), operation);
        const bool isDone = !driver.hasError();
        counts.failed += isDone ? 0 : 1;
        if (!isDone)
            ++counts.texts[driver.getLastError().replace(operation.request.address, "ADDRESS")];
        const DataTables after = plant.tables();
        if (!after.file(MARK) || simulator::isInProgramMode(after))
            continue; // not by the driver
        const bool isMemoryRight =
            isWrite ? support::canComeOf(operation, before, after, isDone) : after == before;
        const bool isReadRight = isWrite || !isDone || read == support::readFrom(before, operation);
        counts.wrong += isMemoryRight && isReadRight ? 0 : 1;
    }
    return counts;
}

Counts countsInMemory(const Damage& damage, int transactions, quint32 seed)
{
    QString error;
    const auto faults = simulator::parseFaults(damage.script, &error);
    VirtualLine line({simulator::seededTables(seed), faults.value(), seed, damage.noise, RETRIES});
    DriverABMicroLogix driver;
    Counts counts =
        countsOf(driver,
                 {[&]() -> AbstractDeviceInterface& { return line; }, [&] { return line.tables(); },
                  [&](const auto& apply) { line.change(apply); }},
                 transactions, seed);
    counts.retried = line.failedAttempts - counts.failed;
    counts.damaged = line.damagedFrames;
    return counts;
}

}

class Soak : public QObject
{
    Q_OBJECT

private slots:
    void inMemory();
    void onALine();
};

// Catches: damaged data taken for sound ones more often than the check's 16 bits allow, and
// memory or descriptors that grow.
void Soak::inMemory()
{
    const int transactions = fromEnvironment("SOAK_TRANSACTIONS", USUAL_IN_MEMORY);
    const int seed = fromEnvironment("SOAK_SEED", 1);
    const int damages = static_cast<int>(DAMAGES.size());
    constexpr int parts = 50;
    std::vector<Counts> counts(DAMAGES.size());
    std::mutex mutex;
    int done = 0;
    Resources settled = {};
    QElapsedTimer clock;
    clock.start();
    support::inParallel(parts * damages, [&](int number) {
        const int row = number % damages;
        const Counts part =
            countsInMemory(DAMAGES[static_cast<size_t>(row)], transactions / (parts * damages),
                           static_cast<quint32>(seed * 10000 + number));
        const std::lock_guard<std::mutex> lock(mutex);
        counts[static_cast<size_t>(row)] += part;
        if (++done == parts * damages / 4)
            settled = Resources::now();
    });

    QByteArray text = "| Damage | Transactions | Retried | Failed | Damaged frames | "
                      "Bound | Wrong accepted |\n| --- | --- | --- | --- | --- | --- | --- |\n";
    Counts total;
    for (int row = 0; row <= damages; ++row) {
        const Counts& c = row < damages ? counts[static_cast<size_t>(row)] : total;
        text += QString("| %1 | %2 | %3 | %4 | %5 | %6 | %7 |\n")
                    .arg(row < damages ? DAMAGES[static_cast<size_t>(row)].name : "together")
                    .arg(c.transactions)
                    .arg(c.retried)
                    .arg(c.failed)
                    .arg(c.damaged)
                    .arg(c.bound(), 0, 'f', 1)
                    .arg(c.wrong)
                    .toUtf8();
        if (row < damages)
            total += c;
    }
    qInfo("%.1f s\n%s", static_cast<double>(clock.elapsed()) / 1000, text.constData());
    for (const Counts& c : counts) // five standard deviations above
        QVERIFY(static_cast<double>(c.wrong) <= c.bound() + 5 * std::sqrt(c.bound()) + 1);
    checkGrowth(settled);
    if (transactions != USUAL_IN_MEMORY || seed != 1)
        return;
    const QString fault = support::faultOfSection(RELIABILITY_FILE, "soak", text);
    QVERIFY2(fault.isEmpty(), qPrintable(fault));
}

// Catches: a driver, a simulator or a host that sticks, dies or runs full on a real line.
void Soak::onALine()
{
    const int transactions = fromEnvironment("SOAK_TRANSACTIONS", USUAL_ON_A_LINE);
    const auto seed = static_cast<quint32>(fromEnvironment("SOAK_SEED", 1));
    QString error;
    simulator::ServerSettings settings;
    settings.seed = seed;
    settings.station.ackTimeoutMs = TIMEOUT_MS;
    const QString late = "late%1:" + QString::number(2 * TIMEOUT_MS);
    settings.faults = simulator::parseFaults(allFaults(1).replace("late%1", late), &error).value();
    simulator::Server server(simulator::Controller(simulator::seededTables(1)), settings);
    QVERIFY2(server.start(simulator::TcpPlace(), &error), qPrintable(error));

    DriverABMicroLogix driver;
    host::PortSettings portSettings;
    portSettings.timeoutMs = TIMEOUT_MS;
    portSettings.retryCount = RETRIES;
    std::unique_ptr<host::Link> link;
    int connections = 0;
    const auto port = [&]() -> AbstractDeviceInterface& {
        if (!link || !link->port().deviceError().isEmpty()) {
            link = host::Link::open(server.portName(), host::LineSettings(), portSettings, &error);
            ++connections;
        }
        if (!link)
            qFatal("%s", qPrintable(error));
        return link->port();
    };
    const Plant plant = {port, [&] { return server.snapshot(); },
                         [&](const auto& apply) { server.change(apply); }};
    QElapsedTimer clock;
    clock.start();
    Counts counts = countsOf(driver, plant, transactions / 4, seed);
    const Resources settled = Resources::now();
    counts += countsOf(driver, plant, transactions - transactions / 4, seed + 1000);
    qInfo("%d transactions in %.1f s, %d failed, %d wrong, %d connections", transactions,
          static_cast<double>(clock.elapsed()) / 1000, static_cast<int>(counts.failed),
          static_cast<int>(counts.wrong), connections);
    for (auto text = counts.texts.cbegin(); text != counts.texts.cend(); ++text)
        qInfo("%6d %s", text.value(), qPrintable(text.key()));
    QCOMPARE(counts.wrong, 0);
    QVERIFY(counts.failed < transactions / 20);
    checkGrowth(settled);

    link.reset();
    int exitCode = -1;
    for (int i = 0; i < 5 && exitCode != 0; ++i) // its own transactions have faults too
        exitCode = support::runDf1({"read", "N7:0", "--port", server.portName()}).exitCode;
    QCOMPARE(exitCode, 0);
}

QTEST_GUILESS_MAIN(Soak)
#include "soak.moc"
