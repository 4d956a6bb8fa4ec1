#include <QtTest>

#include <csignal>

#include "simulator/server.h"
#include "simulator/tablesfile.h"
#include "support/program.h"
#include "support/rows.h"

using simulator::DataTables;
using simulator::FileType;
using support::Outcome;
using support::runDf1;

namespace {

/// Files of every type, with what is hard to carry.
DataTables plant()
{
    DataTables tables = simulator::seededTables(3);
    tables.add(12, FileType::Timer, 90);
    tables.add(20, FileType::Bit, 300).write(100, 0, QByteArray(300, '\x10'));
    tables.add(254, FileType::Float, 1).write(0, 0, QByteArray::fromHex("0100C07F"));
    return tables;
}

class Plant
{
public:
    explicit Plant(const DataTables& tables, const QString& faults = {}, bool isAlive = false)
        : m_server(simulator::Controller(tables), settings(faults, isAlive))
    {
        QString error;
        if (!m_server.start(simulator::TcpPlace(), &error))
            qFatal("%s", qPrintable(error));
    }

    DataTables tables() const { return m_server.snapshot(); }
    void change(const std::function<void(DataTables&)>& apply) { m_server.change(apply); }
    /// Runs df1 at its port; 200 ms are enough for an answer.
    Outcome run(const QString& arguments) const
    {
        return runDf1(arguments.split(' ') + connection());
    }
    QStringList connection() const { return {"--port", m_server.portName(), "--timeout", "700"}; }
    int requests() const { return m_requests; }
    int writes() const { return m_writes; }

private:
    simulator::ServerSettings settings(const QString& faults, bool isAlive)
    {
        QString error;
        simulator::ServerSettings settings;
        settings.isAlive = isAlive;
        if (!faults.isEmpty())
            settings.faults = *simulator::parseFaults(faults, &error);
        settings.log = [this](const simulator::Exchange& exchange) {
            ++m_requests;
            m_writes += textOf(exchange).startsWith("0F AA") ? 1 : 0;
        };
        return settings;
    }

    std::atomic<int> m_requests{0};
    std::atomic<int> m_writes{0};
    simulator::Server m_server;
};

/// Some values that differ from plant(): four in a row, of a timer two words.
void disturb(DataTables& tables)
{
    for (int element = 50; element < 54; ++element)
        tables.file(7)->setWord(element, 0, 1);
    tables.file(12)->setWord(89, 0, 1);
    tables.file(12)->setWord(89, 2, 1);
    tables.file(254)->setReal(0, 1);
    for (const int file : {0, 1, 2})
        tables.file(file)->setWord(5, 0, 1);
}

const int DISTURBED = 7; // without outputs, inputs and status words

}

/// df1 dump and df1 restore as a script sees them.
class TestDump : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void dumpCanBeSimulated();
    void dumpsWhatIsNamed();
    void leavesNothingHalfWritten();
    void restoresWhatDiffers();
    void goesOn();
    void tellsWhatIsLeft();
    void refusesToRestore();

private:
    QTemporaryDir m_folder;
    const QString m_dump = m_folder.filePath("plant.json");
};

// Catches: files, elements or bits that a dump loses.
void TestDump::initTestCase()
{
    const Plant controller(plant(), "flip/300,silence/401");
    const Outcome outcome = controller.run("dump -o " + m_dump);
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.errors));
    QString error;
    const auto dumped = simulator::loadTables(m_dump, 1, &error);
    QVERIFY2(dumped, qPrintable(error));
    QVERIFY(dumped->tables == plant());
    QCOMPARE(dumped->model.name, QString("1100"));
}

// Catches: a dump that df1 simulate does not take, or takes for something else.
void TestDump::dumpCanBeSimulated()
{
    support::Program simulator(
        support::df1({"simulate", "--still", "--tcp", "0", "--tables", m_dump}));
    const Outcome again =
        runDf1({"dump", "--port", simulator.readLine(), "-o", m_dump + "2", "-q"});
    QCOMPARE(again.errors, QString());
    QCOMPARE(again.exitCode, 0);
    QString error;
    QVERIFY(simulator::loadTables(m_dump + "2", 1, &error)->tables == plant());
}

// Catches: other files than those named, and data that are not on standard output.
void TestDump::dumpsWhatIsNamed()
{
    const Plant controller(plant());
    const Outcome outcome = controller.run("dump f254 T12");
    QString error;
    const auto dumped = simulator::parseTables(outcome.output.toUtf8(), 1, &error);
    QVERIFY2(dumped, qPrintable(error + outcome.errors));
    const DataTables all = plant();
    DataTables named;
    for (const int number : {12, 254}) {
        const simulator::DataFile& file = *all.file(number);
        named.add(number, file.type(), file.elements()) = file;
    }
    QVERIFY(dumped->tables == named);
}

// Catches: a dump that failed and has left a file, or taken the old one's place.
void TestDump::leavesNothingHalfWritten()
{
    const QString kept = m_folder.filePath("kept.json");
    QFile file(kept);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("old") == 3);
    file.close();
    const Plant controller(plant());
    const Plant dying(plant(), "silence@40x1000");
    const std::tuple<const Plant*, QString, int, QString> rows[] = {
        {&controller, "dump N7 N99 -o " + kept, 6, "N99: the controller has no such file"},
        {&controller, "dump N7 -o /dev/full", 8, "No space left on device"},
        {&controller, "dump N7 -o " + m_folder.path(), 8, "directory"},
        {&controller, "dump N255 -o " + kept, 2, "'N255' is no data file"},
        {&dying, "dump -o " + kept, 4, "PLC no response"},
    };
    for (const auto& [plant, arguments, exitCode, message] : rows) {
        const Outcome outcome = plant->run(arguments);
        ROW_COMPARE(qPrintable(arguments), outcome.exitCode, exitCode);
        QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
    }
    const QStringList slow = {"--delay", "5"};
    support::Program ended(support::df1({"dump", "-o", kept}) + controller.connection() + slow);
    QTest::qWait(300);
    ended.signal(SIGINT);
    QCOMPARE(ended.end().exitCode, 130);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("old"));
    QCOMPARE(QDir(m_folder.path()).entryList({"kept*"}, QDir::Files).size(), 1);
}

// Catches: a write before it is asked for, of what is right already, or of outputs.
void TestDump::restoresWhatDiffers()
{
    DataTables disturbed = plant();
    disturb(disturbed);
    Plant controller(disturbed);
    const QString difference = "ADDRESS     NOW  WANTED\n"
                               "N7:50         1    ";
    const Outcome dry = controller.run("restore --dry-run " + m_dump);
    QCOMPARE(dry.exitCode, 0);
    QCOMPARE(dry.output.left(difference.size()), difference);
    QCOMPARE(dry.output.count('\n'), DISTURBED + 1);
    QCOMPARE(controller.run("restore --dry-run " + m_dump + " O O").output.count('\n'), 2);
    const Outcome unasked = controller.run("restore " + m_dump);
    QCOMPARE(unasked.exitCode, 2);
    QVERIFY(unasked.errors.contains("nothing is written without --yes"));
    const Outcome outputs = controller.run("restore " + m_dump + " O");
    QCOMPARE(outputs.exitCode, 2);
    QVERIFY2(outputs.errors.contains("can move machines"), qPrintable(outputs.errors));
    QVERIFY(controller.tables() == disturbed);
    QCOMPARE(controller.writes(), 0);

    const Outcome done = controller.run("restore --yes " + m_dump);
    QVERIFY2(done.exitCode == 0, qPrintable(done.errors));
    QVERIFY2(done.errors.contains("left out: O I S2"), qPrintable(done.errors));
    QCOMPARE(controller.writes(), 4);
    DataTables expected = plant();
    for (const int file : {0, 1, 2})
        expected.file(file)->setWord(5, 0, 1);
    QVERIFY(controller.tables() == expected);
    QCOMPARE(controller.run("restore --yes " + m_dump + " S2 I O").exitCode, 0);
    QVERIFY(controller.tables() == plant());
}

// Catches: a restore that was cut off and does not say how far it came, or begins again.
void TestDump::goesOn()
{
    DataTables disturbed = plant();
    disturb(disturbed);
    const QString restore = "restore " + m_dump + " N7 T12 F254 --retry 0 ";
    const Plant whole(disturbed);
    QCOMPARE(whole.run(restore + "--dry-run").exitCode, 0);
    // After N7 has been written and read again, in three reads.
    const Plant cut(disturbed, QString("lose-reply@%1x1000").arg(whole.requests() + 5));
    const Outcome first = cut.run(restore + "--yes");
    QCOMPARE(first.exitCode, 4);
    QVERIFY2(first.errors.contains("; 4 of 7 values confirmed: run it again to go on"),
             qPrintable(first.errors));
    const Plant next(cut.tables());
    QCOMPARE(next.run(restore + "--yes").exitCode, 0);
    QCOMPARE(next.writes(), 2); // the reply was lost, not the write
    QCOMPARE(next.run(restore + "--dry-run").output, QString());
}

// Catches: a restore into a controller with other files, and what is refused or does not
// stay counted among what was done.
void TestDump::tellsWhatIsLeft()
{
    const std::tuple<const char*, std::function<void(DataTables&)>, bool, int, QString> rows[] = {
        {"protected", [](DataTables& tables) { tables.file(7)->setProtected(true); }, false, 6,
         "3 of 7 values written; refused: N7:50 N7:51 N7:52 N7:53\n"},
        {"missing", [](DataTables& tables) { tables.add(12, FileType::Counter, 90); }, false, 6,
         "does not have T12; nothing is written"},
        {"shorter", [](DataTables& tables) { tables.add(7, FileType::Integer, 50); }, false, 6,
         "does not have N7:50-255; nothing is written"},
        {"Program mode",
         [](DataTables& tables) {
             setProcessorMode(tables, simulator::ProcessorMode::RemoteProgram);
         },
         false, 6, "0 of 7 values written; refused: "},
        {"alive", [](DataTables&) {}, true, 7, "written, but read back otherwise: "},
    };
    for (const auto& [name, change, isAlive, exitCode, message] : rows) {
        DataTables disturbed = plant();
        disturb(disturbed);
        change(disturbed);
        const Plant controller(disturbed, "", isAlive);
        const Outcome outcome = controller.run("restore --yes " + m_dump);
        ROW_COMPARE(name, outcome.exitCode, exitCode);
        QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
        QCOMPARE(controller.writes() == 0, message.endsWith("nothing is written"));
    }
}

// Catches: a file that is no dump and is restored as one, as zeros or as something else.
void TestDump::refusesToRestore()
{
    const std::pair<const char*, const char*> rows[] = {
        {"{}", "there are no \"files\" in it"},
        {"{", "line 1, column"},
        {R"({"files": [{"number": 3, "type": "O", "values": [1]}]})", "O is file 0"},
        {R"({"files": [{"number": 3, "type": "B", "values": [1]}]})", "N7: there is no such file"},
        {R"({"files": [{"number": 7, "type": "N", "length": 2, "values": [1]}]})",
         "files[0] has values for 1 of its 2 elements"},
    };
    const QString source = m_folder.filePath("bad.json");
    for (const auto& [json, message] : rows) {
        QFile file(source);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(json) > 0);
        file.close();
        const Outcome outcome = runDf1({"restore", source, "N7", "--yes"});
        ROW_COMPARE(json, outcome.exitCode, 2);
        QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
    }
}

QTEST_GUILESS_MAIN(TestDump)
#include "tst_dump.moc"
