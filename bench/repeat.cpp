// repeat REQUEST COUNT: does one of the requests so many times, with a port in memory.
// For tools that count from outside; two counts tell what a single request costs.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "requests.h"

extern "C" DriverInterface* CreateDriver();

int main(int argc, char** argv)
{
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    bench::InstantPort port;
    for (const bench::Request& request : bench::requests()) {
        if (argc != 3 || std::strcmp(request.name, argv[1]) != 0)
            continue;
        for (int i = std::atoi(argv[2]); i > 0; --i) {
            if (!bench::run(*driver, port, request)) {
                std::fprintf(stderr, "%s\n", qPrintable(driver->getLastError()));
                return 1;
            }
        }
        return 0;
    }
    std::fputs("usage: bench_repeat read10|readbit|writebit|write10 COUNT\n", stderr);
    return 2;
}
