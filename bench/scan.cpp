// A scan of a tag list: planning its reads, and doing them against a simulated
// controller that answers at once.
#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "drivers/driverinterface.h"
#include "figures.h"
#include "host/link.h"
#include "host/requestplan.h"
#include "simulator/server.h"

extern "C" DriverInterface* CreateDriver();

namespace {

using Clock = std::chrono::steady_clock;

const int FIRST_FILE = 9; // those before have fixed types
const int FILES = 200;
const int ELEMENTS = 100;
const int ROUNDS = 31;
const int REQUESTS_PER_ROUND = 200; // so that short lists are as warm as long ones

[[noreturn]] void fail(const QString& text)
{
    std::fprintf(stderr, "bench_scan: %s\n", qPrintable(text));
    std::exit(1);
}

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

simulator::Controller controller()
{
    simulator::DataTables tables;
    for (int file = FIRST_FILE; file < FIRST_FILE + FILES; ++file)
        tables.add(file, simulator::FileType::Integer, ELEMENTS);
    return simulator::Controller(tables, simulator::defaultModel());
}

/// Half of the elements, spread as a panel's are: five in a row, five left out.
std::vector<host::Tag> tags(int count)
{
    std::vector<host::Tag> tags;
    for (int i = 0; i < count; ++i) {
        const int place = i / 5 * 10 + i % 5;
        QString error;
        const auto tag = host::tagAt(
            QStringLiteral("N%1:%2").arg(FIRST_FILE + place / ELEMENTS).arg(place % ELEMENTS),
            QString(), &error);
        if (!tag)
            fail(error);
        tags.push_back(*tag);
    }
    return tags;
}

void scan(DriverInterface& driver, AbstractDeviceInterface& port,
          const std::vector<host::PlannedRead>& reads, const std::vector<host::Tag>& tags)
{
    for (const host::PlannedRead& read : reads) {
        const QByteArray data = driver.read(&port, read.command);
        if (driver.hasError())
            fail(driver.getLastError());
        for (const host::TagSlice& slice : read.slices) {
            if (!host::valueIn(data, slice, tags[static_cast<size_t>(slice.tag)]))
                fail("a value is missing");
        }
    }
}

struct List
{
    std::string name;
    std::vector<host::Tag> tags;
    std::vector<host::PlannedRead> reads;
    std::vector<double> planMs;
    std::vector<double> scanMs;
};

List listOf(int count)
{
    List list = {"scan." + std::to_string(count), tags(count), {}, {}, {}};
    for (int i = 0; i < ROUNDS; ++i) {
        const Clock::time_point start = Clock::now();
        list.reads = host::planReads(list.tags, host::PlanSettings());
        list.planMs.push_back(millisecondsSince(start));
    }
    return list;
}

void round(DriverInterface& driver, AbstractDeviceInterface& port, List& list)
{
    const int scans = std::max(1, REQUESTS_PER_ROUND / static_cast<int>(list.reads.size()));
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < scans; ++i)
        scan(driver, port, list.reads, list.tags);
    list.scanMs.push_back(millisecondsSince(start) / scans);
}

/// Of neighbouring rounds, which whatever else the machine does has met alike.
double timeARequestRatio(const List& list, const List& other)
{
    std::vector<double> ratios;
    for (size_t i = 0; i < list.scanMs.size(); ++i)
        ratios.push_back(list.scanMs[i] / other.scanMs[i]);
    return bench::median(ratios) * static_cast<double>(other.reads.size())
           / static_cast<double>(list.reads.size());
}

}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    simulator::PtyServer server(controller());
    QString error;
    if (!server.start(&error))
        fail(error);
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    const auto link =
        host::Link::open(server.portName(), host::LineSettings(), host::PortSettings(), &error);
    if (link == nullptr)
        fail(error);
    std::vector<List> lists;
    for (const int count : {10, 100, 1000, 10000})
        lists.push_back(listOf(count));
    for (int i = 0; i < ROUNDS; ++i) {
        for (List& list : lists)
            round(*driver, link->port(), list);
    }
    for (const List& list : lists) {
        bench::print(list.name + ".requests", static_cast<double>(list.reads.size()));
        bench::print(list.name + ".plan_ms", bench::median(list.planMs));
        bench::print(list.name + ".ms", bench::median(list.scanMs));
        bench::print(list.name + ".to_100", timeARequestRatio(list, lists[1]));
    }
}
