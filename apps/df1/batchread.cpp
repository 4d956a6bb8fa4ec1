#include "batchread.h"

#include <algorithm>
#include <map>

namespace {

/// Whether other addresses are worth trying: the line itself is in order.
bool isAboutTheAddress(ExitCode code)
{
    return code == ExitCode::Usage || code == ExitCode::Refused;
}

}

BatchRead::BatchRead(Connection& connection, std::vector<host::ReadItem> items)
    : m_connection(connection)
    , m_items(std::move(items))
    , m_hasFailed(m_items.size())
{
    for (const host::ReadItem& item : m_items) {
        m_itemOfTag.resize(m_itemOfTag.size() + item.tags.size(),
                           static_cast<size_t>(&item - m_items.data()));
        m_tags.insert(m_tags.end(), item.tags.begin(), item.tags.end());
    }
    m_values.resize(m_tags.size());
}

ExitCode BatchRead::run()
{
    for (const host::PlannedRead& read : planReads(m_tags, m_connection.planSettings()))
        run(read);
    return m_code;
}

std::vector<std::optional<host::FormedValue>> BatchRead::valuesOf(size_t item) const
{
    std::vector<std::optional<host::FormedValue>> values;
    for (size_t tag = 0; tag < m_tags.size(); ++tag) {
        if (m_itemOfTag[tag] == item)
            values.push_back(m_values[tag]);
    }
    return values;
}

void BatchRead::run(const host::PlannedRead& read)
{
    if (m_isStopped || isHopeless(read))
        return;
    try {
        store(read, m_connection.read(read.command));
    } catch (const Failure& failure) {
        const std::vector<host::PlannedRead> parts = divided(read, failure.code());
        if (parts.empty())
            giveUp(read, failure);
        for (const host::PlannedRead& part : parts)
            run(part);
    }
}

void BatchRead::store(const host::PlannedRead& read, const QByteArray& data)
{
    for (const host::TagSlice& slice : read.slices) {
        const auto tag = static_cast<size_t>(slice.tag);
        m_values[tag] = valueIn(data, slice, m_tags[tag]);
    }
}

void BatchRead::giveUp(const host::PlannedRead& read, const Failure& failure)
{
    report(failure);
    if (m_code == ExitCode::Success)
        m_code = failure.code();
    m_isStopped = !isAboutTheAddress(failure.code());
    for (const host::TagSlice& slice : read.slices)
        m_hasFailed[itemOf(slice)] = true;
}

std::vector<host::PlannedRead> BatchRead::divided(const host::PlannedRead& read,
                                                  ExitCode code) const
{
    if (isAboutTheAddress(code))
        return byItem(read);
    // The data may hold more bytes 0x10, which travel twice, than the driver has room for.
    if (code == ExitCode::Damaged && dataBytesOf(read.range) > host::SAFE_DATA_BYTES) {
        host::PlanSettings settings = m_connection.planSettings();
        settings.dataBytes = host::SAFE_DATA_BYTES;
        return planAgain(read, m_tags, settings);
    }
    return {};
}

/// Reads for each of the read's items alone; none when it has only one.
std::vector<host::PlannedRead> BatchRead::byItem(const host::PlannedRead& read) const
{
    std::map<size_t, host::PlannedRead> parts;
    for (const host::TagSlice& slice : read.slices)
        parts[itemOf(slice)].slices.push_back(slice);
    std::vector<host::PlannedRead> reads;
    if (parts.size() == 1)
        return reads;
    for (const auto& [item, part] : parts) {
        const auto planned = planAgain(part, m_tags, m_connection.planSettings());
        reads.insert(reads.end(), planned.begin(), planned.end());
    }
    return reads;
}

/// Whether every item that it is for has failed already.
bool BatchRead::isHopeless(const host::PlannedRead& read) const
{
    return std::all_of(read.slices.begin(), read.slices.end(),
                       [this](const host::TagSlice& slice) { return m_hasFailed[itemOf(slice)]; });
}
