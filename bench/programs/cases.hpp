#pragma once

#include <string>
#include <vector>

namespace kex::bench
{

/** Something that happens inside a process. */
struct Case {
    std::string name;
    void (*run)();
};

/**
 * Runs the cases under Google Benchmark; with "--repeat COUNT NAME" runs one of them so many times
 * and nothing else, for a tool that counts instructions.
 * @return the exit status
 */
int run_cases(int argc, char** argv, const std::vector<Case>& cases);

} // namespace kex::bench
