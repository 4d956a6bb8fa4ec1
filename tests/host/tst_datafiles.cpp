#include <QtTest>

#include "host/datafiles.h"
#include "host/tagaddress.h"
#include "simulator/models.h"
#include "support/rows.h"

using namespace host;

namespace {

/// The line has failed.
struct LineFault
{
};

/// A controller's memory, as the driver's reads and writes show it.
class Memory : public TableAccess
{
public:
    explicit Memory(simulator::DataTables files)
        : tables(std::move(files))
    {}

    std::optional<QByteArray> read(const CommunicatorCommand& command) override
    {
        ++requests;
        if (requests == failsAt)
            throw LineFault();
        const auto [file, place] = find(command);
        if (!file || command.count * file->bytesPerElement() > mostBytes)
            return std::nullopt;
        const auto bytes = file->read(place.element, 0, command.count * file->bytesPerElement());
        if (!bytes || file->bytesPerElement() != 6)
            return bytes;
        QByteArray words;
        for (int i = 0; i < command.count; ++i)
            words += bytes->mid(6 * i + 2 * place.word, 2);
        return words;
    }

    bool write(const CommunicatorCommand& command, const QByteArray& data) override
    {
        writes << command.address;
        if (writes.size() == failsAt)
            throw LineFault();
        const auto [file, place] = find(command);
        const bool holdsProtected =
            place.element <= protectedElement
            && protectedElement * 2 < place.element * 2 + static_cast<int>(data.size());
        if (!file || data.size() > mostBytes || (place.letter == 'N' && holdsProtected))
            return false;
        return file->write(place.element, place.word, data);
    }

    simulator::DataTables tables;
    int mostBytes = 206;
    int protectedElement = -1; // of N7
    int requests = 0;
    int failsAt = 0;
    QStringList writes;

private:
    std::pair<simulator::DataFile*, DataPlace> find(const CommunicatorCommand& command)
    {
        QString error;
        const DataPlace place = *TagAddress::parse(command.address, &error)->place();
        simulator::DataFile* const file = tables.file(place.file);
        const bool isThere = file && simulator::fileLetter(file->type()) == place.letter;
        return {isThere ? file : nullptr, place};
    }
};

QString textOf(const std::vector<FoundFile>& files)
{
    QStringList texts;
    for (const FoundFile& file : files)
        texts << QString("%1*%2").arg(file.name.text()).arg(file.elements);
    return texts.join(' ');
}

QString addressesOf(const std::vector<Difference>& differences)
{
    QStringList texts;
    for (const Difference& difference : differences)
        texts << difference.address();
    return texts.join(' ');
}

const auto IGNORE = [](int) {};

}

class TestDataFiles : public QObject
{
    Q_OBJECT

private slots:
    void names();
    void finds();
    void findsEveryLength();
    void reads();
    void differs();
    void writes();
    void endsOnALineFault();
};

// Catches: a file taken for another, and a name that no request can carry.
void TestDataFiles::names()
{
    const std::pair<const char*, const char*> rows[] = {
        {"N7", "N7"}, {"n10", "N10"},      {"O", "O"},   {"o0", "O"},  {"I1", "I"},
        {"i", "I"},   {"F254", "F254"},    {"S2", "S2"}, {"N255", ""}, {"O1", ""},
        {"N", ""},    {"N7:0", ""},        {"I0", ""},   {"L9", ""},   {"", ""},
        {"7", ""},    {"N1000000007", ""},
    };
    for (const auto& [text, name] : rows) {
        QString error;
        const auto parsed = parseDataFileName(text, &error);
        ROW_COMPARE(text, parsed ? parsed->text() : QString(), QString(name));
        QCOMPARE(error.contains(QString("'%1' is no data file").arg(text)), !parsed);
    }
    QString error;
    QCOMPARE(parseDataFileName("I", &error)->number, 1);
}

// Catches: files left out, under another letter, or with another length.
void TestDataFiles::finds()
{
    simulator::DataTables tables = simulator::seededTables(1);
    tables.add(9, simulator::FileType::Counter, 1);
    tables.add(200, simulator::FileType::Float, 255);
    tables.add(254, simulator::FileType::Control, 256);
    Memory memory(tables);
    int last = -1;
    const auto found = findDataFiles(memory, LAST_FILE, [&last](int number) { last = number; });
    QCOMPARE(textOf(found), QString("O*32 I*32 S2*66 B3*64 T4*40 C5*40 R6*40 N7*256 F8*64 C9*1 "
                                    "F200*255 R254*256"));
    QCOMPARE(last, 254);
    QCOMPARE(textOf(findDataFiles(memory, 4, IGNORE)), QString("O*32 I*32 S2*66 B3*64 T4*40"));
}

// Catches: an end that is missed by one, and a search without end.
void TestDataFiles::findsEveryLength()
{
    for (const int length : {1, 2, 3, 4, 7, 8, 9, 103, 127, 128, 1000, 4095, 4096, 9000}) {
        Memory memory({});
        memory.tables.add(7, simulator::FileType::Integer, length);
        QCOMPARE(lengthOf(memory, {'N', 7}), qMin(length, MOST_ELEMENTS));
        QVERIFY2(memory.requests <= 26, qPrintable(QString::number(memory.requests)));
        QCOMPARE(lengthOf(memory, {'B', 7}), 0);
    }
}

// Catches: bytes in another element or word, chunks that a controller refuses, and a
// refusal without end.
void TestDataFiles::reads()
{
    for (const int mostBytes : {206, 82, 60, 6}) {
        Memory memory(simulator::seededTables(3));
        memory.mostBytes = mostBytes;
        int dataBytes = 206;
        for (const auto& [number, file] : memory.tables.files()) {
            const FoundFile found = {{simulator::fileLetter(file.type()), number}, file.elements()};
            int elements = 0;
            const auto bytes = readDataFile(memory, found, dataBytes,
                                            [&elements](int count) { elements += count; });
            QVERIFY(bytes);
            QCOMPARE(*bytes, *file.read(0, 0, file.elements() * file.bytesPerElement()));
            QCOMPARE(elements, file.elements());
        }
        QVERIFY(dataBytes <= mostBytes);
        QVERIFY(!readDataFile(memory, {{'N', 7}, 257}, dataBytes, IGNORE));
    }
}

// Catches: a value that is wrong and not told, or told under another's address.
void TestDataFiles::differs()
{
    const auto file = [](char letter, const char* bytes) {
        return DataFile{{letter, letter == 'I' ? 1 : 4}, QByteArray::fromHex(bytes)};
    };
    const std::tuple<char, const char*, const char*, QString> rows[] = {
        {'N', "010002000300", "010003000400", "N4:1 N4:2"},
        {'N', "01000200", "0100", ""},
        {'N', "0100", "01000200", ""},
        {'I', "0100", "0101", "I:0"},
        {'T', "000001000200000001000200", "000001000300010002000200", "T4:0.ACC T4:1 T4:1.PRE"},
        {'R', "000001000200", "000002000300", "R4:0.LEN R4:0.POS"},
        {'F', "000000000000803F", "000000800000803F", "F4:0"},
    };
    for (const auto& [letter, now, wanted, addresses] : rows)
        ROW_COMPARE(wanted, addressesOf(differencesOf(file(letter, now), file(letter, wanted))),
                    addresses);
}

// Catches: a write of what is right already, two files in one command, a refusal that
// takes others with it, and values that are counted wrongly.
void TestDataFiles::writes()
{
    Memory memory(simulator::seededTables(3));
    simulator::DataTables wanted = memory.tables;
    for (const int element : {10, 11, 12, 13, 15, 255})
        wanted.file(7)->setWord(element, 0, 4711);
    wanted.file(4)->setWord(3, 0, 0x2000);
    wanted.file(4)->setWord(4, 2, 99);
    wanted.file(8)->setReal(0, 1.5F);
    wanted.file(8)->setReal(1, 2.5F);
    std::vector<Difference> differences;
    for (const int number : {4, 7, 8}) {
        const auto whole = [&](simulator::DataTables& tables) {
            const simulator::DataFile& file = *tables.file(number);
            return DataFile{{simulator::fileLetter(file.type()), number},
                            *file.read(0, 0, file.elements() * file.bytesPerElement())};
        };
        for (const Difference& one : differencesOf(whole(memory.tables), whole(wanted)))
            differences.push_back(one);
    }
    memory.protectedElement = 12;
    memory.mostBytes = 6;
    int settled = 0;
    const auto refused =
        writeDifferences(memory, differences, 206, [&settled](int values) { settled += values; });
    QCOMPARE(addressesOf(refused), QString("N7:12"));
    QCOMPARE(settled, 10);
    QCOMPARE(memory.writes.join(' '),
             QString("T4:3 T4:4.ACC N7:10 N7:10 N7:12 N7:12 N7:13 N7:15 N7:255 "
                     "F8:0 F8:0 F8:1"));
    wanted.file(7)->setWord(12, 0, *memory.tables.file(7)->word(12));
    QVERIFY(memory.tables == wanted);
}

// Catches: a line fault taken for a refusal, which would cut files short.
void TestDataFiles::endsOnALineFault()
{
    Memory memory(simulator::seededTables(3));
    int dataBytes = 206;
    memory.failsAt = 9;
    QVERIFY_EXCEPTION_THROWN(findDataFiles(memory, LAST_FILE, IGNORE), LineFault);
    memory.requests = 7;
    QVERIFY_EXCEPTION_THROWN(readDataFile(memory, {{'N', 7}, 256}, dataBytes, IGNORE), LineFault);
}

QTEST_APPLESS_MAIN(TestDataFiles)
#include "tst_datafiles.moc"
