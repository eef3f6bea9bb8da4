#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace kex::bench
{

/** Of everything that was timed, one number for each round. */
using Results = std::map<std::string, std::vector<double>>;

/** Writes them as JSON. */
inline void print(const Results& results)
{
    const char* separator = "{";
    for (const auto& [label, rounds] : results) {
        std::printf("%s\"%s\": [", separator, label.c_str());
        for (size_t i = 0; i < rounds.size(); ++i) {
            std::printf("%s%.0f", i == 0 ? "" : ", ", rounds[i]);
        }
        std::printf("]");
        separator = ", ";
    }
    std::printf("}\n");
}

} // namespace kex::bench
