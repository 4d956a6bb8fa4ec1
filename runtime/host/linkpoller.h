// Polls the tags of one link at a fixed rate, whatever becomes of the link.
#pragma once

#include <QDateTime>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "drivers/driverinterface.h"
#include "host/link.h"
#include "host/requestplan.h"
#include "host/schedule.h"
#include "host/stopsignal.h"
#include "host/tracer.h"

namespace host {

/// A link and what is wanted of it.
struct PollSource
{
    QString name; ///< of the link, for people
    QString link; ///< what Link::open takes
    LineSettings line;
    PortSettings port;
    std::vector<Tag> tags;            ///< one or more
    int dataBytes = USUAL_DATA_BYTES; ///< as PlanSettings has it
    TrafficReader::Taker observe;     ///< the link's traffic, in the poller's thread; may be empty
};

struct PollSettings
{
    qint64 intervalMs = 1000;         ///< from the beginning of one scan to that of the next
    std::optional<qint64> count = {}; ///< scans; nothing: until it is stopped
    qint64 firstPauseMs = 500;        ///< after a scan without any answer, doubled each time
    qint64 longestPauseMs = 10000;
};

/// A tag's value, or why there is none.
struct PolledValue
{
    QDateTime time; ///< UTC: when the answer, or its failure, was there
    std::optional<FormedValue> value;
    QString error; ///< one line; empty with a value
};

struct Scan
{
    qint64 number = 1; ///< counted from 1
    double milliseconds = 0;
    std::vector<PolledValue> values; ///< one for each tag, in their order
};

struct PollTotals
{
    qint64 scans = 0;
    qint64 values = 0;
    qint64 errors = 0;   ///< values that could not be had
    qint64 missed = 0;   ///< scans left out because the one before, or a pause, took too long
    qint64 reopened = 0; ///< times the link was opened again
    double fastestMs = 0;
    double slowestMs = 0;
    double sumMs = 0;
};

/// One thread's work. The scans begin on a raster of instants, so that they do not
/// drift. A link that can't be opened or is lost, or a controller that does not
/// answer, is tried again with growing pauses for as long as it takes, a link that
/// stays silent by opening it anew; meanwhile every scan that was tried tells the
/// error for each tag. A read that is refused as a whole is divided until only the
/// tags that are to blame fail.
class LinkPoller
{
public:
    /// Called after every scan, in the poller's thread; false ends the polling.
    using Observer = std::function<bool(const PollSource& source, const Scan& scan)>;

    /// The driver is this poller's alone.
    LinkPoller(PollSource source, const PollSettings& settings,
               std::unique_ptr<DriverInterface> driver);

    /// Polls until the count is reached, @p stop is given or @p observe says so. A
    /// transaction that is under way is waited for.
    void run(StopSignal& stop, const Observer& observe);

    const PollSource& source() const { return m_source; }
    /// For run()'s observer, and for anybody when it has returned.
    const PollTotals& totals() const { return m_totals; }

private:
    struct Reading
    {
        PlannedRead read;
        int failures = 0; ///< damaged answers in a row
    };
    enum class Outcome
    {
        Done,
        ToBeDivided,
    };

    Scan scan(qint64 number, const StopSignal& stop);
    void endScan(bool wasAnswered);
    void openLink(QString* error);
    void closeLink();
    AbstractDeviceInterface* port() const;
    /// @p silence gets the text when nobody answers or the link is lost.
    Outcome perform(Reading& reading, Scan& scan, QString* silence);
    void store(const PlannedRead& read, const QByteArray& data, Scan& scan) const;
    void storeError(const PlannedRead& read, const QString& error, Scan& scan) const;
    std::vector<Reading> divided(const Reading& whole) const;
    PlanSettings planSettings() const;
    void plan();
    void count(const Scan& scan);

    const PollSource m_source;
    const PollSettings m_settings;
    const std::unique_ptr<DriverInterface> m_driver;
    std::unique_ptr<Link> m_link;
    std::unique_ptr<TracedPort> m_tracedPort; ///< around the link's; null: nobody observes
    std::vector<Reading> m_readings;
    Backoff m_backoff;
    std::optional<qint64> m_pause; ///< to be made before the next scan
    int m_silentScans = 0;
    bool m_wasOpen = false;
    PollTotals m_totals;
};

}
