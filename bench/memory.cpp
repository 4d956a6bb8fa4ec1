// What a request costs the driver itself, through read and write, with a port in memory
// that answers at once: time and allocations.
#include <benchmark/benchmark.h>

#include <memory>

#include "allocations.h"
#include "requests.h"

extern "C" DriverInterface* CreateDriver();

namespace {

void measure(benchmark::State& state, const bench::Request& request)
{
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    bench::InstantPort port;
    const std::uint64_t before = bench::allocations();
    for (auto _ : state) {
        if (!bench::run(*driver, port, request)) {
            state.SkipWithError(qPrintable(driver->getLastError()));
            return;
        }
    }
    state.counters["allocations"] = benchmark::Counter(
        static_cast<double>(bench::allocations() - before), benchmark::Counter::kAvgIterations);
}

}

int main(int argc, char** argv)
{
    for (const bench::Request& request : bench::requests())
        benchmark::RegisterBenchmark(request.name, measure, request);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
