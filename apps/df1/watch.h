// df1 watch: a live table of tags.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do: it shows the values until the count is reached, or
/// SIGINT or SIGTERM comes. Run throws Failure.
void addWatchVerb(CLI::App& app, std::function<ExitCode()>& run);
