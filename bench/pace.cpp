// How close reads come to what the line allows: the bytes that they move, at ten bits
// each, over the time that they take against a simulated controller that is as slow as
// a line. Beside them the same reads by the bare system calls: what is missing there is
// the machine's and the simulated line's own.
#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sys/prctl.h>

#include "bareline.h"
#include "figures.h"
#include "host/link.h"
#include "requests.h"
#include "simulator/server.h"

extern "C" DriverInterface* CreateDriver();

namespace {

using Clock = std::chrono::steady_clock;

const int LARGEST_READ = 103; // words, of what controllers usually send
const int BITS_PER_BYTE = 10;
const std::chrono::seconds ROUND(4);
const size_t FEWEST_READS = 9;

[[noreturn]] void fail(const QString& text)
{
    std::fprintf(stderr, "bench_pace: %s\n", qPrintable(text));
    std::exit(1);
}

/// Hands everything on to a port and counts the bytes.
class CountingPort : public AbstractDeviceInterface
{
public:
    explicit CountingPort(AbstractDeviceInterface& port)
        : m_port(port)
    {}

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        const int count = m_port.receiveData(buffer, maxBytes);
        m_bytes += count;
        return count;
    }
    void sendData(const unsigned char* data, int length) override
    {
        m_bytes += length;
        m_port.sendData(data, length);
    }
    void getParameter(int id, QVariant& value) override { m_port.getParameter(id, value); }
    void setParameter(int id, const QVariant& value) override { m_port.setParameter(id, value); }
    int retryCount() override { return m_port.retryCount(); }
    int destinationAddress() override { return m_port.destinationAddress(); }
    int sourceAddress() override { return m_port.sourceAddress(); }
    unsigned int delayTime() override { return m_port.delayTime(); }

    int bytes() const { return m_bytes; }

private:
    AbstractDeviceInterface& m_port;
    int m_bytes = 0;
};

/// With files of zeros, of which none is doubled on the line.
simulator::Controller controller()
{
    simulator::DataTables tables;
    tables.add(7, simulator::FileType::Integer, LARGEST_READ);
    return simulator::Controller(tables, simulator::defaultModel());
}

void start(simulator::Server& server)
{
    // The line is no program: its bytes are there when they are there, and not when the
    // system's timers next fire. The threads that a thread starts have its slack.
    ::prctl(PR_SET_TIMERSLACK, 1);
    QString error;
    if (!server.start(simulator::PtyPlace(), &error))
        fail(error);
    ::prctl(PR_SET_TIMERSLACK, 0); // the usual one again
}

/// The share of the line's time that one call of @p read makes use of; it returns the bytes.
template <typename Read>
double share(int baudRate, Read read)
{
    const Clock::time_point start = Clock::now();
    const int bytes = read();
    const std::chrono::duration<double> took = Clock::now() - start;
    return double(bytes) * BITS_PER_BYTE / baudRate / took.count();
}

/// By the driver and by bare system calls in turn, so that whatever else the machine does
/// meets both alike; prints the medians.
void measure(DriverInterface& driver, host::Link& link, const QString& path, int baudRate,
             int words)
{
    const bench::Request request = {"read", false, bench::command(2, "N7:0", words), {}};
    CountingPort port(link.port());
    bench::BareLine line(path, words);
    std::vector<double> own;
    std::vector<double> bare;
    const Clock::time_point end = Clock::now() + ROUND;
    while (own.size() < FEWEST_READS || Clock::now() < end) {
        own.push_back(share(baudRate, [&] {
            const int bytesBefore = port.bytes();
            if (!bench::run(driver, port, request))
                fail(driver.getLastError());
            return port.bytes() - bytesBefore;
        }));
        bare.push_back(share(baudRate, [&] {
            line.read();
            return line.bytes();
        }));
    }
    const std::string name = "pace." + std::to_string(baudRate) + "." + std::to_string(words);
    bench::print(name, 100 * bench::median(own));
    bench::print(name + ".bare", 100 * bench::median(bare));
}

}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    for (const int baudRate : {9600, 19200, 38400, 115200}) {
        simulator::ServerSettings settings;
        settings.pace = baudRate;
        simulator::Server server(controller(), settings);
        start(server);
        host::LineSettings line;
        line.baudRate = baudRate;
        host::PortSettings port;
        port.timeoutMs = 5000; // a machine busy with other things is no reason to fail
        QString error;
        const auto link = host::Link::open(server.portName(), line, port, &error);
        if (link == nullptr)
            fail(error);
        for (const int words : {1, LARGEST_READ})
            measure(*driver, *link, server.portName(), baudRate, words);
    }
}
