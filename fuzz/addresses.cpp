// Any text as an address: the driver refuses it or asks for what it names, and what it
// has asked for, put into words again, is asked for in the same bytes. The host reads
// the same place out of it as the driver does.
#include "harness.h"

#include "drivers/df1/addressing.h"
#include "drivers/micrologix/micrologix.h"
#include "host/tagaddress.h"
#include "host/valueforms.h"
#include "support/frames.h"
#include "support/requests.h"

namespace {

/// Keeps what is sent; nothing ever answers.
class SilentPort : public AbstractDeviceInterface
{
public:
    int receiveData(unsigned char*, int) override { return 0; }
    void sendData(const unsigned char* data, int length) override
    {
        sent = QByteArray(reinterpret_cast<const char*>(data), length);
    }
    void getParameter(int, QVariant&) override {}
    void setParameter(int, const QVariant&) override {}
    int retryCount() override { return 0; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

    QByteArray sent;
};

/// A typed command's fields.
struct Asked
{
    int function = 0;
    int size = 0;
    int file = 0;
    int type = 0;
    int element = 0;
    int subElement = 0;
    QByteArray data; ///< of a bit, mask and value
};

Asked askedIn(const QByteArray& frame)
{
    const QByteArray message =
        frame.mid(2, frame.size() - 6).replace(QByteArray("\x10\x10"), QByteArray("\x10"));
    REQUIRE(frame == frameOf(message) && message.size() >= 12);
    const auto at = [&message](int i) { return static_cast<unsigned char>(message.at(i)); };
    Asked asked;
    asked.function = at(6);
    asked.size = at(7);
    asked.file = at(8);
    asked.type = at(9);
    const bool isWide = at(10) == 0xFF;
    asked.element = isWide ? at(11) | at(12) << 8 : at(10);
    asked.subElement = at(isWide ? 13 : 11);
    asked.data = message.mid(isWide ? 14 : 12);
    return asked;
}

/// What is sent for a read, or for a write of @p data; empty when it is refused.
QByteArray frameFor(int type, int count, const QString& address, const QByteArray& data = {})
{
    DriverABMicroLogix driver;
    SilentPort port;
    if (data.isEmpty())
        driver.read(&port, request(type, count, address));
    else
        driver.write(&port, request(type, count, address), data);
    REQUIRE(driver.hasError());
    REQUIRE(port.sent.isEmpty() != (driver.getLastError() == "PLC no response"));
    return port.sent;
}

/// File type codes begin at 0x82.
QString fileName(const Asked& asked)
{
    return QString("OISBTCRNF").mid(asked.type - 0x82, 1) + QString::number(asked.file) + ":"
           + QString::number(asked.element);
}

void checkWords(const QString& address)
{
    const int type = 2;
    const QByteArray frame = frameFor(type, 4, address);
    if (frame.isEmpty())
        return;
    const Asked asked = askedIn(frame);
    REQUIRE(asked.function == 0xA2 && asked.subElement == 0 && asked.data.isEmpty());
    REQUIRE(asked.size == 8 || asked.size == 24);
    bool isNumber = false;
    const qulonglong file = address.section(':', 0, 0).mid(1).toULongLong(&isNumber);
    const bool hasFixedNumber = asked.type == 0x82 || asked.type == 0x83;
    REQUIRE(!isNumber || file <= 255 || hasFixedNumber);
    if (asked.type == 0)
        REQUIRE(asked.file == 255);
    else if (asked.size == 24 && asked.type != 0x86 && asked.type != 0x87 && asked.type != 0x88)
        REQUIRE(address.contains('.')); // found out only when the reply is there
    else
        REQUIRE(frameFor(type, 4, fileName(asked)) == frame);
}

void checkBit(const QString& address, const host::TagAddress* tag)
{
    const int type = 0;
    const QByteArray frame = frameFor(type, 1, address, QByteArray(1, '\1'));
    if (frame.isEmpty())
        return;
    const Asked asked = askedIn(frame);
    REQUIRE(asked.function == 0xAB && asked.size == 2 && asked.data.size() == 4);
    const int mask = static_cast<unsigned char>(asked.data.at(0))
                     | static_cast<unsigned char>(asked.data.at(1)) << 8;
    REQUIRE(mask != 0 && (mask & (mask - 1)) == 0 && asked.data.left(2) == asked.data.right(2));
    if (asked.type == 0)
        return;
    const QString bit = QString::number(qCountTrailingZeroBits(static_cast<quint16>(mask)));
    const char* const words[] = {"", ".PRE", ".ACC"};
    if (asked.subElement <= 2)
        REQUIRE(frameFor(type, 1, fileName(asked) + words[asked.subElement] + "/" + bit,
                         QByteArray(1, '\1'))
                == frame);
    if (tag == nullptr || !tag->place())
        return;
    const host::DataPlace& place = *tag->place();
    REQUIRE(place.letter == fileName(asked).at(0).toLatin1() && place.file == asked.file
            && place.element == asked.element && place.word == asked.subElement
            && place.bit == bit.toInt());
}

void checkTag(const host::TagAddress& tag)
{
    QString error;
    const host::DataPlace& place = *tag.place();
    REQUIRE(place.file >= 0 && place.file <= 255 && place.element >= 0 && place.element <= 65535);
    REQUIRE(place.word >= 0 && place.word <= 2 && (place.word == 0 || tag.hasThreeWords()));
    REQUIRE(!place.bit || (*place.bit >= 0 && *place.bit <= 15));
    REQUIRE(!host::formsAt(place).isEmpty());
    for (const QString& text : {tag.plainText(), tag.textOf(0)}) {
        const auto again = host::TagAddress::parse(text, &error);
        REQUIRE(again && again->place() && again->kind() == tag.kind());
        const host::DataPlace& other = *again->place();
        REQUIRE(other.letter == place.letter && other.file == place.file
                && other.element == place.element && other.word == place.word
                && other.bit == place.bit);
    }
    // The largest read that is promised is one that the driver sends.
    const int most = qMin(tag.mostValues(), 1000);
    const auto command = tag.readRequest(most, &error);
    if (command)
        REQUIRE(!frameFor(command->type, command->count, command->address).isEmpty());
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes = Input(data, size).rest();
    const QString address = QString::fromUtf8(bytes);
    checkWords(address);
    QString error;
    const auto tag = host::TagAddress::parse(address, &error);
    REQUIRE(tag || !error.isEmpty());
    checkBit(address, tag ? &*tag : nullptr);
    if (tag && tag->place())
        checkTag(*tag);
    return 0;
}
