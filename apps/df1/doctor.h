// df1 doctor: what is wrong with a line.
#pragma once

#include "failure.h"

#include <functional>

namespace CLI {
class App;
}

/// Adds the verb to @p app; once the command line is parsed, and if the verb was
/// given, @p run is what to do. Run throws Failure.
void addDoctorVerb(CLI::App& app, std::function<ExitCode()>& run);
