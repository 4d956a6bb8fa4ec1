#include <QtTest>

#include "drivers/drv_dev_setting.h"
#include "support/frames.h"

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

QStringList messages;

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
void keepMessage(QtMsgType type, const char* text)
{
    messages << QString::number(type) + QLatin1Char(' ') + QString::fromLocal8Bit(text);
}
#else
void keepMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    messages << QString::number(type) + QLatin1Char(' ') + text;
}
#define qInstallMsgHandler qInstallMessageHandler
#endif

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
    const DriverSetting setting(500, 3, 1, -2);
    const QByteArray big = hex("000001F4 00000003 00000001 FFFFFFFE");
    QCOMPARE(written(setting, QDataStream::BigEndian).toHex(), big.toHex());
    QCOMPARE(written(setting, QDataStream::LittleEndian).toHex(),
             hex("F4010000 03000000 01000000 FEFFFFFF").toHex());

    for (int length = 0; length <= big.size(); ++length) {
        DriverSetting read(9, 9, 9, 9, "", 0, "kept", true);
        const QDataStream::Status status = readInto(read, big.left(length));
        QCOMPARE(status, length < 16 ? QDataStream::ReadPastEnd : QDataStream::Ok);
        QCOMPARE(read.timeout, length < 4 ? 0 : 500);
        QCOMPARE(read.delay, length < 16 ? 0 : -2);
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
    QTest::newRow("text length damaged") << hex("7FFFFFFF 7FFFFFF0") + two << 1 << pastEnd << 7;
}

// Catches: memory reserved for a damaged count, entries lost at the end of the
// stream, an index that names no entry.
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

// Catches: a field that survives from before, or a status other than the stream's own.
void TestSettings::endsEarlyAtEveryOffset()
{
    const QByteArray bytes = hex(DEFAULT_PORT);
    for (int length = 0; length < bytes.size(); ++length) {
        DeviceSetting read(DEVICE_RS232, "old", 9, 9, 9, 9);
        QCOMPARE(readInto(read, bytes.left(length)), QDataStream::ReadPastEnd);
        QCOMPARE(read.string, length < 16 ? QString() : QString("COM2"));
        QCOMPARE(read.baudrate, length < 20 ? 0 : 19200);
        QCOMPARE(read.linkID, length < 40 ? 0 : -1);
        QVERIFY(read.socketList.isEmpty());
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

    messages.clear();
    qInstallMsgHandler(keepMessage);
    DriverSetting(500, 3, 1, 0).dump();
    defaultPort().dump();
    device.dump();
    qInstallMsgHandler(0);
    QCOMPARE(messages, QStringList()
                           << "0 timeout: 500 retry: 3 stationid: 1 delay: 0 "
                           << "0 type: 16 string: \"COM2\" baudrate: 19200 databits: 8 stopbits: 0 "
                              "parity: 0 linkID: -1 current ip: \"\" current port: 0 "
                           << "0 type: 4294967295 string: \"C\"M\" baudrate: 19200 databits: 8 "
                              "stopbits: 0 parity: -1 linkID: -1 current ip: \"B\" current port: "
                              "503 ");
}

QTEST_APPLESS_MAIN(TestSettings)
#include "tst_settings.moc"
