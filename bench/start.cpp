// How long a program takes from its start to the first value: it starts itself anew as a
// host that loads the plugin, opens the line and reads a word of a simulated controller
// in the first one's process.
#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "figures.h"
#include "host/driverloader.h"
#include "host/link.h"
#include "requests.h"
#include "simulator/server.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

const int ROUNDS = 31;

[[noreturn]] void fail(const QString& text)
{
    std::fprintf(stderr, "bench_start: %s\n", qPrintable(text));
    std::exit(1);
}

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// What a started host says on its standard output, once it has the value.
struct Report
{
    Clock::time_point read; ///< of one clock for all processes
    double pluginMs;        ///< what loading the plugin took
    double processorMs;     ///< of the process, up to then
};

void runHost(const char* path)
{
    const Clock::time_point start = Clock::now();
    const host::DriverLoader loader(PLUGIN_FILE);
    if (loader.driver() == nullptr)
        fail(loader.error());
    Report report = {{}, millisecondsSince(start), 0};
    QString error;
    const auto link = host::Link::open(path, host::LineSettings(), host::PortSettings(), &error);
    if (link == nullptr)
        fail(error);
    const bench::Request request = {"read", false, bench::command(2, "N7:0", 1), {}};
    if (!bench::run(*loader.driver(), link->port(), request))
        fail(loader.driver()->getLastError());
    report.read = Clock::now();
    report.processorMs = 1e3 * bench::processorSeconds();
    if (::write(STDOUT_FILENO, &report, sizeof report) != sizeof report)
        fail("writing the report");
}

Report startHost(const char* program, const QByteArray& path)
{
    int pipe[2];
    if (::pipe(pipe) != 0)
        fail("making a pipe");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
    const char* const arguments[] = {program, path.constData(), nullptr};
    pid_t process = -1;
    if (::posix_spawn(&process, program, &actions, nullptr, const_cast<char* const*>(arguments),
                      environ)
        != 0)
        fail("starting a host");
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(pipe[1]);
    Report report = {};
    if (::read(pipe[0], &report, sizeof report) != sizeof report)
        fail("the host has not reported");
    ::close(pipe[0]);
    ::waitpid(process, nullptr, 0);
    return report;
}

}

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 2) {
        runHost(argv[1]);
        return 0;
    }
    simulator::PtyServer server(
        simulator::Controller(simulator::seededTables(1), simulator::defaultModel()));
    QString error;
    std::vector<double> reading;
    std::vector<double> loading;
    std::vector<double> processor;
    for (int i = 0; i < ROUNDS; ++i) {
        // A fresh one for every host: a controller takes a request with the number of the
        // one before for the same one, and the first of every host is number 1.
        if (!server.start(&error))
            fail(error);
        const Clock::time_point start = Clock::now();
        const Report report = startHost("/proc/self/exe", server.portName().toLocal8Bit());
        reading.push_back(std::chrono::duration<double, std::milli>(report.read - start).count());
        loading.push_back(report.pluginMs);
        processor.push_back(report.processorMs);
        server.stop();
    }
    bench::print("start.first_read_ms", bench::median(reading));
    bench::print("start.cpu_ms", bench::median(processor));
    bench::print("start.plugin_ms", bench::median(loading));
}
