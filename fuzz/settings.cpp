// Any bytes as a stream of settings records: what is read can be written and read
// again, and takes no more memory than the stream has bytes for.
#include "harness.h"

#include <QDataStream>
#include <QIODevice>

#include "drivers/drv_dev_setting.h"

namespace {

const device_type NO_TYPE = static_cast<device_type>(0);

void prepare(QDataStream& stream, int choice)
{
    stream.setByteOrder((choice & 1) != 0 ? QDataStream::LittleEndian : QDataStream::BigEndian);
    stream.setVersion((choice & 2) != 0 ? QDataStream::Qt_4_0 : QDataStream::Qt_5_12);
}

template <typename Record>
QByteArray written(const Record& record, int choice)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    prepare(stream, choice);
    stream << record;
    return bytes;
}

template <typename Record>
void readFrom(const QByteArray& bytes, int choice, Record& record)
{
    QDataStream stream(bytes);
    prepare(stream, choice);
    stream >> record;
}

void checkDevice(const QByteArray& bytes, int choice)
{
    DeviceSetting setting(NO_TYPE, QString(), 0, 0, 0, 0);
    readFrom(bytes, choice, setting);
    const int smallestEntry = 6;
    REQUIRE(setting.string.size() <= bytes.size() / 2);
    REQUIRE(setting.socketList.size() <= bytes.size() / smallestEntry + 1);
    REQUIRE(setting.currentIPIndex == 0
            || (setting.currentIPIndex > 0 && setting.currentIPIndex < setting.socketList.size()));

    const QByteArray first = written(setting, choice);
    DeviceSetting again(NO_TYPE, "other", 1, 1, 1, 1);
    readFrom(first, choice, again);
    REQUIRE(again.socketList == setting.socketList);
    REQUIRE(written(again, choice) == first);
    const int entries = static_cast<int>(setting.socketList.size());
    for (const int i : {-2, -1, 0, entries - 1, entries}) {
        again.setSocketIP(setting.socketIP(i), i);
        again.setPort(setting.port(i), i);
    }
    REQUIRE(written(again, choice) == first);
}

void checkDriver(const QByteArray& bytes, int choice)
{
    DriverSetting setting(1, 2, 3, 4);
    readFrom(bytes, choice, setting);
    const QByteArray first = written(setting, choice);
    REQUIRE(first.size() == 16);
    REQUIRE(bytes.size() < 16 || first == bytes.left(16));
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const int choice = input.byte();
    const QByteArray bytes = input.rest();
    checkDevice(bytes, choice);
    checkDriver(bytes, choice);
    return 0;
}
