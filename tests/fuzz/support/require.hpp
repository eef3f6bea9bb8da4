#pragma once

#include <cstdio>
#include <cstdlib>

/** Ends a run whose property does not hold, which the fuzzer reports as a finding. */
#define REQUIRE(condition)                                                                         \
    ((condition) ? static_cast<void>(0) : ::kex::fuzz::violated(#condition, __FILE__, __LINE__))

namespace kex::fuzz
{

[[noreturn]] inline void violated(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

} // namespace kex::fuzz
