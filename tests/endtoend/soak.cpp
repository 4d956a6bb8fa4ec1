#include <QElapsedTimer>
#include <QFile>
#include <QtTest>
#include <random>

#include "host/driverloader.h"
#include "host/link.h"
#include "simulator/server.h"

using namespace simulator;

namespace {

constexpr int WORDS = 40;
constexpr int TIMEOUT_MS = 20;

int fromEnvironment(const char* name, int usual)
{
    const int value = qEnvironmentVariableIntValue(name);
    return value > 0 ? value : usual;
}

int residentKilobytes()
{
    QFile file("/proc/self/statm");
    file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').at(1).toInt() * 4;
}

}

/// Every fault at 1 %, for SOAK_TRANSACTIONS transactions with the seed SOAK_SEED.
class Soak : public QObject
{
    Q_OBJECT

private slots:
    void answersAreRightOrErrors();
};

// Catches: damaged data taken for sound ones, a driver or simulator that sticks or dies,
// and memory that grows.
void Soak::answersAreRightOrErrors()
{
    const int transactions = fromEnvironment("SOAK_TRANSACTIONS", 12500);
    const auto seed = static_cast<quint32>(fromEnvironment("SOAK_SEED", 1));
    QString error;
    ServerSettings settings;
    settings.seed = seed;
    settings.station.ackTimeoutMs = TIMEOUT_MS;
    QString script = faultNames().join("%1,") + "%1";
    script.replace("late%1", "late%1:" + QString::number(2 * TIMEOUT_MS));
    script.replace("swap%1", "swap%1:1100");
    const auto faults = parseFaults(script, &error);
    QVERIFY2(faults, qPrintable(error));
    settings.faults = *faults;
    Server server(Controller(seededTables(1)), settings);
    QVERIFY2(server.start(TcpPlace(), &error), qPrintable(error));

    host::DriverLoader loader(QStringLiteral(PLUGIN_FILE));
    DriverInterface* const driver = loader.driver();
    QVERIFY2(driver, qPrintable(loader.error()));
    host::PortSettings portSettings;
    portSettings.timeoutMs = TIMEOUT_MS;
    std::unique_ptr<host::Link> link;

    std::mt19937 random(seed);
    const auto below = [&random](int limit) { return static_cast<int>(random() % limit); };
    const DataTables swappedIn = seededTables(settings.seed + 1);
    int errors = 0;
    int reconnected = 0;
    int settledAt = 0;
    QMap<QString, int> texts;
    QStringList wrong;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < transactions; ++i) {
        if (!link || !link->port().deviceError().isEmpty()) {
            link = host::Link::open(server.portName(), host::LineSettings(), portSettings, &error);
            QVERIFY2(link, qPrintable(error));
            ++reconnected;
        }
        CommunicatorCommand command;
        command.type = 2;
        command.count = 1 + below(WORDS);
        const int element = below(100);
        command.address = QString("N7:%1").arg(element);
        const bool isWrite = below(4) == 0;
        QByteArray data;
        while (isWrite && data.size() < 2 * command.count)
            data.append(static_cast<char>(below(256)));
        const auto before = server.snapshot().file(7)->read(element, 0, 2 * command.count);
        const QByteArray read = isWrite ? QByteArray() : driver->read(&link->port(), command);
        if (isWrite)
            driver->write(&link->port(), command, data);
        const auto after = server.snapshot().file(7)->read(element, 0, 2 * command.count);
        if (driver->hasError()) {
            ++errors;
            ++texts[driver->getLastError().replace(QRegularExpression("N7:\\d+"), "N7:x")];
        } else if (isWrite ? after != data
                                 && after != swappedIn.file(7)->read(element, 0, int(data.size()))
                           : read != before && read != after) {
            wrong << QString("%1 of %2, %3 words: %4, not %5")
                         .arg(isWrite ? "write" : "read", command.address)
                         .arg(command.count)
                         .arg(QString(read.toHex()), QString(before->toHex()));
        }
        if (i == transactions / 4)
            settledAt = residentKilobytes();
    }
    const int grown = residentKilobytes() - settledAt;
    qInfo("%d transactions in %.1f s, %d errors after retries, %d connections, "
          "%d kB more than after the first quarter",
          transactions, static_cast<double>(clock.elapsed()) / 1000, errors, reconnected, grown);
    for (auto text = texts.cbegin(); text != texts.cend(); ++text)
        qInfo("%6d %s", text.value(), qPrintable(text.key()));
    QVERIFY2(
        wrong.isEmpty(),
        qPrintable(
            QString("%1 wrong answers: %2").arg(wrong.size()).arg(wrong.mid(0, 10).join('\n'))));
    QVERIFY(errors < transactions / 20);
#if !defined(__SANITIZE_ADDRESS__)
    QVERIFY2(grown < 2048, qPrintable(QString::number(grown)));
#endif
}

QTEST_GUILESS_MAIN(Soak)
#include "soak.moc"
