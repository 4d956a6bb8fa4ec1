#include <QBuffer>
#include <QtTest>

#include <fstream>
#include <new>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "drivers/drv_dev_setting.h"
#include "support/bytes.h"
#include "support/messages.h"
#include "support/rows.h"

typedef QPair<QString, quint16> Entry;

namespace {

const QDataStream::ByteOrder BIG = QDataStream::BigEndian;
const QDataStream::ByteOrder LITTLE = QDataStream::LittleEndian;

const char* const NUMBERS_AND_INDEX_1 = "00000010 FFFFFFFF 00004B00 00000008 00000000 00000000"
                                        "00000000 FFFFFFFF 00000001";
const char* const ENTRIES = "00000002 0041 01F6 00000002 0042 01F7";

DeviceSetting defaultPort()
{
    return DeviceSetting(DEVICE_RS232, "COM2", 19200, 8, 0, 0);
}

/// Entries "A" at port 502 and "B" at port 503, or fewer.
QList<Entry> entries(int count)
{
    return (QList<Entry>() << Entry("A", 502) << Entry("B", 503) << Entry("C", 504)).mid(0, count);
}

template <typename Record>
QByteArray written(const Record& record, QDataStream::ByteOrder order = BIG)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    stream << record;
    return bytes;
}

template <typename Record>
QDataStream::Status readInto(Record& record, const QByteArray& bytes,
                             QDataStream::ByteOrder order = BIG)
{
    QDataStream stream(bytes);
    stream.setByteOrder(order);
    stream >> record;
    return stream.status();
}

/// A device whose reads fail once its bytes are used up, though it claims to have more.
class FailingDevice : public QBuffer
{
public:
    bool atEnd() const override { return false; }
    qint64 bytesAvailable() const override { return QBuffer::bytesAvailable() + 1; }
};

/// Leaves this process 64 MiB of address space beyond what it has.
bool limitMemory()
{
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (64U << 20);
    const rlimit limit = {bytes, bytes};
    return pages > 0 && setrlimit(RLIMIT_AS, &limit) == 0;
}

/// Number of entries read from @p device in a process of its own that has 64 MiB
/// left; 255 when it ran out of memory or did not come to an end.
int entriesReadInLittleMemory(QIODevice& device)
{
    const pid_t pid = fork();
    if (pid == 0) {
        try {
            alarm(10);
            QDataStream stream(&device);
            DeviceSetting read = defaultPort();
            if (limitMemory())
                stream >> read;
            _exit(static_cast<int>(read.socketList.size()));
        } catch (const std::bad_alloc&) {
            _exit(255);
        }
    }
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

}

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a constructor or copy that carries a field it should leave, or makes one up.
    void driverSettingKeepsWhatItShould()
    {
        const DriverSetting four(500, 3, 1, 7), six(500, 3, 1, 7, "ignored", 9);
        QVERIFY(four.extraText.isNull() && !four.extraFlag);
        QVERIFY(six.extraText.isNull() && !six.extraFlag);
        QCOMPARE(written(six), written(four));
        QCOMPARE(defaultPort().extraValue, 0);

        const DriverSetting eight(1, 2, 3, 4, "ignored", 9, "kept", true);
        QVERIFY(eight.extraText == "kept" && eight.extraFlag);
        DriverSetting target(0, 0, 0, 0, "", 0, "old", false);
        target.copy(eight);
        QVERIFY(target.extraText == "kept" && !target.extraFlag);
        QCOMPARE(written(target), written(eight));
    }

    // Catches: fields swapped, widened or streamed that should not be.
    void driverSettingOnTheStream()
    {
        const int fields[] = {500, 3, 1, -2};
        const DriverSetting setting(fields[0], fields[1], fields[2], fields[3]);
        const QByteArray big = hex("000001F4 00000003 00000001 FFFFFFFE");
        QCOMPARE(written(setting), big);
        QCOMPARE(written(setting, LITTLE), hex("F4010000 03000000 01000000 FEFFFFFF"));
        for (int length = 0; length <= big.size(); ++length) {
            DriverSetting read(9, 9, 9, 9, "", 0, "kept", true);
            QCOMPARE(readInto(read, big.left(length)),
                     length < 16 ? QDataStream::ReadPastEnd : QDataStream::Ok);
            const int numbers[] = {read.timeout, read.retry, read.stationid, read.delay};
            for (int i = 0; i < 4; ++i)
                QCOMPARE(numbers[i], length < 4 * (i + 1) ? 0 : fields[i]);
            QVERIFY(read.extraText == "kept" && read.extraFlag);
        }
    }

    // Catches: any byte that differs from what panels have stored.
    void deviceSettingOnTheStream()
    {
        const struct
        {
            const char *name, *text;
            QDataStream::ByteOrder order;
            int entryCount;
            const char* bytes;
        } rows[] = {
            {"default port", "COM2", BIG, 0,
             "00000010 00000008 0043004F004D0032 00004B00 00000008 00000000 00000000 00000000 "
             "FFFFFFFF 00000000 00000000"},
            {"null name, two entries", 0, BIG, 2,
             "00000010 FFFFFFFF 00004B00 00000008 00000000 00000000 00000000 FFFFFFFF 00000001 "
             "00000002 00000002 0041 01F6 00000002 0042 01F7"},
            {"low byte first", 0, LITTLE, 2,
             "10000000 FFFFFFFF 004B0000 08000000 00000000 00000000 00000000 FFFFFFFF 01000000 "
             "02000000 02000000 4100 F601 02000000 4200 F701"},
            {"low byte first, name", "COM2", LITTLE, 0,
             "10000000 08000000 43004F004D003200 004B0000 08000000 00000000 00000000 00000000 "
             "FFFFFFFF 00000000 00000000"},
            {"empty name", "", BIG, 0,
             "00000010 00000000 00004B00 00000008 00000000 00000000 00000000 FFFFFFFF 00000000 "
             "00000000"},
        };
        for (const auto& row : rows) {
            DeviceSetting setting(DEVICE_RS232, row.text, 19200, 8, 0, 0, 0, "not streamed");
            setting.socketList = entries(row.entryCount);
            setting.setCurrentIPIndex(1);
            ROW_COMPARE(row.name, written(setting, row.order), hex(row.bytes));
            DeviceSetting read(device_type(-1), "x", 1, 2, 3, 4, 5, "kept");
            ROW_COMPARE(row.name, readInto(read, hex(row.bytes), row.order), QDataStream::Ok);
            ROW_COMPARE(row.name, written(read, row.order), hex(row.bytes));
            ROW_COMPARE(row.name, read.string.isNull(), row.text == 0);
            ROW_COMPARE(row.name, read.extraText, "kept");
        }
    }

    // Catches: entries lost at the end of the stream, an index that names no entry.
    void readsEntries()
    {
        const QDataStream::Status ok = QDataStream::Ok, end = QDataStream::ReadPastEnd;
        const QByteArray two = hex(ENTRIES);
        const struct
        {
            const char* name;
            QByteArray list;
            int kept;
            QDataStream::Status status;
            int index;
        } rows[] = {
            {"as many as counted", hex("00000002") + two, 2, ok, 1},
            {"one missing", hex("00000003") + two, 2, ok, 1},
            {"count damaged", hex("FFFFFFFF") + two, 2, ok, 1},
            {"index names none", hex("00000001") + two.left(8), 1, ok, 7},
            {"text length odd", hex("00000001 00000003 01F6"), 1, QDataStream::ReadCorruptData, 7},
            {"text length damaged", hex("7FFFFFFF 7FFFFFF0") + two, 1, end, 7},
        };
        for (const auto& row : rows) {
            DeviceSetting read = defaultPort();
            read.currentIPIndex = 7;
            ROW_COMPARE(row.name, readInto(read, hex(NUMBERS_AND_INDEX_1) + row.list), row.status);
            ROW_COMPARE(row.name, read.socketList.size(), row.kept);
            ROW_COMPARE(row.name, read.currentIPIndex, row.index);
        }
    }

    // Catches: a field that survives from before, an entry lost or made up, a status
    // other than the stream's own.
    void endsEarlyAtEveryOffset()
    {
        const QByteArray bytes = hex("00000010 00000008 0043004F004D0032 00000001 00000002 00000003"
                                     "00000004 00000005 00000006 00000001 00000002")
                                 + hex(ENTRIES);
        for (int length = 0; length <= bytes.size(); ++length) {
            DeviceSetting read(device_type(9), "old", 9, 9, 9, 9, 9, "");
            read.currentIPIndex = 7;
            const bool behindEntry = length == 56 || length == 64;
            QCOMPARE(readInto(read, bytes.left(length)),
                     behindEntry ? QDataStream::Ok : QDataStream::ReadPastEnd);
            QCOMPARE(int(read.type), length < 4 ? 0 : 16);
            QCOMPARE(read.string, length < 16 ? QString() : QString("COM2"));
            const int numbers[] = {read.baudrate, read.databits,   read.stopbits,
                                   read.parity,   read.extraValue, read.linkID};
            for (int i = 0; i < 6; ++i)
                QCOMPARE(numbers[i], length < 20 + 4 * i ? 0 : i + 1);

            // An entry that ends early counts; the one after it is not begun.
            const int kept = length < 48 ? 0 : length <= 56 ? 1 : 2;
            QCOMPARE(int(read.socketList.size()), kept);
            QCOMPARE(read.currentIPIndex, kept == 2 ? 1 : 7);
            for (int i = 0; i < 2; ++i) {
                QCOMPARE(read.socketIP(i),
                         length < 54 + 8 * i ? QString() : entries(2).at(i).first);
                QCOMPARE(int(read.port(i)), length < 56 + 8 * i ? 0 : 502 + i);
            }
        }
    }

    // Catches: memory reserved for a count before the entries are there, and entries
    // made up for as long as the count says when the device fails.
    void countIsNotTrusted()
    {
        const char* const counts[] = {"FFFFFFFF", "7FFFFFFF", "01000000"};
        for (const char* count : counts) {
            QBuffer sound;
            FailingDevice failing;
            sound.setData(hex(NUMBERS_AND_INDEX_1) + hex(count) + hex(ENTRIES));
            failing.setData(sound.data());
            QVERIFY(sound.open(QIODevice::ReadOnly) && failing.open(QIODevice::ReadOnly));
            ROW_COMPARE(count, entriesReadInLittleMemory(sound), 2);
            ROW_COMPARE(count, entriesReadInLittleMemory(failing), 3);
        }
    }

    // Catches: an index off by one, and a setter that touches the other member.
    void entriesAreReached()
    {
        DeviceSetting setting = defaultPort();
        QVERIFY(setting.socketIP(-1).isNull() && setting.port(-1) == 0);
        typedef QPair<QString, QString> Texts;
        setting.setSocketData(QList<Texts>() << Texts("10.0.0.5", "502") << Texts("b", "abc")
                                             << Texts("c", "70000"));
        QVERIFY(setting.port(0) == 502 && setting.port(1) == 0 && setting.port(2) == 0);

        setting.setCurrentIPIndex(2);
        setting.setCurrentIPIndex(3);
        setting.setCurrentIPIndex(-1);
        QCOMPARE(setting.currentIPIndex, 2);
        setting.setSocketIP("x", -1);
        setting.setPort(7, -1);
        const QList<Entry> expected = QList<Entry>()
                                      << Entry("10.0.0.5", 502) << Entry("b", 0) << Entry("x", 7);
        const int bad[] = {3, 99, -2};
        for (int index : bad) {
            setting.setSocketIP("y", index);
            setting.setPort(9, index);
            QVERIFY(setting.socketIP(index).isNull() && setting.port(index) == 0);
        }
        QCOMPARE(setting.socketList, expected);

        setting.setSocketData(QList<Texts>() << Texts("10.0.0.5", "502"));
        QCOMPARE(setting.currentIPIndex, 2);
        QVERIFY(setting.socketIP(-1).isNull());
    }

    // Catches: a message split in two, escaped, or without its final blank.
    void dumpsOneLine()
    {
        DeviceSetting device(device_type(-1), "C\"M", 19200, 8, 0, -1);
        const KeptMessages messages;
        DriverSetting(500, 3, 1, 0).dump();
        device.dump();
        device.socketList = entries(3);
        device.setCurrentIPIndex(2);
        device.dump();
        const QString line =
            "0 type: 4294967295 string: \"C\"M\" baudrate: 19200 databits: 8 "
            "stopbits: 0 parity: -1 linkID: -1 current ip: \"%1\" current port: %2 ";
        QCOMPARE(messages.list(), QStringList() << "0 timeout: 500 retry: 3 stationid: 1 delay: 0 "
                                                << line.arg("", "0") << line.arg("C", "504"));
    }
};

QTEST_APPLESS_MAIN(TestSettings)
#include "tst_settings.moc"
