#include "polling.h"

#include <CLI/CLI.hpp>

namespace {

CLI::Option* addTimeTo(CLI::App& verb, const char* name, qint64& milliseconds, const char* text)
{
    constexpr int aDay = 86400000;
    return verb.add_option(name, milliseconds, text)
        ->transform(CLI::AsNumberWithUnit(
            std::map<std::string, qint64>{{"ms", 1}, {"s", 1000}, {"min", 60000}}))
        ->check(CLI::Range(1, aDay))
        ->type_name("TIME");
}

}

void RateOptions::addTo(CLI::App& verb)
{
    addTimeTo(verb, "--interval", interval, "Time from scan to scan, such as 500ms or 2s (1s)");
    verb.add_option("-n,--count", count, "So many scans, then the end; without it until Ctrl-C")
        ->check(CLI::PositiveNumber);
    addTimeTo(verb, "--longest-pause", longestPause,
              "Longest pause between attempts at a dead link (10s)");
}

std::unique_ptr<host::LinkPoller> pollerFor(const LinkPlace& place, const QString& name,
                                            std::vector<host::Tag> tags, const RateOptions& rate,
                                            const LoadedDriver& driver)
{
    host::PollSource source;
    source.name = name;
    source.link = place.link;
    source.line = place.line;
    source.port = place.port;
    source.dataBytes = place.dataBytes;
    source.tags = std::move(tags);
    source.observe = observerOf(place);
    host::PollSettings settings;
    settings.intervalMs = rate.interval;
    settings.count = rate.count;
    settings.longestPauseMs = rate.longestPause;
    return std::make_unique<host::LinkPoller>(std::move(source), settings, driver.create());
}

QString textOf(const host::PollSource& source, const host::PollTotals& totals)
{
    const double mean = totals.scans == 0 ? 0 : totals.sumMs / static_cast<double>(totals.scans);
    return QStringLiteral("%1: %2 scans, %3 left out, %4 values, %5 errors, opened again %6 times, "
                          "scan time %7/%8/%9 ms (least, mean, most)")
        .arg(source.name)
        .arg(totals.scans)
        .arg(totals.missed)
        .arg(totals.values)
        .arg(totals.errors)
        .arg(totals.reopened)
        .arg(totals.fastestMs, 0, 'f', 1)
        .arg(mean, 0, 'f', 1)
        .arg(totals.slowestMs, 0, 'f', 1);
}
