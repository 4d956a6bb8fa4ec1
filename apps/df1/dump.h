// df1 dump: a controller's data files into a JSON file.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do. Run throws Failure.
void addDumpVerb(CLI::App& app, std::function<ExitCode()>& run);
