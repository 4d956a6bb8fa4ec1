// The controller that the example talks to when it is given no port.
#pragma once

#include <memory>

#include "simulator/server.h"

/// Station 1 with a few values, serving on a pseudo-terminal. Null, and the
/// reason on standard error, when there can be none.
std::unique_ptr<simulator::PtyServer> startSimulatedController();
