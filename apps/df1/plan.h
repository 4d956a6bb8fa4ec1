// df1 plan: the reads that a tag list takes, and their time on a line.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do. Run throws Failure.
void addPlanVerb(CLI::App& app, std::function<ExitCode()>& run);
