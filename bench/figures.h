// What the programs print: one figure a line, "NAME VALUE", for run.sh to put in tables.
#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <time.h>
#include <vector>

namespace bench {

inline void print(const std::string& name, double value)
{
    std::printf("%s %.6g\n", name.c_str(), value);
    std::fflush(stdout);
}

/// Processor time of the whole process, in seconds.
inline double processorSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Of at least one value.
inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}
