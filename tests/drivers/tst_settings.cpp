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

typedef QPair<QString, quint16> Entry;

namespace {

const char* const DEFAULT_PORT = "00000010 00000008 0043004F004D0032 00004B00 00000008 00000000"
                                 "00000000 00000000 FFFFFFFF 00000000 00000000";
const char* const DEFAULT_PORT_LITTLE = "10000000 08000000 43004F004D003200 004B0000 08000000"
                                        "00000000 00000000 00000000 FFFFFFFF 00000000 00000000";
const char* const NUMBERS_AND_INDEX_1 = "00000010 FFFFFFFF 00004B00 00000008 00000000 00000000"
                                        "00000000 FFFFFFFF 00000001";
const char* const ENTRY_A = "00000002 0041 01F6";
const char* const ENTRY_B = "00000002 0042 01F7";

DeviceSetting defaultPort()
{
    return DeviceSetting(DEVICE_RS232, "COM2", 19200, 8, 0, 0);
}

QList<Entry> entries(int count)
{
    QList<Entry> list;
    for (int i = 0; i < count; ++i)
        list << Entry(QString(QLatin1Char(static_cast<char>('A' + i))),
                      static_cast<quint16>(502 + i));
    return list;
}

template <typename Record>
QByteArray written(const Record& record, QDataStream::ByteOrder order)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    stream << record;
    return bytes;
}

template <typename Record>
QDataStream::Status readInto(Record& record, const QByteArray& bytes,
                             QDataStream::ByteOrder order = QDataStream::BigEndian)
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
    void driverSettingKeepsWhatItShould();
    void driverSettingOnTheStream();
    void deviceSettingOnTheStream_data();
    void deviceSettingOnTheStream();
    void readsEntries_data();
    void readsEntries();
    void endsEarlyAtEveryOffset();
    void countIsNotTrusted();
    void entriesAreReached();
    void dumpsOneLine();
};

// Catches: a constructor or copy that carries a field it should leave.
void TestSettings::driverSettingKeepsWhatItShould()
{
    const DriverSetting four(500, 3, 1, 7);
    const DriverSetting six(500, 3, 1, 7, "ignored", 9);
    QVERIFY(four.extraText.isNull() && !four.extraFlag);
    QVERIFY(six.extraText.isNull() && !six.extraFlag);
    QCOMPARE(written(six, QDataStream::BigEndian), written(four, QDataStream::BigEndian));

    const DriverSetting eight(1, 2, 3, 4, "ignored", 9, "kept", true);
    QVERIFY(eight.extraText == "kept" && eight.extraFlag);
    DriverSetting target(0, 0, 0, 0, "", 0, "old", false);
    target.copy(eight);
    QCOMPARE(target.extraText, QString("kept"));
    QVERIFY(!target.extraFlag);
    QCOMPARE(written(target, QDataStream::BigEndian), written(eight, QDataStream::BigEndian));
}

// Catches: fields swapped, widened or streamed that should not be.
void TestSettings::driverSettingOnTheStream()
{
    const int fields[] = {500, 3, 1, -2};
    const DriverSetting setting(fields[0], fields[1], fields[2], fields[3]);
    const QByteArray big = hex("000001F4 00000003 00000001 FFFFFFFE");
    QCOMPARE(written(setting, QDataStream::BigEndian).toHex(), big.toHex());
    QCOMPARE(written(setting, QDataStream::LittleEndian).toHex(),
             hex("F4010000 03000000 01000000 FEFFFFFF").toHex());

    for (int length = 0; length <= big.size(); ++length) {
        DriverSetting read(9, 9, 9, 9, "", 0, "kept", true);
        const QDataStream::Status status = readInto(read, big.left(length));
        QCOMPARE(status, length < 16 ? QDataStream::ReadPastEnd : QDataStream::Ok);
        const int numbers[] = {read.timeout, read.retry, read.stationid, read.delay};
        for (int i = 0; i < 4; ++i)
            QCOMPARE(numbers[i], length < 4 * (i + 1) ? 0 : fields[i]);
        QVERIFY(read.extraText == "kept" && read.extraFlag);
    }
}

void TestSettings::deviceSettingOnTheStream_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("order");
    QTest::addColumn<int>("entryCount");
    QTest::addColumn<QByteArray>("bytes");

    const int big = QDataStream::BigEndian;
    QTest::newRow("default port") << "COM2" << big << 0 << hex(DEFAULT_PORT);
    QTest::newRow("default port, low byte first")
        << "COM2" << int(QDataStream::LittleEndian) << 0 << hex(DEFAULT_PORT_LITTLE);
    QTest::newRow("null name, two entries, second current")
        << QString() << big << 2
        << hex(NUMBERS_AND_INDEX_1) + hex("00000002") + hex(ENTRY_A) + hex(ENTRY_B);
    QTest::newRow("null name, two entries, low byte first")
        << QString() << int(QDataStream::LittleEndian) << 2
        << hex("10000000 FFFFFFFF 004B0000 08000000 00000000 00000000 00000000 FFFFFFFF 01000000"
               "02000000 02000000 4100 F601 02000000 4200 F701");
    QTest::newRow("empty name")
        << "" << big << 0
        << hex(NUMBERS_AND_INDEX_1).replace(4, 4, hex("00000000")).replace(32, 4, hex("00000000"))
               + hex("00000000");
}

// Catches: any byte that differs from what panels have stored.
void TestSettings::deviceSettingOnTheStream()
{
    QFETCH(QString, name);
    QFETCH(int, order);
    QFETCH(int, entryCount);
    QFETCH(QByteArray, bytes);
    const QDataStream::ByteOrder byteOrder = static_cast<QDataStream::ByteOrder>(order);

    DeviceSetting setting(DEVICE_RS232, name, 19200, 8, 0, 0, 0, "not streamed");
    setting.socketList = entries(entryCount);
    setting.setCurrentIPIndex(1);
    QCOMPARE(written(setting, byteOrder).toHex(), bytes.toHex());

    DeviceSetting read(device_type(-1), "x", 1, 2, 3, 4, 5, "kept");
    QCOMPARE(readInto(read, bytes, byteOrder), QDataStream::Ok);
    QCOMPARE(written(read, byteOrder).toHex(), bytes.toHex());
    QCOMPARE(read.string.isNull(), name.isNull());
    QCOMPARE(read.extraText, QString("kept"));
}

void TestSettings::readsEntries_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<int>("kept");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("index");

    const QByteArray two = hex(ENTRY_A) + hex(ENTRY_B);
    const int ok = QDataStream::Ok;
    const int pastEnd = QDataStream::ReadPastEnd;
    QTest::newRow("as many as counted") << hex("00000002") + two << 2 << ok << 1;
    QTest::newRow("one missing") << hex("00000003") + two << 2 << ok << 1;
    QTest::newRow("count damaged") << hex("FFFFFFFF") + two << 2 << ok << 1;
    QTest::newRow("cut inside an entry") << hex("00000002") + two.left(12) << 2 << pastEnd << 1;
    QTest::newRow("index names none") << hex("00000001") + two.left(8) << 1 << ok << 7;
    QTest::newRow("no count") << QByteArray() << 0 << pastEnd << 7;
    QTest::newRow("text length odd")
        << hex("00000001 00000003 01F6") << 1 << int(QDataStream::ReadCorruptData) << 7;
    QTest::newRow("text length damaged") << hex("7FFFFFFF 7FFFFFF0") + two << 1 << pastEnd << 7;
}

// Catches: entries lost at the end of the stream, an index that names no entry.
void TestSettings::readsEntries()
{
    QFETCH(QByteArray, list);
    QFETCH(int, kept);
    QFETCH(int, status);
    QFETCH(int, index);

    DeviceSetting read = defaultPort();
    read.currentIPIndex = 7;
    QCOMPARE(int(readInto(read, hex(NUMBERS_AND_INDEX_1) + list)), status);
    QCOMPARE(int(read.socketList.size()), kept);
    QCOMPARE(read.currentIPIndex, index);
    if (kept == 2)
        QCOMPARE(read.socketList.first(), entries(1).first());
}

// Catches: a field that survives from before, an entry lost or made up, a status
// other than the stream's own.
void TestSettings::endsEarlyAtEveryOffset()
{
    const QByteArray bytes = hex("00000010 00000008 0043004F004D0032 00000001 00000002 00000003"
                                 "00000004 00000005 00000006 00000001 00000002")
                             + hex(ENTRY_A) + hex(ENTRY_B);
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
        QCOMPARE(read.socketIP(0), length < 54 ? QString() : QString("A"));
        QCOMPARE(int(read.port(0)), length < 56 ? 0 : 502);
        QCOMPARE(read.socketIP(1), length < 62 ? QString() : QString("B"));
        QCOMPARE(int(read.port(1)), length < 64 ? 0 : 503);
    }
}

// Catches: memory reserved for a count before the entries are there, and entries
// made up for as long as the count says when the device fails.
void TestSettings::countIsNotTrusted()
{
    const char* const counts[] = {"FFFFFFFF", "7FFFFFFF", "01000000"};
    for (int i = 0; i < 3; ++i) {
        QBuffer sound;
        FailingDevice failing;
        sound.setData(hex(NUMBERS_AND_INDEX_1) + hex(counts[i]) + hex(ENTRY_A) + hex(ENTRY_B));
        failing.setData(sound.data());
        QVERIFY(sound.open(QIODevice::ReadOnly) && failing.open(QIODevice::ReadOnly));
        QCOMPARE(entriesReadInLittleMemory(sound), 2);
        QCOMPARE(entriesReadInLittleMemory(failing), 3);
    }
}

// Catches: an index off by one, and a setter that touches the other member.
void TestSettings::entriesAreReached()
{
    DeviceSetting setting = defaultPort();
    QVERIFY(setting.socketIP(-1).isNull() && setting.port(-1) == 0);

    QList<QPair<QString, QString>> data;
    data << qMakePair(QString("10.0.0.5"), QString("502"));
    data << qMakePair(QString("10.0.0.6"), QString("abc"));
    data << qMakePair(QString("10.0.0.7"), QString("70000"));
    setting.setSocketData(data);
    QCOMPARE(setting.port(0), static_cast<unsigned short>(502));
    QCOMPARE(setting.port(1), static_cast<unsigned short>(0));
    QCOMPARE(setting.port(2), static_cast<unsigned short>(0));

    setting.setCurrentIPIndex(2);
    setting.setCurrentIPIndex(3);
    setting.setCurrentIPIndex(-1);
    QCOMPARE(setting.currentIPIndex, 2);
    setting.setSocketIP("x", -1);
    setting.setPort(7, -1);
    QCOMPARE(setting.socketList.at(2), Entry("x", 7));

    const QList<Entry> before = setting.socketList;
    const int bad[] = {3, 99, -2};
    for (int i = 0; i < 3; ++i) {
        setting.setSocketIP("y", bad[i]);
        setting.setPort(9, bad[i]);
        QVERIFY(setting.socketIP(bad[i]).isNull() && setting.port(bad[i]) == 0);
    }
    QCOMPARE(setting.socketList, before);

    setting.setSocketData(data.mid(0, 1));
    QCOMPARE(setting.currentIPIndex, 2);
    setting.setSocketIP("y", -1);
    QVERIFY(setting.socketIP(-1).isNull());
}

// Catches: a message split in two, escaped, or without its final blank.
void TestSettings::dumpsOneLine()
{
    DeviceSetting device(device_type(-1), "C\"M", 19200, 8, 0, -1);
    device.socketList = entries(2);
    device.setCurrentIPIndex(1);

    const KeptMessages messages;
    DriverSetting(500, 3, 1, 0).dump();
    defaultPort().dump();
    device.dump();
    QCOMPARE(messages.list(),
             QStringList() << "0 timeout: 500 retry: 3 stationid: 1 delay: 0 "
                           << "0 type: 16 string: \"COM2\" baudrate: 19200 databits: 8 stopbits: 0 "
                              "parity: 0 linkID: -1 current ip: \"\" current port: 0 "
                           << "0 type: 4294967295 string: \"C\"M\" baudrate: 19200 databits: 8 "
                              "stopbits: 0 parity: -1 linkID: -1 current ip: \"B\" current port: "
                              "503 ");
}

QTEST_APPLESS_MAIN(TestSettings)
#include "tst_settings.moc"
