// df1 simulate: controllers that other programs can open.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do: it serves until SIGINT or SIGTERM comes. Run throws
/// Failure.
void addSimulateVerb(CLI::App& app, std::function<ExitCode()>& run);
