// bench_scale LINKS: so many links in one process, each polled by a thread of its own
// with a driver of its own, on pseudo-terminals whose far ends answer after the time
// that the bytes would take at 19200 baud.
#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>
#include <unistd.h>

#include "farends.h"
#include "figures.h"
#include "host/link.h"
#include "requests.h"

extern "C" DriverInterface* CreateDriver();

namespace {

using Clock = std::chrono::steady_clock;

// 54 bytes: the request, its ACK, the reply and its ACK.
const std::chrono::microseconds LINE_TIME(54 * 10 * 1000000LL / 19200);
const std::chrono::seconds MEASURED(3);

[[noreturn]] void fail(const QString& text)
{
    std::fprintf(stderr, "bench_scale: %s\n", qPrintable(text));
    std::_Exit(1);
}

struct Shared
{
    std::atomic<int> started{0}; ///< links that have had their first answer
    std::atomic<long> polls{0};
    std::atomic<bool> stop{false};
};

void poll(const QString& path, Shared& shared)
{
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    const bench::Request request = bench::requests().front();
    QString error;
    const auto link = host::Link::open(path, host::LineSettings(), host::PortSettings(), &error);
    if (link == nullptr)
        fail(error);
    for (bool isFirst = true; !shared.stop; isFirst = false) {
        if (!bench::run(*driver, link->port(), request))
            fail(driver->getLastError());
        ++shared.polls;
        if (isFirst)
            ++shared.started;
    }
}

double residentKib()
{
    long pages = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%*d %ld", &pages) != 1)
        fail("reading /proc/self/statm");
    std::fclose(file);
    return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024;
}

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void measure(int links)
{
    const bench::FarEnds farEnds(bench::FarEnds::Df1, links, LINE_TIME);
    Shared shared;
    std::vector<std::thread> threads;
    const double residentBefore = residentKib();
    const Clock::time_point start = Clock::now();
    for (const QString& path : farEnds.paths())
        threads.emplace_back([path, &shared] { poll(path, shared); });
    while (shared.started < links)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double startSeconds = secondsSince(start);

    const long pollsBefore = shared.polls;
    const double processorBefore = bench::processorSeconds();
    const Clock::time_point settled = Clock::now();
    std::this_thread::sleep_for(MEASURED);
    const double polls = static_cast<double>(shared.polls - pollsBefore);
    const double processor = bench::processorSeconds() - processorBefore;
    const double seconds = secondsSince(settled);
    const double resident = residentKib() - residentBefore;
    shared.stop = true;
    for (std::thread& thread : threads)
        thread.join();

    const std::string name = "scale." + std::to_string(links);
    bench::print(name + ".rate", polls / seconds / links);
    bench::print(name + ".cpu_us", 1e6 * processor / polls);
    bench::print(name + ".busy", processor / seconds);
    bench::print(name + ".link_kib", resident / links);
    bench::print(name + ".start_ms", 1e3 * startSeconds);
}

}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const int links = argc == 2 ? std::atoi(argv[1]) : 0;
    if (links < 1)
        fail("usage: bench_scale LINKS");
    measure(links);
}
