// The same ten-word poll over a pseudo-terminal by our driver on a DevicePort, by
// libmodbus and by Qt's serial bus module (both RTU), against far ends that answer at
// once: transactions per second, and what one costs the polling process. Beside them
// the bare system calls of a DF1 poll, below which no driver comes.
//
//   bench_line                 all of them in turn, in rounds; prints the medians
//   bench_line WHO COUNT       one of df1, bare, libmodbus, qtmodbus; for tools that
//                              count from outside
#include <QCoreApplication>
#include <QEventLoop>
#include <QModbusRtuSerialMaster>
#include <QVariant>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <modbus.h>
#include <sys/resource.h>

#include "bareline.h"
#include "farends.h"
#include "figures.h"
#include "host/link.h"
#include "requests.h"

extern "C" DriverInterface* CreateDriver();

namespace {

const int ROUNDS = 31;
const int POLLS_PER_ROUND = 100;

[[noreturn]] void fail(const QString& text)
{
    std::fprintf(stderr, "bench_line: %s\n", qPrintable(text));
    std::exit(1);
}

/// Somebody who polls ten words; ends the program when one poll fails.
class Poller
{
public:
    virtual ~Poller() = default;
    virtual void poll() = 0;
};

class Df1Poller : public Poller
{
public:
    explicit Df1Poller(const QString& path)
        : m_driver(CreateDriver())
        , m_request(bench::requests().front())
    {
        QString error;
        m_link = host::Link::open(path, host::LineSettings(), host::PortSettings(), &error);
        if (m_link == nullptr)
            fail(error);
    }

    void poll() override
    {
        if (!bench::run(*m_driver, m_link->port(), m_request))
            fail(m_driver->getLastError());
    }

private:
    const std::unique_ptr<DriverInterface> m_driver;
    const bench::Request m_request;
    std::unique_ptr<host::Link> m_link;
};

class BarePoller : public Poller
{
public:
    explicit BarePoller(const QString& path)
        : m_line(path, bench::WORDS)
    {}

    void poll() override { m_line.read(); }

private:
    bench::BareLine m_line;
};

class LibmodbusPoller : public Poller
{
public:
    explicit LibmodbusPoller(const QString& path)
        : m_modbus(modbus_new_rtu(path.toLocal8Bit().constData(), 19200, 'N', 8, 1))
    {
        if (m_modbus == nullptr || modbus_set_slave(m_modbus, 1) != 0
            || modbus_connect(m_modbus) != 0)
            fail(modbus_strerror(errno));
    }

    ~LibmodbusPoller() override
    {
        modbus_close(m_modbus);
        modbus_free(m_modbus);
    }

    void poll() override
    {
        std::array<uint16_t, bench::WORDS> words;
        if (modbus_read_registers(m_modbus, 0, bench::WORDS, words.data()) != bench::WORDS)
            fail(modbus_strerror(errno));
    }

private:
    modbus_t* const m_modbus;
};

class QtModbusPoller : public Poller
{
public:
    explicit QtModbusPoller(const QString& path)
    {
        m_client.setConnectionParameter(QModbusDevice::SerialPortNameParameter, path);
        m_client.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, 19200);
        m_client.setConnectionParameter(QModbusDevice::SerialParityParameter, 0);
        if (!m_client.connectDevice())
            fail(m_client.errorString());
    }

    void poll() override
    {
        const QModbusDataUnit words(QModbusDataUnit::HoldingRegisters, 0, bench::WORDS);
        const std::unique_ptr<QModbusReply> reply(m_client.sendReadRequest(words, 1));
        if (reply == nullptr)
            fail(m_client.errorString());
        while (!reply->isFinished())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (reply->result().valueCount() != bench::WORDS)
            fail(reply->errorString());
    }

private:
    QModbusRtuSerialMaster m_client;
};

struct Contender
{
    const char* name;
    bench::FarEnds::Speaks protocol;
    std::unique_ptr<Poller> (*make)(const QString& path);
};

template <typename Kind>
std::unique_ptr<Poller> make(const QString& path)
{
    return std::make_unique<Kind>(path);
}

const std::array<Contender, 4> Contenders = {{
    {"df1", bench::FarEnds::Df1, make<Df1Poller>},
    {"bare", bench::FarEnds::Df1, make<BarePoller>},
    {"libmodbus", bench::FarEnds::Rtu, make<LibmodbusPoller>},
    {"qtmodbus", bench::FarEnds::Rtu, make<QtModbusPoller>},
}};

/// A contender on a line of its own.
struct Entry
{
    explicit Entry(const Contender& contender)
        : name(contender.name)
        , farEnd(contender.protocol)
        , poller(contender.make(farEnd.paths().front()))
    {}

    const char* name;
    const bench::FarEnds farEnd;
    const std::unique_ptr<Poller> poller;
    std::vector<double> microseconds;
    std::vector<double> processorMicroseconds;
    std::vector<double> waits;
};

/// How often the process has given up the processor, to wait.
long waits()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

void round(Entry& entry)
{
    using Clock = std::chrono::steady_clock;
    const long waitsBefore = waits();
    const double processorBefore = bench::processorSeconds();
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < POLLS_PER_ROUND; ++i)
        entry.poller->poll();
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    const double processor = bench::processorSeconds() - processorBefore;
    entry.microseconds.push_back(1e6 * elapsed.count() / POLLS_PER_ROUND);
    entry.processorMicroseconds.push_back(1e6 * processor / POLLS_PER_ROUND);
    entry.waits.push_back(static_cast<double>(waits() - waitsBefore) / POLLS_PER_ROUND);
}

void compare()
{
    std::vector<std::unique_ptr<Entry>> entries;
    for (const Contender& contender : Contenders)
        entries.push_back(std::make_unique<Entry>(contender));
    for (int i = 0; i < ROUNDS; ++i) {
        for (const auto& entry : entries)
            round(*entry);
    }
    // Of neighbouring rounds, which whatever else the machine does has met alike.
    const std::vector<double>& own = entries.front()->processorMicroseconds;
    for (const auto& entry : entries) {
        std::vector<double> ratios;
        for (size_t i = 0; i < own.size(); ++i)
            ratios.push_back(own[i] / entry->processorMicroseconds[i]);
        bench::print(std::string("line.cpu_to_") + entry->name, bench::median(ratios));
    }
    for (const auto& entry : entries) {
        const std::string name = std::string("line.") + entry->name;
        bench::print(name + ".rate", 1e6 / bench::median(entry->microseconds));
        bench::print(name + ".us", bench::median(entry->microseconds));
        bench::print(name + ".cpu_us", bench::median(entry->processorMicroseconds));
        bench::print(name + ".waits", bench::median(entry->waits));
    }
}

bool pollOnly(const char* name, int count)
{
    for (const Contender& contender : Contenders) {
        if (std::string(name) != contender.name)
            continue;
        Entry entry(contender);
        for (int i = 0; i < count; ++i)
            entry.poller->poll();
        return true;
    }
    return false;
}

}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 1) {
        compare();
        return 0;
    }
    if (argc == 3 && pollOnly(argv[1], std::atoi(argv[2])))
        return 0;
    fail("usage: bench_line [df1|bare|libmodbus|qtmodbus COUNT]");
}
