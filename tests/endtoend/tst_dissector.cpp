#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include "drivers/abstractdeviceinterface.h"
#include "drivers/driverinterface.h"
#include "host/driverloader.h"
#include "support/bytes.h"
#include "support/program.h"

namespace {

/// Keeps what the driver sends and answers nothing.
class SilentPort : public AbstractDeviceInterface
{
public:
    int receiveData(unsigned char*, int) override { return 0; }
    void sendData(const unsigned char* data, int length) override
    {
        if (length > 2)
            frame = QByteArray(reinterpret_cast<const char*>(data), length);
    }
    void getParameter(int, QVariant&) override {}
    void setParameter(int, const QVariant&) override {}
    int retryCount() override { return 0; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

    QByteArray frame;
};

template <typename Integer>
QByteArray little(Integer value)
{
    QByteArray bytes(sizeof value, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

/// A capture of raw IP packets, from one TCP connection to the port of EtherNet/IP, each
/// with an Execute PCCC request (CIP service 4B, class 67).
class Capture
{
public:
    Capture() { m_bytes = hex("D4C3B2A1 0200 0400 00000000 00000000 FFFF0000 65000000"); }

    void add(const QByteArray& pccc)
    {
        // Requestor ID: 7 bytes, vendor 1, serial number 2.
        const QByteArray cip = hex("4B02 2067 2401 07 0100 02000000") + pccc;
        const QByteArray items = hex("00000000 0000 0200 0000 0000 B200")
                                 + little(static_cast<quint16>(cip.size())) + cip;
        const QByteArray enip = hex("6F00") + little(static_cast<quint16>(items.size()))
                                + hex("01000000 00000000 0000000000000000 00000000") + items;
        QByteArray tcp = hex("C350 AF12 00000000 00000000 5018 FFFF 0000 0000") + enip;
        qToBigEndian(m_sequence, tcp.data() + 4);
        m_sequence += static_cast<quint32>(enip.size());
        QByteArray ip = hex("4500 0000 0000 0000 4006 0000 7F000001 7F000002") + tcp;
        qToBigEndian(static_cast<quint16>(ip.size()), ip.data() + 2);
        const auto size = little(static_cast<quint32>(ip.size()));
        m_bytes += hex("00000000 00000000") + size + size + ip;
    }

    const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
    quint32 m_sequence = 1;
};

struct Meaning
{
    int type;
    int count;
    const char* address;
    const char* data; ///< hex; null: a read
    const char* fields;
};

/// Function, size, file number, file type, element, sub-element, data. The dissector
/// (4.0) reads the fields of A2 and AA, takes FF for a one-byte number, and shows all
/// else as data. The driver reads timers, counters and controls whole.
const Meaning MEANINGS[] = {
    {2, 1, "N7:0", nullptr, "0xa2,0x02,0x07,0x89,0x00,0x00,"},
    {2, 100, "N7:23", nullptr, "0xa2,0xc8,0x07,0x89,0x17,0x00,"},
    {2, 1, "N16:16", nullptr, "0xa2,0x02,0x10,0x89,0x10,0x00,"},
    {2, 2, "O:1", nullptr, "0xa2,0x04,0x00,0x82,0x01,0x00,"},
    {2, 1, "I:3", nullptr, "0xa2,0x02,0x01,0x83,0x03,0x00,"},
    {2, 1, "S2:6", nullptr, "0xa2,0x02,0x02,0x84,0x06,0x00,"},
    {2, 1, "B3:2", nullptr, "0xa2,0x02,0x03,0x85,0x02,0x00,"},
    {3, 1, "F8:1", nullptr, "0xa2,0x04,0x08,0x8a,0x01,0x00,"},
    {2, 1, "T4:5", nullptr, "0xa2,0x06,0x04,0x86,0x05,0x00,"},
    {2, 1, "R6:7", nullptr, "0xa2,0x06,0x06,0x88,0x07,0x00,"},
    {2, 1, "C5:254", nullptr, "0xa2,0x06,0x05,0x87,0xfe,0x00,"},
    {2, 1, "N7:254", "1010", "0xaa,0x02,0x07,0x89,0xfe,0x00,1010"},
    {3, 2, "F8:2", "0000AC41000080BF", "0xaa,0x08,0x08,0x8a,0x02,0x00,0000ac41000080bf"},
    {2, 1, "T4:5.PRE", "2C01", "0xaa,0x02,0x04,0x86,0x05,0x01,2c01"},
    {2, 1, "C5:6.ACC", "0700", "0xaa,0x02,0x05,0x87,0x06,0x02,0700"},
    {0, 1, "B3:2/5", "01",
     "0xab,,,,,,02038502002000"
     "2000"},
};

}

/// The driver's messages, read by somebody else's dissector.
class TestDissector : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatWasMeant();
};

// Catches: a field of a command in the wrong place, order or size.
void TestDissector::readsWhatWasMeant()
{
    const QString tshark = QStandardPaths::findExecutable("tshark");
    if (tshark.isEmpty())
        QSKIP("tshark is not installed");
    host::DriverLoader loader(QStringLiteral(PLUGIN_FILE));
    QVERIFY2(loader.driver(), qPrintable(loader.error()));
    Capture capture;
    QStringList meant;
    for (const Meaning& meaning : MEANINGS) {
        SilentPort port;
        CommunicatorCommand command;
        command.type = meaning.type;
        command.count = meaning.count;
        command.address = meaning.address;
        if (meaning.data)
            loader.driver()->write(&port, command, hex(meaning.data));
        else
            loader.driver()->read(&port, command);
        QVERIFY2(port.frame.size() > 12, meaning.address);
        // Without DLE STX DST SRC in front, DLE ETX and CRC behind.
        const QByteArray doubled = port.frame.mid(4, port.frame.size() - 8);
        capture.add(QByteArray(doubled).replace(QByteArray("\x10\x10"), QByteArray("\x10")));
        meant << QString("0x0f,%1").arg(meaning.fields);
    }

    const QTemporaryDir folder;
    QFile file(folder.filePath("driver.pcap"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(capture.bytes());
    file.close();
    QStringList command = {tshark, "-r", file.fileName(), "-T", "fields", "-E", "separator=,"};
    for (const char* field : {"cmd.code", "fnc.code_0f", "byte.size", "file.num", "file.type",
                              "element.num", "subelement.num", "data"})
        command << "-e" << QString("cip.pccc.%1").arg(field);
    const support::Outcome dissected = support::run(command);
    QVERIFY2(dissected.exitCode == 0, qPrintable(dissected.errors));
    const QStringList read = dissected.output.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(read.size(), meant.size());
    for (int i = 0; i < read.size(); ++i)
        QCOMPARE(MEANINGS[i].address + (' ' + read.at(i)),
                 MEANINGS[i].address + (' ' + meant.at(i)));
}

QTEST_GUILESS_MAIN(TestDissector)
#include "tst_dissector.moc"
