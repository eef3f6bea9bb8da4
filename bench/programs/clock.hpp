#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace kex::bench
{

using Clock = std::chrono::steady_clock;

inline double nanoseconds_since(Clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

/** The middle value; of what a shared machine disturbs, the least disturbed. */
inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace kex::bench
