// df1 poll: values of many tags and links, over and over, for a log.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do: it polls until the count is reached, or SIGINT or
/// SIGTERM comes. Run throws Failure.
void addPollVerb(CLI::App& app, std::function<ExitCode()>& run);
