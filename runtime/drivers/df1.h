// The DF1 protocol's parts that drivers share, all at once.
#pragma once

#include "drivers/df1/addressing.h"
#include "drivers/df1/commands.h"
#include "drivers/df1/framing.h"
