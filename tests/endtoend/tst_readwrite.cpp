#include <QtTest>
#include <random>

#include "host/driverloader.h"
#include "host/link.h"
#include "simulator/server.h"
#include "support/operations.h"
#include "support/requests.h"

using simulator::DataTables;
using simulator::FileType;

namespace {

const quint32 SEED = 20;
const int BYTE = 1;
const int WORD = 2;

/// Passes everything on and notes where the byte 0x10 has stood in a request.
class WatchedPort : public AbstractDeviceInterface
{
public:
    explicit WatchedPort(host::DevicePort& port)
        : m_port(port)
    {}

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        return m_port.receiveData(buffer, maxBytes);
    }

    void sendData(const unsigned char* data, int length) override
    {
        m_port.sendData(data, length);
        if (length <= 2)
            return;
        QByteArray frame(reinterpret_cast<const char*>(data), length);
        note("check, low byte", frame.at(length - 2));
        note("check, high byte", frame.at(length - 1));
        const QByteArray message =
            frame.mid(2, length - 6).replace(QByteArray("\x10\x10"), QByteArray("\x10"));
        note("TNS, low byte", message.at(4));
        note("TNS, high byte", message.at(5));
        note("file", message.at(8));
        note("element", message.at(10));
        note("data", message.back());
    }

    void getParameter(int id, QVariant& value) override { m_port.getParameter(id, value); }
    void setParameter(int id, const QVariant& value) override { m_port.setParameter(id, value); }
    int retryCount() override { return m_port.retryCount(); }
    int destinationAddress() override { return m_port.destinationAddress(); }
    int sourceAddress() override { return m_port.sourceAddress(); }
    unsigned int delayTime() override { return m_port.delayTime(); }

    QSet<QString> dlePlaces;

private:
    void note(const char* place, char byte)
    {
        if (byte == '\x10')
            dlePlaces.insert(QLatin1String(place));
    }

    host::DevicePort& m_port;
};

}

/// Everything that can be written and read, through the plugin as a host loads
/// it, over a real device, against the simulated controller's whole memory.
class TestReadWrite : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void bringsBackWhatWasWritten();

private:
    std::mt19937 m_random{SEED};
    DataTables m_tables;
};

void TestReadWrite::initTestCase()
{
    m_tables = simulator::seededTables(SEED);
    m_tables.add(16, FileType::Integer, 300);
}

// Catches: a write that reaches any other byte of the controller, a read that
// brings back another element, a byte 0x10 mistaken wherever it stands.
void TestReadWrite::bringsBackWhatWasWritten()
{
    simulator::PtyServer server{simulator::Controller(m_tables)};
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    const auto link =
        host::Link::open(server.portName(), host::LineSettings(), host::PortSettings(), &error);
    QVERIFY2(link != nullptr, qPrintable(error));
    const host::DriverLoader loader(QStringLiteral(PLUGIN_FILE));
    QVERIFY2(loader.driver() != nullptr, qPrintable(loader.error()));
    DriverInterface& driver = *loader.driver();
    WatchedPort port(link->port());

    for (int i = 0; i < 10000; ++i) {
        const support::Operation operation = support::randomOperation(m_tables, m_random);
        const QByteArray what =
            operation.request.address.toLatin1() + " in step " + QByteArray::number(i) + ": ";
        QVERIFY2(driver.write(&port, operation.request, operation.data),
                 (what + driver.getLastError().toLatin1()).constData());
        QVERIFY(support::applyTo(m_tables, operation));
        if (!(server.snapshot() == m_tables))
            QFAIL((what + "the controller's memory is another").constData());

        const QByteArray read = support::asData(driver.read(&port, operation.request), operation);
        QCOMPARE((what + read.toHex()), (what + operation.data.toHex()));
    }
    // A byte request is a word request cut short.
    QCOMPARE(driver.read(&port, request(BYTE, 3, "N7:2")),
             driver.read(&port, request(WORD, 2, "N7:2")).left(3));
    QCOMPARE(port.dlePlaces.size(), 7);
}

QTEST_GUILESS_MAIN(TestReadWrite)
#include "tst_readwrite.moc"
