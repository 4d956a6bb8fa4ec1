// Names for links, kept in a file, so that people need not give port, line and
// station every time.
#pragma once

#include <QByteArray>
#include <QString>
#include <map>
#include <optional>

namespace host {

/// What a file says of a link; what it leaves out is nothing.
struct LinkProfile
{
    QString port; ///< as Link::open() takes it, or "sim"; never empty
    std::optional<QString> line;
    std::optional<int> station; ///< of the controller
    std::optional<int> self;    ///< the host's own station
    std::optional<int> timeoutMs;
    std::optional<int> retry;
    std::optional<int> delayMs;
    std::optional<int> limit; ///< data bytes that one message may carry
};

using LinkProfiles = std::map<QString, LinkProfile>;

/// Whether a link can be called @p text: a letter, then letters, digits, - and _, and
/// not the name of a data file such as N7 or O, so that it is never taken for an address.
bool isLinkName(const QString& text);

/// The file micrologix/links.json in the first of the user's and the system's
/// configuration folders ($XDG_CONFIG_HOME, $XDG_CONFIG_DIRS) that has it; where none
/// has, its place in the user's.
QString defaultProfileFile();

/// Reads links from JSON:
///
///     { "press4": { "port": "/dev/ttyUSB0", "line": "19200,NONE,8,1", "station": 4,
///                   "self": 0, "timeout": 500, "retry": 3, "delay": 0, "limit": 206 } }
///
/// Each needs its port. On failure nothing, and one line in @p error (not null) that
/// names the link and the key and says what would be right.
std::optional<LinkProfiles> parseProfiles(const QByteArray& json, QString* error);
/// The same from a file, whose name stands before the line.
std::optional<LinkProfiles> loadProfiles(const QString& fileName, QString* error);

/// "press4, oven"; "none" when there are none.
QString namesOf(const LinkProfiles& links);

}
