// What people ask to read: addresses, how many values from there on, in which form.
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "host/taglist.h"

namespace host {

/// What one address stands for.
struct ReadItem
{
    QString address; ///< as it was given
    /// Timers, counters or controls whole: three tags for each, in the order of the
    /// words of an element.
    bool isWhole = false;
    std::vector<Tag> tags; ///< named by their own addresses
};

/// Takes an address, or address and length such as N7:0,L10 for ten values from N7:0 on;
/// without a length it is @p count. @p form is one of formNames() for all of them; a
/// value of 32 bits in a file of words takes two, so N7:0,L10 as i32 is N7:0 to N7:19.
/// When it is empty, values have the form that they have by themselves, and timers,
/// counters and controls are read whole. Nothing, with one line in @p error (not null),
/// for what can't be read so.
std::optional<ReadItem> readItem(const QString& text, int count, const QString& form,
                                 QString* error);

}
