#pragma once

#include <functional>
#include <string>

/**
 * Defines what the linker puts in place of a function of the C library, for the program and for
 * the fuzzing engine alike; __real_NAME is the function itself.
 */
#define WRAPPED(result, name, ...)                                                                 \
    extern "C" result __real_##name(__VA_ARGS__);                                                  \
    extern "C" result __wrap_##name(__VA_ARGS__);                                                  \
    extern "C" result __wrap_##name(__VA_ARGS__)

namespace kex::fuzz
{

/** Opens a path that is not the log's, while it is set. */
extern std::function<int(const std::string& path, int flags)> opened;

} // namespace kex::fuzz
