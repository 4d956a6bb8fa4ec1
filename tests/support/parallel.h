// Many parts of a test at a time.
#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace support {

/// Calls @p part with every number below @p count, in 64 threads: the driver pauses in
/// earnest when it silences a controller, so most of them wait.
inline void inParallel(int count, const std::function<void(int)>& part)
{
    std::atomic<int> next(0);
    std::vector<std::thread> threads;
    for (int i = 0; i < 64; ++i) {
        threads.emplace_back([&] {
            for (int number = next++; number < count; number = next++)
                part(number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}
