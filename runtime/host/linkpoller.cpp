#include "host/linkpoller.h"

#include <algorithm>
#include <chrono>
#include <deque>

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int silentScansUntilReopened = 2;
constexpr int damagedScansUntilDivided = 2;

qint64 millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

bool isRefusal(const QString& driverText)
{
    return driverText.startsWith(QLatin1String("invalid address:"));
}

}

LinkPoller::LinkPoller(PollSource source, const PollSettings& settings,
                       std::unique_ptr<DriverInterface> driver)
    : m_source(std::move(source))
    , m_settings(settings)
    , m_driver(std::move(driver))
    , m_backoff(settings.firstPauseMs, settings.longestPauseMs)
{
    plan();
}

void LinkPoller::run(StopSignal& stop, const Observer& observe)
{
    const auto start = Clock::now();
    const auto instant = [start](qint64 at) { return start + std::chrono::milliseconds(at); };
    Schedule schedule(0, m_settings.intervalMs);
    for (qint64 number = 1; number <= m_settings.count.value_or(number); ++number) {
        if (stop.waitUntil(instant(schedule.due())))
            break;
        m_totals.missed += schedule.begin(millisecondsSince(start));
        const Scan scanned = scan(number, stop);
        count(scanned);
        if (!observe(m_source, scanned))
            break;
        if (m_pause && stop.waitUntil(Clock::now() + std::chrono::milliseconds(*m_pause)))
            break;
    }
    closeLink();
}

Scan LinkPoller::scan(qint64 number, const StopSignal& stop)
{
    const auto start = Clock::now();
    Scan scan;
    scan.number = number;
    scan.values.resize(m_source.tags.size());
    QString silence;
    openLink(&silence);
    std::deque<Reading> waiting(m_readings.begin(), m_readings.end());
    m_readings.clear();
    while (!waiting.empty()) {
        Reading reading = std::move(waiting.front());
        waiting.pop_front();
        if (silence.isEmpty() && stop.isStopped())
            silence = QStringLiteral("stopped before it was read");
        if (silence.isEmpty() && perform(reading, scan, &silence) == Outcome::ToBeDivided) {
            const std::vector<Reading> parts = divided(reading);
            waiting.insert(waiting.begin(), parts.begin(), parts.end());
            continue;
        }
        if (!silence.isEmpty())
            storeError(reading.read, silence, scan);
        m_readings.push_back(std::move(reading));
    }
    endScan(silence.isEmpty());
    scan.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    return scan;
}

void LinkPoller::endScan(bool wasAnswered)
{
    m_silentScans = wasAnswered ? 0 : m_silentScans + 1;
    if (wasAnswered) {
        m_backoff.reset();
        m_pause.reset();
        return;
    }
    m_pause = m_backoff.next();
    if (m_silentScans >= silentScansUntilReopened)
        closeLink();
}

void LinkPoller::openLink(QString* error)
{
    if (m_link)
        return;
    m_link = Link::open(m_source.link, m_source.line, m_source.port, error);
    if (!m_link)
        return;
    if (m_source.observe)
        m_tracedPort = std::make_unique<TracedPort>(m_link->port(), m_source.observe);
    m_silentScans = 0;
    m_totals.reopened += m_wasOpen ? 1 : 0;
    m_wasOpen = true;
    plan(); // what was refused once may be there now
}

void LinkPoller::closeLink()
{
    m_tracedPort.reset();
    m_link.reset();
}

AbstractDeviceInterface* LinkPoller::port() const
{
    if (m_tracedPort)
        return m_tracedPort.get();
    return &m_link->port();
}

LinkPoller::Outcome LinkPoller::perform(Reading& reading, Scan& scan, QString* silence)
{
    const QByteArray data = m_driver->read(port(), reading.read.command);
    if (!m_driver->hasError()) {
        reading.failures = 0;
        store(reading.read, data, scan);
        return Outcome::Done;
    }
    const QString lost = m_link->port().deviceError();
    const QString text = lost.isEmpty() ? m_driver->getLastError() : lost;
    if (!lost.isEmpty() || text == QLatin1String("PLC no response")) {
        *silence = text;
        if (!lost.isEmpty())
            closeLink();
        return Outcome::Done;
    }
    storeError(reading.read, text, scan);
    const bool isStubborn = isRefusal(text) || ++reading.failures >= damagedScansUntilDivided;
    return isStubborn && reading.read.slices.size() > 1 ? Outcome::ToBeDivided : Outcome::Done;
}

void LinkPoller::store(const PlannedRead& read, const QByteArray& data, Scan& scan) const
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const TagSlice& slice : read.slices) {
        const auto tag = static_cast<size_t>(slice.tag);
        const auto value = valueIn(data, slice, m_source.tags[tag]);
        scan.values[tag] = {now, value, value ? QString() : QStringLiteral("the answer is short")};
    }
}

void LinkPoller::storeError(const PlannedRead& read, const QString& error, Scan& scan) const
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const TagSlice& slice : read.slices)
        scan.values[static_cast<size_t>(slice.tag)] = {now, std::nullopt, error};
}

std::vector<LinkPoller::Reading> LinkPoller::divided(const Reading& whole) const
{
    const std::vector<TagSlice>& slices = whole.read.slices;
    const auto middle = slices.begin() + static_cast<long>(slices.size() / 2);
    std::vector<Reading> parts;
    for (const auto& [first, last] :
         {std::pair(slices.begin(), middle), std::pair(middle, slices.end())}) {
        PlannedRead half = whole.read;
        half.slices.assign(first, last);
        for (PlannedRead& read : planAgain(half, m_source.tags, planSettings()))
            parts.push_back({std::move(read), 0});
    }
    return parts;
}

PlanSettings LinkPoller::planSettings() const
{
    PlanSettings settings;
    settings.dataBytes = m_source.dataBytes;
    settings.line.secondsPerByte = m_source.line.secondsPerByte();
    return settings;
}

void LinkPoller::plan()
{
    m_readings.clear();
    for (PlannedRead& read : planReads(m_source.tags, planSettings()))
        m_readings.push_back({std::move(read), 0});
}

void LinkPoller::count(const Scan& scan)
{
    ++m_totals.scans;
    for (const PolledValue& value : scan.values)
        ++(value.value ? m_totals.values : m_totals.errors);
    m_totals.sumMs += scan.milliseconds;
    m_totals.slowestMs = std::max(m_totals.slowestMs, scan.milliseconds);
    m_totals.fastestMs =
        m_totals.scans == 1 ? scan.milliseconds : std::min(m_totals.fastestMs, scan.milliseconds);
}

}
