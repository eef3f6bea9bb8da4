// Times operations in turns, so that what disturbs the machine disturbs all of them alike.
// usage: bus_client ROUNDS { -- LABEL COUNT OPERATION... }...
// Writes, as JSON, a list for each label: of every round the median time of one operation in ns.

#include "clock.hpp"
#include "operations.hpp"
#include "results.hpp"

#include <cstdio>
#include <exception>

namespace
{

using namespace kex::bench;

struct Series {
    std::string label;
    unsigned count;
    std::unique_ptr<Operation> operation;
    unsigned turn = 0;
};

std::vector<Series> read_series(sd_bus* bus, const Words& words)
{
    std::vector<Series> all;
    for (auto at = words.begin() + 1; at != words.end();) {
        const auto end = std::find(at + 1, words.end(), "--");
        const Words one(at + 1, end);
        all.push_back({one.at(0), static_cast<unsigned>(std::stoul(one.at(1))),
                       make_operation(bus, Words(one.begin() + 2, one.end()))});
        at = end;
    }
    return all;
}

/** @return the median time */
double run_round(Series& series)
{
    std::vector<double> times;
    for (unsigned i = 0; i < series.count; ++i) {
        ++series.turn;
        const auto start = Clock::now();
        series.operation->run(series.turn);
        times.push_back(nanoseconds_since(start));
        series.operation->settle();
    }
    return median(std::move(times));
}

} // namespace

int main(int argc, char** argv)
try {
    const Words words(argv + 1, argv + argc);
    const Bus bus = connect();
    std::vector<Series> all = read_series(bus.get(), words);
    Results results;
    const auto rounds = std::stoul(words.at(0));
    for (unsigned long round = 0; round < rounds; ++round) {
        for (Series& series : all) {
            results[series.label].push_back(run_round(series));
        }
    }
    print(results);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bus_client: %s\n", error.what());
    return 1;
}
