// Any text as a file of links: it is refused in one line, or every link has a name of
// its own kind, a port, and numbers within their limits.
#include "harness.h"

#include "host/linesettings.h"
#include "host/profile.h"

#include <climits>

namespace {

bool isWithin(const std::optional<int>& number, int low, int high)
{
    return !number || (*number >= low && *number <= high);
}

}

/// Qt 5.15 leaks a value where a JSON object names it twice.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libQt5Core";
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    QString error;
    const auto links = host::parseProfiles(Input(data, size).rest(), &error);
    REQUIRE(links.has_value() == error.isEmpty() && !error.contains('\n'));
    if (!links)
        return 0;
    const int highestStation = 254;
    for (const auto& [name, link] : *links) {
        REQUIRE(host::isLinkName(name) && !link.port.isEmpty());
        REQUIRE(!link.line || host::LineSettings::parse(*link.line));
        REQUIRE(isWithin(link.station, 0, highestStation));
        REQUIRE(isWithin(link.self, 0, highestStation));
        REQUIRE(isWithin(link.timeoutMs, 1, INT_MAX) && isWithin(link.retry, 0, INT_MAX));
        REQUIRE(isWithin(link.delayMs, 0, INT_MAX) && isWithin(link.limit, 1, INT_MAX));
    }
    return 0;
}
