// Fills a table of the kernel and times how it is flushed: by kex, called until nothing is left, by
// ip, and by a bare loop. usage: flush_client ENTRIES LINK TABLE
// Writes, as JSON, the time of each way in ns, how often kex was called, and what it has left.

#include "clock.hpp"
#include "process.hpp"
#include "results.hpp"
#include "tables.hpp"

#include <cstdio>
#include <exception>

namespace
{

using namespace kex::bench;

Words with_link(Words words, const std::string& link)
{
    std::replace(words.begin(), words.end(), std::string("LINK"), link);
    return words;
}

/**
 * Only the calls count: whether something is left is looked up by the measurement itself. Calls
 * that change nothing any more are given up after a while.
 */
double flush_by_kex(sd_bus* bus, TableAccess& access, const Words& words, double& calls)
{
    constexpr unsigned max_idle_calls = 1000;
    double time = 0;
    unsigned idle_calls = 0;
    calls = 0;
    for (size_t left = access.count(); left > 0 && idle_calls < max_idle_calls; ++calls) {
        const auto start = Clock::now();
        call(bus,
             make_command(bus, kex_name, words.at(0), Words(words.begin() + 1, words.end())).get());
        time += nanoseconds_since(start);
        const size_t now_left = access.count();
        idle_calls = now_left == left ? idle_calls + 1 : 0;
        left = now_left;
    }
    return time;
}

double flush_by_ip(TableAccess& access, Words words)
{
    words.insert(words.begin(), "/usr/bin/ip");
    const auto start = Clock::now();
    Process(words).wait();
    const double time = nanoseconds_since(start);
    check(access.count() > 0 ? -1 : 0, "ip left entries behind");
    return time;
}

double flush_by_loop(TableAccess& access)
{
    const auto start = Clock::now();
    access.flush();
    return nanoseconds_since(start);
}

} // namespace

int main(int argc, char** argv)
try {
    const Words words(argv + 1, argv + argc);
    const auto entries = static_cast<unsigned>(std::stoul(words.at(0)));
    const std::string& link = words.at(1);
    const Table& table = *std::ranges::find(tables(), words.at(2), &Table::label);
    const Bus bus = connect();
    TableAccess access(table, link);
    Results results;
    const auto fill = [&] {
        access.flush();
        access.fill(entries);
        check(access.count() == entries ? 0 : -1, "the table cannot be filled");
    };
    double calls = 0;
    fill();
    results["kex"].push_back(flush_by_kex(bus.get(), access, with_link(table.kex, link), calls));
    results["calls"].push_back(calls);
    results["left"].push_back(static_cast<double>(access.count()));
    fill();
    results["ip"].push_back(flush_by_ip(access, with_link(table.ip, link)));
    fill();
    results["loop"].push_back(flush_by_loop(access));
    print(results);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "flush_client: %s\n", error.what());
    return 1;
}
