#include <QtTest>
#include <map>
#include <random>

#include "host/requestplan.h"
#include "host/requestsplit.h"
#include "host/values.h"
#include "support/frames.h"
#include "support/rows.h"

using host::Tag;

namespace {

/// The bytes of a read that the test puts together by itself.
int bytesOnTheLine(const Tag& tag, int element, int size, const host::LineCost& line)
{
    const QByteArray types("OISBTCRNF");
    QByteArray request = hex("00000F001111A2");
    request[0] = static_cast<char>(line.destination);
    request[1] = static_cast<char>(line.source);
    request += static_cast<char>(size);
    request += static_cast<char>(tag.place.file);
    request += static_cast<char>(0x82 + types.indexOf(tag.place.letter));
    if (element > 254)
        request += '\xFF';
    request += static_cast<char>(element);
    if (element > 254)
        request += static_cast<char>(element >> 8);
    request += '\0';
    QByteArray reply = hex("00004F001111") + QByteArray(size, '\0');
    reply[0] = static_cast<char>(line.source);
    reply[1] = static_cast<char>(line.destination);
    const int acknowledgements = 4;
    return static_cast<int>(frameOf(request).size() + frameOf(reply).size()) + acknowledgements;
}

/// Tries every way to put tags together.
class ExhaustiveSearch
{
public:
    ExhaustiveSearch(const std::vector<Tag>& tags, const host::PlanSettings& settings)
        : m_tags(tags)
        , m_settings(settings)
    {
        place(0);
    }

    double best() const { return m_best; }

private:
    struct Read
    {
        const Tag* tag;
        int first;
        int last;
    };

    /// Only elements of the same file, and of their words the same, can come together.
    static int groupOf(const Tag& tag)
    {
        return (tag.place.letter * 256 + tag.place.file) * 3 + tag.place.word;
    }

    static int elementsOf(const Tag& tag)
    {
        return bytesOf(tag.form) / 2 / (tag.place.letter == 'F' ? 2 : 1);
    }

    double secondsOf(const Read& read)
    {
        const int size =
            (read.last - read.first + 1) * host::bytesPerElement(read.tag->place.letter);
        if (size > m_settings.dataBytes)
            return 1e9;
        double& known = m_known[{groupOf(*read.tag), read.first, size}];
        if (known == 0)
            known = bytesOnTheLine(*read.tag, read.first, size, m_settings.line)
                        * m_settings.line.secondsPerByte
                    + m_settings.line.turnaround;
        return known;
    }

    void place(size_t number)
    {
        if (number == m_tags.size()) {
            double seconds = 0;
            for (const Read& read : m_reads)
                seconds += secondsOf(read);
            m_best = std::min(m_best, seconds);
            return;
        }
        const Tag& tag = m_tags[number];
        const int first = tag.place.element;
        const int last = first + elementsOf(tag) - 1;
        for (size_t i = 0; i < m_reads.size(); ++i) {
            const Read read = m_reads[i];
            if (groupOf(*read.tag) != groupOf(tag))
                continue;
            m_reads[i] = {read.tag, std::min(read.first, first), std::max(read.last, last)};
            place(number + 1);
            m_reads[i] = read;
        }
        m_reads.push_back({&tag, first, last});
        place(number + 1);
        m_reads.pop_back();
    }

    const std::vector<Tag>& m_tags;
    const host::PlanSettings& m_settings;
    std::vector<Read> m_reads;
    std::map<std::tuple<int, int, int>, double> m_known;
    double m_best = 1e9;
};

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

Tag tagOf(const QString& address, const QString& type = QString())
{
    QString error;
    const auto tag = host::tagAt(address, type, &error);
    if (!tag)
        qFatal("%s", qPrintable(error));
    return *tag;
}

std::vector<Tag> randomTags(Random& random)
{
    // Where the element's number begins to cost more, and elsewhere.
    const int starts[] = {0, 5, 230, 246, 4080};
    const int start = starts[random.below(5)];
    const char* const kinds[] = {"N7:%1",    "N7:%1", "N7:%1",     "N7:%1/3",
                                 "N16:%1/3", "F8:%1", "T4:%1.ACC", "T4:%1/DN"};
    const int oneKind = random.below(3) == 0 ? -1 : 0;
    std::vector<Tag> tags;
    for (int count = 1 + random.below(6); count > 0; --count) {
        const int kind = oneKind >= 0 ? oneKind : random.below(8);
        const QString address = QString(kinds[kind]).arg(start + random.below(60));
        tags.push_back(tagOf(address, kind < 3 && random.below(3) == 0 ? "i32" : ""));
    }
    return tags;
}

}

class TestRequestPlan : public QObject
{
    Q_OBJECT

private slots:
    void isNeverDearer();
    void bringsEveryTagOnce();
    void tellsWhatATagCosts();
    void splitsReads();
    void splitsWrites();
};

// Catches: a greedy merge, a gap crossed that costs more than a request or not crossed
// that costs less, bytes 0x10 of the request or long element numbers not counted.
void TestRequestPlan::isNeverDearer()
{
    Random random(1);
    for (int round = 0; round < 3000; ++round) {
        const std::vector<Tag> tags = randomTags(random);
        host::PlanSettings settings;
        settings.line.secondsPerByte = 1;
        settings.line.turnaround = random.below(2) * random.below(60);
        settings.line.destination = 15 + random.below(3);
        settings.dataBytes = random.below(2) == 0 ? 6 + random.below(100) : 206;
        const std::vector<host::PlannedRead> reads = planReads(tags, settings);
        double seconds = 0;
        for (const host::PlannedRead& read : reads) {
            QVERIFY(dataBytesOf(read.range) <= settings.dataBytes);
            const Tag& tag = tags[static_cast<size_t>(read.slices.front().tag)];
            seconds +=
                bytesOnTheLine(tag, read.range.element, dataBytesOf(read.range), settings.line)
                + settings.line.turnaround;
        }
        QCOMPARE(secondsOf(reads), seconds);
        const double best = ExhaustiveSearch(tags, settings).best();
        QVERIFY2(
            seconds <= best,
            qPrintable(QString("round %1: %2, but there is %3").arg(round).arg(seconds).arg(best)));
    }
}

// Catches: a tag forgotten, planned twice, or looked for at another offset or bit.
void TestRequestPlan::bringsEveryTagOnce()
{
    Random random(2);
    for (int round = 0; round < 300; ++round) {
        const std::vector<Tag> tags = randomTags(random);
        std::vector<int> seen(tags.size());
        for (const host::PlannedRead& read : planReads(tags, {})) {
            // Every byte of the data tells its element.
            const int valueSize = read.range.letter == 'F' ? 4 : 2;
            QByteArray data;
            for (int element = read.range.element; element < read.range.element + read.range.count;
                 ++element)
                data += QByteArray(valueSize, static_cast<char>(element));
            for (const host::TagSlice& slice : read.slices) {
                const Tag& tag = tags[static_cast<size_t>(slice.tag)];
                ++seen[static_cast<size_t>(slice.tag)];
                const int byte = tag.place.element & 0xFF;
                const auto value = valueIn(data, slice, tag);
                QVERIFY(value);
                QVERIFY(!valueIn(data.left(slice.offset + bytesOf(tag.form) - 1), slice, tag));
                const quint32 wanted = tag.place.bit ? byte >> (*tag.place.bit % 8) & 1 : byte;
                QCOMPARE(value->bits & (tag.place.bit ? 1 : 0xFF), wanted);
            }
        }
        QCOMPARE(seen, std::vector<int>(tags.size(), 1));
    }
}

// Catches: a saving that dropping the tag does not bring, or one that is overlooked.
void TestRequestPlan::tellsWhatATagCosts()
{
    const std::vector<Tag> tags = {tagOf("N7:0"),         tagOf("N7:1"),    tagOf("N7:12"),
                                   tagOf("N7:24"),        tagOf("N7:24/5"), tagOf("N7:200"),
                                   tagOf("N7:30", "i32"), tagOf("N7:30")};
    host::PlanSettings settings;
    settings.line.secondsPerByte = 1;
    std::vector<double> savings(tags.size());
    for (const host::PlannedRead& read : planReads(tags, settings)) {
        const std::vector<double> found = savingsOf(read, tags, settings);
        for (size_t i = 0; i < found.size(); ++i)
            savings[static_cast<size_t>(read.slices[i].tag)] = found[i];
    }
    // Without N7:12 the read falls apart in N7:0 to 1 and N7:24 to 31.
    QCOMPARE(savings, (std::vector<double>{2, 0, 9, 0, 0, 36, 2, 0}));
}

// Catches: a piece that is too long, a gap or an overlap between pieces, values under
// another's name, pieces without end.
void TestRequestPlan::splitsReads()
{
    const struct
    {
        const char* address;
        int count;
        int dataBytes;
        const char* pieces;
    } rows[] = {
        {"N7:0", 300, 206, "N7:0*103 N7:103*103 N7:206*94"},
        {"N7:0", 103, 206, "N7:0*103"},
        {"F8:10", 62, 246, "F8:10*61 F8:71*1"},
        {"T4:0.ACC", 40, 206, "T4:0.ACC*34 T4:34.ACC*6"},
        {"T4:0/DN", 35, 206, "T4:0/DN*34 T4:34/DN*1"},
        {"B3:0/10", 100, 10, "B3:0/10*70 B3:5/0*30"},
        {"B3:0/37", 13, 6, "B3:2/5*13"},
        {"T4:0/255", 2, 6, "T4:15/15*1 T4:16/0*1"},
        {"N7:65000", 537, 206, "N7:65000: last element 65536 is out of range; give 0 to 65535"},
    };
    for (const auto& row : rows) {
        QString error;
        const auto address = host::TagAddress::parse(row.address, &error);
        QVERIFY(address);
        QStringList pieces;
        for (const auto& piece : host::splitRead(*address, row.count, row.dataBytes, &error)
                                     .value_or(std::vector<host::ReadPiece>()))
            pieces << QString("%1*%2").arg(piece.command.address).arg(piece.command.count);
        ROW_COMPARE(row.address, pieces.isEmpty() ? error : pieces.join(' '), QString(row.pieces));
    }
}

// Catches: data of one piece under another's address, a value cut in two, single
// commands of the driver made several.
void TestRequestPlan::splitsWrites()
{
    const struct
    {
        const char* address;
        int count;
        int dataBytes;
        const char* pieces;
    } rows[] = {
        {"N7:1", 5, 5, "N7:1*2=12 N7:3*2=34 N7:5*1=5"},
        {"F8:1", 3, 10, "F8:1*2=12 F8:3*1=3"},
        {"T4:1.PRE", 5, 6, "T4:1.PRE*5=12345"},
        {"B3:1/2", 1, 6, "B3:1/2*1=1"},
    };
    for (const auto& row : rows) {
        QString error;
        const auto address = host::TagAddress::parse(row.address, &error);
        QVERIFY(address);
        QStringList numbers;
        for (int number = 1; number <= row.count; ++number)
            numbers << QString::number(number);
        const auto data = dataOf(*address, numbers, &error);
        QVERIFY(data);
        const auto pieces = splitWrite(*address, *data, row.dataBytes, &error);
        QVERIFY(pieces);
        QStringList shown;
        for (const host::WritePiece& piece : *pieces) {
            QString values;
            for (int i = 0; i < piece.command.count; ++i)
                values += valueAt(*address, piece.data, i).value;
            shown << QString("%1*%2=%3")
                         .arg(piece.command.address)
                         .arg(piece.command.count)
                         .arg(values);
        }
        ROW_COMPARE(row.address, shown.join(' '), QString(row.pieces));
    }
}

QTEST_APPLESS_MAIN(TestRequestPlan)
#include "tst_requestplan.moc"
