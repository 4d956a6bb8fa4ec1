#include "allocations.h"

#include <atomic>
#include <cstddef>

namespace {

std::atomic<std::uint64_t> count{0};

void countOne()
{
    count.fetch_add(1, std::memory_order_relaxed);
}

}

// glibc's own, under the names that it keeps for such replacements.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size)
{
    countOne();
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size)
{
    countOne();
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size)
{
    countOne();
    return __libc_realloc(memory, size);
}
}

namespace bench {

std::uint64_t allocations()
{
    return count.load(std::memory_order_relaxed);
}

}
