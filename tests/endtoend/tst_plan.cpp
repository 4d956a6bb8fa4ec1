#include <QElapsedTimer>
#include <QtTest>
#include <random>

#include "drivers/tools/conversions.h"
#include "host/driverloader.h"
#include "host/link.h"
#include "host/requestplan.h"
#include "simulator/server.h"

using host::Tag;
using simulator::DataTables;
using simulator::FileType;

namespace {

/// Numbers that repeat on every platform.
class Random
{
public:
    explicit Random(quint32 seed)
        : m_engine(seed)
    {}

    int below(int end) { return static_cast<int>(m_engine() % static_cast<quint32>(end)); }

private:
    std::mt19937 m_engine;
};

/// One file of each kind, and two of N, with any bytes in them.
DataTables randomTables(Random& random, int elements)
{
    DataTables tables;
    const QByteArray letters("OISBTCRNF");
    for (int number = 0; number < 10; ++number) {
        const int type = number < 9 ? number : 7;
        simulator::DataFile& file = tables.add(
            number, static_cast<FileType>(static_cast<int>(FileType::Output) + type), elements);
        QByteArray bytes(elements * file.bytesPerElement(), '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random.below(256));
        if (!file.write(0, 0, bytes))
            qFatal("a file has no room for its own bytes");
    }
    return tables;
}

std::vector<Tag> randomTags(Random& random, int count, int elements)
{
    const char* const kinds[] = {"O:%1",        "I:%1/3",    "S2:%1",     "B3:%1/15",  "B3:%1",
                                 "T4:%1",       "T4:%1.PRE", "T4:%1/TT",  "C5:%1.ACC", "C5:%1/CU",
                                 "C5:%1.ACC/9", "R6:%1.LEN", "R6:%1.POS", "R6:%1/FD",  "T4:%1/5",
                                 "N7:%1",       "N7:%1/12",  "F8:%1",     "N9:%1"};
    std::vector<Tag> tags;
    while (static_cast<int>(tags.size()) < count) {
        const QString address = QString(kinds[random.below(19)]).arg(random.below(elements - 1));
        QString error;
        const auto tag = host::tagAt(address, QString(), &error);
        if (!tag)
            qFatal("%s", qPrintable(error));
        tags.push_back(*tag);
        const QList<host::ValueForm> forms = formsAt(tag->place);
        tags.back().form = forms.at(random.below(static_cast<int>(forms.size())));
    }
    return tags;
}

/// A paced simulator, and the plugin on a link to it.
class Plant
{
public:
    Plant(const DataTables& tables, int pace)
        : m_server(simulator::Controller(tables), settingsOf(pace))
        , m_loader(QStringLiteral(PLUGIN_FILE))
    {
        QString error;
        if (!m_server.start(simulator::PtyPlace(), &error))
            qFatal("%s", qPrintable(error));
        host::LineSettings line;
        if (pace != 0)
            line.baudRate = pace;
        m_link = host::Link::open(m_server.portName(), line, host::PortSettings(), &error);
        if (!m_link || !m_loader.driver())
            qFatal("%s%s", qPrintable(error), qPrintable(m_loader.error()));
    }

    QByteArray read(const CommunicatorCommand& command)
    {
        const QByteArray data = m_loader.driver()->read(&m_link->port(), command);
        if (m_loader.driver()->hasError())
            qFatal("%s: %s", qPrintable(command.address),
                   qPrintable(m_loader.driver()->getLastError()));
        return data;
    }

private:
    static simulator::ServerSettings settingsOf(int pace)
    {
        simulator::ServerSettings settings;
        settings.pace = pace;
        return settings;
    }

    simulator::Server m_server;
    host::DriverLoader m_loader;
    std::unique_ptr<host::Link> m_link;
};

/// The value by a read of its own.
quint32 bitsReadDirectly(Plant& plant, const Tag& tag)
{
    QString error;
    const auto address = host::TagAddress::parse(tag.address, &error);
    auto command = address->readRequest(1, &error).value();
    if (address->kind() == host::ValueKind::Word)
        command.count = bytesOf(tag.form) / 2;
    const QByteArray data = plant.read(command);
    return static_cast<quint32>(QByteArrayToInt(tag.place.bit ? data.left(1) : data));
}

int numberFromEnvironment(const char* name, int otherwise)
{
    return qEnvironmentVariableIsSet(name) ? qEnvironmentVariableIntValue(name) : otherwise;
}

double secondsOfAScan(Plant& plant, const std::vector<host::PlannedRead>& reads)
{
    QElapsedTimer clock;
    clock.start();
    for (const host::PlannedRead& read : reads)
        plant.read(read.command);
    return static_cast<double>(clock.nsecsElapsed()) * 1e-9;
}

}

/// Plans on the line: what they bring, and how long they take.
class TestPlan : public QObject
{
    Q_OBJECT

private slots:
    void bringsWhatSingleReadsBring();
    void takesAsLongAsPredicted();
};

// Catches: a slice at another byte, bit or word than the controller's value, and a read
// that the driver understands otherwise than the planner.
void TestPlan::bringsWhatSingleReadsBring()
{
    Random random(1);
    const int elements = 300;
    Plant plant(randomTables(random, elements), 0);
    const std::vector<Tag> tags = randomTags(random, 2000, elements);
    host::PlanSettings settings;
    settings.dataBytes = host::SAFE_DATA_BYTES; // many bytes are 0x10
    size_t values = 0;
    for (const host::PlannedRead& read : planReads(tags, settings)) {
        const QByteArray data = plant.read(read.command);
        for (const host::TagSlice& slice : read.slices) {
            const Tag& tag = tags[static_cast<size_t>(slice.tag)];
            const auto value = valueIn(data, slice, tag);
            QVERIFY2(value, qPrintable(tag.address));
            QVERIFY2(value->bits == bitsReadDirectly(plant, tag),
                     qPrintable(tag.address + " by " + read.command.address));
            ++values;
        }
    }
    QCOMPARE(values, tags.size());
}

// Catches: a cost model that misses bytes or waits of the line, and a simulator whose
// pace is not that of a line.
void TestPlan::takesAsLongAsPredicted()
{
    const int pace = numberFromEnvironment("PLAN_PACE", 1200);
    const int count = numberFromEnvironment("PLAN_TAGS", 10);
    Random random(2);
    const int elements = 2 * count;
    Plant plant(randomTables(random, elements), pace);
    const std::vector<Tag> tags = randomTags(random, count, elements);
    host::PlanSettings settings;
    settings.line.secondsPerByte = 10.0 / pace;
    const std::vector<host::PlannedRead> reads = planReads(tags, settings);
    const double predicted = secondsOf(reads);

    // Other work of the machine adds to the time, on a slow line hardly anything.
    const int mostAttempts = 3;
    double error = 1;
    for (int attempt = 0; attempt < mostAttempts && error > 0.05; ++attempt) {
        const double measured = secondsOfAScan(plant, reads);
        error = measured / predicted - 1;
        qInfo("%d tags in %d reads at %d bit/s: predicted %.3f s, measured %.3f s, %+.1f %%", count,
              static_cast<int>(reads.size()), pace, predicted, measured, error * 100);
    }
    QVERIFY(std::fabs(error) < 0.05);
}

QTEST_GUILESS_MAIN(TestPlan)
#include "tst_plan.moc"
