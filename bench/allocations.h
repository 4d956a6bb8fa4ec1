// Counts the program's allocations. A program that contains allocations.cpp has the
// C library's malloc, calloc and realloc replaced by counting ones, so operator new and
// Qt's containers count as well.
#pragma once

#include <cstdint>

namespace bench {

/// How often memory was allocated or resized so far, by all threads.
std::uint64_t allocations();

}
