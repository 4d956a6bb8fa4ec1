#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include "host/capture.h"
#include "host/message.h"
#include "support/frames.h"
#include "support/program.h"
#include "support/rows.h"

using namespace host;

namespace {

const TimePoint TIME(std::chrono::microseconds(1773500966000042));

QByteArray bytesIn(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

/// What the reader says of a file: the records' bytes, then its error.
QString readingOf(const QString& path)
{
    QString text;
    std::FILE* const file = std::fopen(path.toLocal8Bit().constData(), "rb");
    const auto reader = CaptureReader::open(file, "x", &text);
    if (!reader)
        return text;
    while (const auto record = reader->next())
        text += record->bytes.toHex() + ' ';
    return text + reader->error();
}

}

class TestCapture : public QObject
{
    Q_OBJECT

private slots:
    void comesBack();
    void saysWhatIsWrong();
    void isShownByTshark();

private:
    bool keep(const std::vector<Record>& records);
    QString path(const char* name) const { return m_folder.filePath(name); }

    const QTemporaryDir m_folder;
};

/// A capture of the records in the file "line.pcap".
bool TestCapture::keep(const std::vector<Record>& records)
{
    QString error;
    const auto writer = CaptureWriter::open(path("line.pcap"), &error);
    bool isWritten = writer != nullptr;
    TrafficReader reader([&](const Sighting& sighting) {
        isWritten = isWritten && writer->write(sighting, &error);
    });
    for (const Record& record : records)
        reader.take(record);
    return isWritten;
}

// Catches: a mark, a time or a byte that a capture loses, and a link type or header other
// than the documented one.
void TestCapture::comesBack()
{
    const std::vector<Record> kept = {
        {Direction::Sent, TIME, frameOf(hex("01000F0010"))},
        {Direction::Received, TIME + std::chrono::seconds(1), hex("1006"), true, true},
        {Direction::Received, TIME, {}},
        {Direction::Received, TIME, hex("FE"), false},
    };
    QVERIFY(keep(kept));
    const QByteArray bytes = bytesIn(path("line.pcap"));
    QCOMPARE(bytes.mid(20, 4), hex("93000000"));
    QCOMPARE(bytes.mid(40, 6), hex("01000000 1002"));
    QVERIFY(bytes.endsWith(hex("01010000 FE")));
    QVERIFY(CaptureReader::isCapture(bytes));

    QString error;
    const auto reader =
        CaptureReader::open(std::fopen(path("line.pcap").toLatin1(), "rb"), "x", &error);
    QVERIFY2(reader, qPrintable(error));
    for (const size_t i : {0U, 1U, 3U}) {
        const auto record = reader->next();
        QVERIFY(record);
        QCOMPARE(record->bytes, kept[i].bytes);
        QVERIFY(record->direction == kept[i].direction && record->time == kept[i].time);
        QVERIFY(record->isDiscarded == kept[i].isDiscarded
                && record->isEmbedded == kept[i].isEmbedded);
    }
    QVERIFY(!reader->next());
    QCOMPARE(reader->error(), QString());
}

// Catches: a full disk or a damaged file passed over in silence.
void TestCapture::saysWhatIsWrong()
{
    QString error;
    QVERIFY(!CaptureWriter::open("/dev/full", &error));
    QVERIFY2(error.contains("/dev/full: No space left"), qPrintable(error));
    QVERIFY(!CaptureWriter::open(m_folder.path(), &error));
    QVERIFY2(error.contains("Is a directory"), qPrintable(error));

    QVERIFY(keep({{Direction::Sent, TIME, hex("1006")}, {Direction::Sent, TIME, hex("1015")}}));
    const QByteArray sound = bytesIn(path("line.pcap"));
    const std::tuple<const char*, QByteArray, const char*> rows[] = {
        {"cut off", sound.chopped(1), "1006 cannot read the capture x: truncated"},
        {"cut off in the head", sound.left(10), "cannot read the capture x: truncated"},
        {"other link type", QByteArray(sound).replace(20, 1, hex("01")),
         "its link type is 1, not 147"},
        {"other version", QByteArray(sound).replace(40, 1, hex("02")),
         "record 1 does not begin with a header of version 1"},
        {"short record",
         QByteArray(sound)
             .left(62 - 16 - 6 + 16)
             .replace(32, 1, hex("04"))
             .replace(36, 1, hex("04"))
             .left(44),
         "record 1 does not begin"},
    };
    for (const auto& [name, bytes, text] : rows) {
        write(path("bad.pcap"), bytes);
        const QString reading = readingOf(path("bad.pcap"));
        QVERIFY2(reading.contains(text), qPrintable(QString(name) + ": " + reading));
    }
}

// Catches: a dissector whose texts or fields differ from the library's.
void TestCapture::isShownByTshark()
{
    const QString tshark = QStandardPaths::findExecutable("tshark");
    if (tshark.isEmpty())
        QSKIP("tshark is not installed");
    std::vector<Record> records;
    QStringList expected;
    const auto expect = [&](const QByteArray& raw, const QString& fields) {
        records.push_back({Direction::Received, TIME, raw});
        expected << fields;
    };
    const auto expectMessage = [&](const QByteArray& bytes) {
        const Message message = *Message::parse(bytes);
        const QString status = message.isReply() ? wordsOf(message.status).text : "";
        expect(frameOf(bytes),
               QStringList{"frame", message.isReply() ? "" : message.commandName(),
                           message.address ? message.address->text() : "",
                           message.size ? QString::number(*message.size) : "", status,
                           QString::fromLatin1(message.data.toHex()), "CRC right"}
                   .join('|'));
    };
    for (int code = 0; code < 256; ++code) {
        const auto byte = static_cast<char>(code);
        expectMessage(hex("00014F") + byte + hex("0100"));
        expectMessage(hex("00014FF00200") + byte);
        expectMessage(hex("01000F000300") + byte + hex("0207890A00AABB"));
        expectMessage(hex("010006000400") + byte);
        expectMessage(hex("01000F000500A20204") + byte + hex("FF2C0102"));
    }
    expectMessage(hex("01000F003412010000030006070A07"));
    expectMessage(hex("01000F003412000000020006070A34127856"));
    expectMessage(hex("01000F000300A102078905"));
    expectMessage(hex("01000F000200AB038800020010 0010"));
    expect(hex("1006"), "ACK||||||");
    expect(hex("1015"), "NAK||||||");
    expect(hex("1005"), "ENQ||||||");
    expect(hex("FE10"), "noise|||||fe10|");
    expect(hex("10020900010001001100021003E2"), "frame|command 01||||110002|BCC right");
    expect(hex("10020900010001001100021003E3AA"), "frame|command 01||||110002|CRC wrong");
    expect(hex("1002090001000100"), "frame|command 01|||||cut off");
    expect(hex("1002"), "frame||||||cut off");
    QVERIFY(keep(records));

    QStringList command = {
        tshark, "-X",         "lua_script:" DISSECTOR_FILE, "-r", path("line.pcap"), "-T", "fields",
        "-E",   "separator=|"};
    for (const char* const field :
         {"kind", "command", "address", "size", "status", "data", "check"})
        command << "-e" << QString("df1.%1").arg(field);
    const support::Outcome shown = support::Program(command).end(60000);
    QVERIFY2(shown.exitCode == 0 && !shown.errors.contains("df1.lua"), qPrintable(shown.errors));
    const QStringList lines = shown.output.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), expected.size());
    for (int i = 0; i < lines.size(); ++i)
        ROW_COMPARE(records[static_cast<size_t>(i)].bytes.toHex().constData(), lines.at(i),
                    expected.at(i));
}

QTEST_GUILESS_MAIN(TestCapture)
#include "tst_capture.moc"
