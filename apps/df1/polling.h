// What the verbs share that read tags over and over.
#pragma once

#include <memory>
#include <string>

#include "connection.h"
#include "host/linkpoller.h"

/// How often, and how patiently, links are read.
struct RateOptions
{
    qint64 interval = 1000;      ///< milliseconds
    qint64 longestPause = 10000; ///< milliseconds
    std::optional<qint64> count;

    /// Adds --interval, --count and --longest-pause.
    void addTo(CLI::App& verb);
};

/// A poller with a driver of its own for the link at @p place, which lasts longer.
std::unique_ptr<host::LinkPoller> pollerFor(const LinkPlace& place, const QString& name,
                                            std::vector<host::Tag> tags, const RateOptions& rate,
                                            const LoadedDriver& driver);

/// One line about a link's polling, for the end of it.
QString textOf(const host::PollSource& source, const host::PollTotals& totals);
