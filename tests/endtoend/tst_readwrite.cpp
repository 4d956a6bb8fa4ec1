#include <QtTest>
#include <random>

#include "host/driverloader.h"
#include "host/link.h"
#include "simulator/server.h"
#include "support/bytes.h"
#include "support/requests.h"

using simulator::DataFile;
using simulator::DataTables;
using simulator::FileType;

namespace {

const quint32 SEED = 20;
const int BIT = 0;
const int BYTE = 1;
const int WORD = 2;
const int DOUBLE_WORD = 3;

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

/// One write in words: the request, its data, and where each byte of it belongs.
struct Operation
{
    CommunicatorCommand request;
    QByteArray data;
    int file = 0;
    int element = 0;
    int subElement = 0;
    int bit = -1;        ///< of the word at element and sub-element; -1: all of data
    bool isEach = false; ///< data goes word by word to the sub-element of each element
};

char letterOf(FileType type)
{
    return "OISBTCRNF"[static_cast<int>(type) - static_cast<int>(FileType::Output)];
}

/// What the operation makes of the tables.
bool applyTo(DataTables& tables, const Operation& operation)
{
    DataFile& file = *tables.file(operation.file);
    if (operation.bit >= 0) {
        const quint16 mask = static_cast<quint16>(1U << (operation.bit % 16));
        const int element = operation.element + operation.bit / 16;
        const quint16 word = file.word(element, operation.subElement).value();
        return file.setWord(element, operation.subElement,
                            operation.data.at(0) != 0 ? word | mask : word & ~mask);
    }
    if (!operation.isEach)
        return file.write(operation.element, 0, operation.data);
    for (int i = 0; 2 * i < operation.data.size(); ++i) {
        if (!file.write(operation.element + i, operation.subElement, operation.data.mid(2 * i, 2)))
            return false;
    }
    return true;
}

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
    Operation randomOperation();
    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }

    std::mt19937 m_random{SEED};
    DataTables m_tables;
};

void TestReadWrite::initTestCase()
{
    m_tables = simulator::seededTables(SEED);
    m_tables.add(16, FileType::Integer, 300);
}

Operation TestReadWrite::randomOperation()
{
    const auto& files = m_tables.files();
    auto chosen = files.begin();
    std::advance(chosen, below(static_cast<int>(files.size())));
    const DataFile& file = chosen->second;
    const bool hasThreeWords = file.bytesPerElement() == 6;
    const bool isFloat = file.type() == FileType::Float;

    Operation operation;
    operation.file = chosen->first;
    const int elements = 1 + below(qMin(4, file.elements()));
    operation.element = below(file.elements() - elements + 1);
    const QString element = QStringLiteral("%1%2:%3")
                                .arg(QLatin1Char(letterOf(file.type())))
                                .arg(operation.file)
                                .arg(operation.element);
    QString name;
    if (hasThreeWords) {
        static const char* const names[] = {"", ".PRE", ".ACC", "", ".LEN", ".POS"};
        operation.subElement = below(3);
        const int first = file.type() == FileType::Control ? 3 : 0;
        name = QLatin1String(names[first + operation.subElement]);
        operation.isEach = true;
    }
    if (!isFloat && below(3) == 0) {
        operation.bit = below(16 * elements);
        operation.data = QByteArray(1, below(2) != 0 ? '\x01' : '\0');
        operation.request =
            request(BIT, 1, element + name + QLatin1Char('/') + QString::number(operation.bit));
        return operation;
    }
    for (int i = 0; i < elements * (isFloat ? 4 : 2); ++i)
        operation.data.append(static_cast<char>(below(3) == 0 ? 0x10 : below(256)));
    operation.request = request(isFloat ? DOUBLE_WORD : WORD, elements, element + name);
    return operation;
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
        const Operation operation = randomOperation();
        const QByteArray what =
            operation.request.address.toLatin1() + " in step " + QByteArray::number(i) + ": ";
        QVERIFY2(driver.write(&port, operation.request, operation.data),
                 (what + driver.getLastError().toLatin1()).constData());
        QVERIFY(applyTo(m_tables, operation));
        if (!(server.snapshot() == m_tables))
            QFAIL((what + "the controller's memory is another").constData());

        QByteArray read = driver.read(&port, operation.request);
        if (operation.bit >= 0)
            read = QByteArray(1, static_cast<char>(read.at(0) & 1));
        QCOMPARE((what + read.toHex()), (what + operation.data.toHex()));
    }
    // A byte request is a word request cut short.
    QCOMPARE(driver.read(&port, request(BYTE, 3, "N7:2")),
             driver.read(&port, request(WORD, 2, "N7:2")).left(3));
    QCOMPARE(port.dlePlaces.size(), 7);
}

QTEST_GUILESS_MAIN(TestReadWrite)
#include "tst_readwrite.moc"
