#include "cases.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace kex::bench
{
namespace
{

int repeat(const std::vector<Case>& cases, unsigned long count, const std::string& name)
{
    for (const Case& one : cases) {
        if (one.name == name) {
            for (; count > 0; --count) {
                one.run();
            }
            return 0;
        }
    }
    return 1;
}

} // namespace

int run_cases(int argc, char** argv, const std::vector<Case>& cases)
{
    if (argc == 4 && argv[1] == std::string("--repeat")) {
        return repeat(cases, std::strtoul(argv[2], nullptr, 10), argv[3]);
    }
    for (const Case& one : cases) {
        benchmark::RegisterBenchmark(one.name.c_str(), [run = one.run](benchmark::State& state) {
            for ([[maybe_unused]] auto turn : state) {
                run();
            }
        });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

} // namespace kex::bench
