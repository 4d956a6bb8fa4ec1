// The shared toolkit's general helpers, all at once.
#pragma once

#include "drivers/tools/checksums.h"
#include "drivers/tools/conversions.h"
#include "drivers/tools/environment.h"
#include "drivers/tools/packing.h"
#include "drivers/tools/plcaddress.h"
