// Several addresses read in as few reads as can be.
#pragma once

#include <optional>
#include <vector>

#include "connection.h"
#include "host/readlist.h"

class BatchRead
{
public:
    /// Borrows the connection.
    BatchRead(Connection& connection, std::vector<host::ReadItem> items);

    /// Reads every item. What a controller refuses for one of them is reported and does
    /// not hide the others; a line that fails ends the reading. The code of the first
    /// failure, or Success.
    ExitCode run();

    const std::vector<host::ReadItem>& items() const { return m_items; }
    /// The values of the item's tags; nothing for those that could not be read.
    std::vector<std::optional<host::FormedValue>> valuesOf(size_t item) const;

private:
    void run(const host::PlannedRead& read);
    void store(const host::PlannedRead& read, const QByteArray& data);
    void giveUp(const host::PlannedRead& read, const Failure& failure);
    std::vector<host::PlannedRead> divided(const host::PlannedRead& read, ExitCode code) const;
    std::vector<host::PlannedRead> byItem(const host::PlannedRead& read) const;
    bool isHopeless(const host::PlannedRead& read) const;
    size_t itemOf(const host::TagSlice& slice) const
    {
        return m_itemOfTag[static_cast<size_t>(slice.tag)];
    }

    Connection& m_connection;
    const std::vector<host::ReadItem> m_items;
    std::vector<bool> m_hasFailed; // item by item
    std::vector<host::Tag> m_tags; // of all items in turn
    std::vector<size_t> m_itemOfTag;
    std::vector<std::optional<host::FormedValue>> m_values; // tag by tag
    ExitCode m_code = ExitCode::Success;
    bool m_isStopped = false;
};
