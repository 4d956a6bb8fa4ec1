// A trace as text, one line for each thing that went over the line:
//
//   2026-03-14T15:09:26.535897Z > protected typed logical read N7:0, ... [10 02 ... 89 34]
//   2026-03-14T15:09:26.555021Z < ACK [10 06]
//
// The time in UTC (RFC 3339), > for sent or < for received, the words, and the bytes in
// brackets. Of a line that is read back only time, direction and bytes count.
#pragma once

#include <QString>
#include <optional>

#include "host/frametext.h"
#include "host/traffic.h"

namespace host {

/// The line, without its end. @p narrator has told everything before.
QString traceLine(const Sighting& sighting, Narrator& narrator);

/// Nothing when @p line is not a whole line of a trace.
std::optional<Record> readTraceLine(const QString& line);

/// Bytes from hexadecimal digits, two a byte. Blanks, the signs | , : and a 0x before a
/// group don't count; # begins a comment. Nothing, with one line in @p error (not null),
/// for anything else.
std::optional<QByteArray> readHex(const QString& text, QString* error);

}
