// A panel without a screen: polls a handful of values of one controller, prints what
// changes, and lives through a line that is lost.
//
//   panel-host PORT   station 1 on /dev/ttyUSB0, tcp://host:port and the like, until
//                     Ctrl-C; it only reads
//   panel-host        a rehearsal of a few seconds with a simulated controller
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>
#include <QThread>
#include <csignal>
#include <memory>

#include "host/driverloader.h"
#include "panel.h"
#include "rehearsal.h"

namespace {

const struct
{
    const char* name;
    const char* address;
} VALUES[] = {
    {"Level", "N7:0"},       {"Pump", "B3:0/5"}, {"Delay", "T4:0.ACC"},
    {"Temperature", "F8:0"}, {"Batch", "N99:0"}, // not in the rehearsal's controller
};

const qint64 INTERVAL_MS = 100;

volatile std::sig_atomic_t isInterrupted = 0;

int fail(const QString& text)
{
    QTextStream(stderr) << text << '\n';
    return 1;
}

/// Prints what is new; whether anything was.
bool show(const QStringList& news)
{
    QTextStream out(stdout);
    for (const QString& line : news)
        out << line << '\n';
    return !news.isEmpty();
}

/// Polls on a raster of instants until Ctrl-C or the end of the rehearsal.
void run(Panel& panel, Rehearsal* rehearsal)
{
    QElapsedTimer clock;
    clock.start();
    host::Schedule schedule(0, INTERVAL_MS);
    while (isInterrupted == 0) {
        schedule.begin(clock.elapsed());
        const bool hasNews = show(panel.poll(clock.elapsed()));
        if (rehearsal != nullptr && hasNews && !rehearsal->advance())
            return;
        const qint64 left = schedule.due() - clock.elapsed();
        QThread::msleep(static_cast<unsigned long>(qMax<qint64>(left, 0)));
    }
}

}

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    std::signal(SIGINT, [](int) { isInterrupted = 1; });

    const host::DriverLoader loader;
    if (loader.driver() == nullptr)
        return fail(loader.error());
    DriverInterface& driver = *loader.driver();

    PanelSettings settings = defaultSettings(driver);
    settings.firstPauseMs = 200;
    std::unique_ptr<Rehearsal> rehearsal;
    if (argc > 1)
        settings.link = application.arguments().at(1);
    else {
        settings.link = Rehearsal::link();
        rehearsal = std::make_unique<Rehearsal>();
        if (!rehearsal->advance())
            return 1;
    }

    Panel panel(driver, settings);
    for (const auto& value : VALUES) {
        QString error;
        if (!panel.add(value.name, value.address, &error))
            return fail(error);
    }
    run(panel, rehearsal.get());
    return 0;
}
