// The cheapest reads that bring a list of tags.
#pragma once

#include <QByteArray>
#include <optional>
#include <vector>

#include "drivers/communicatorcommand.h"
#include "host/linecost.h"
#include "host/taglist.h"

namespace host {

struct PlanSettings
{
    LineCost line;
    int dataBytes = USUAL_DATA_BYTES; ///< 6 to MOST_DATA_BYTES
};

/// Where in the data of a read a tag's value lies.
struct TagSlice
{
    int tag;    ///< index in the list
    int offset; ///< in bytes; of a bit its word's
};

struct PlannedRead
{
    CommunicatorCommand command;
    ElementRange range; ///< what the controller is asked for
    int lineBytes = 0;  ///< lineBytesOf(range)
    double seconds = 0; ///< secondsOf(range)
    std::vector<TagSlice> slices;
};

/// Reads that together bring every tag, each tag once and whole in one read, in the
/// order of files and elements. No other reads that begin and end at a tag take less
/// time. Reads cross gaps where that is cheaper than another request. Of timers,
/// counters and controls every read moves whole elements and brings one word of each
/// (the driver's reads do), so PRE and ACC take a read each; bits come with their word.
std::vector<PlannedRead> planReads(const std::vector<Tag>& tags, const PlanSettings& settings);

/// The same for the tags of one read alone; with a lower limit, what to do instead when
/// the data of it turn out to hold too many bytes 0x10.
std::vector<PlannedRead> planAgain(const PlannedRead& read, const std::vector<Tag>& tags,
                                   const PlanSettings& settings);

/// What all of them take, in seconds.
double secondsOf(const std::vector<PlannedRead>& reads);

/// For each slice of @p read the seconds that would be saved, at least, without its tag:
/// the read would be shorter, fall apart or go.
std::vector<double> savingsOf(const PlannedRead& read, const std::vector<Tag>& tags,
                              const PlanSettings& settings);

/// The tag's value out of what the driver has returned for the read; nothing when that
/// is too short.
std::optional<FormedValue> valueIn(const QByteArray& data, const TagSlice& slice, const Tag& tag);

}
