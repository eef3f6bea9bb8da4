#include "support/command_checks.hpp"

#include "core/signals.hpp"
#include "support/recorded_files.hpp"
#include "support/recorded_log.hpp"
#include "support/require.hpp"
#include "support/scripted_journal.hpp"
#include "support/scripted_system.hpp"

#include <algorithm>

namespace kex::fuzz
{
namespace
{

// A list that is refused has one of these, in one line.
const std::vector<std::string> refusals{
    "invalid parm",     "invalid args",      "invalid protocol parm", "invalid route proto",
    "invalid table ID", "failed to convert", "invalid prefix length", "file_path is empty",
};

bool is_refusal(const LogLine& line)
{
    return std::ranges::any_of(refusals, [&](const std::string& refusal) {
        return line.body().starts_with("ERROR - " + refusal);
    });
}

} // namespace

void check_log(size_t effects)
{
    const auto log = take_log();
    const auto refused = std::ranges::count_if(log, is_refusal);
    REQUIRE(refused == 0 || (refused == 1 && effects == 0));
    REQUIRE(is_log_file_of(take_log_file(), log));
}

void check_balance(int lowest_free)
{
    REQUIRE(lowest_free_descriptor() == lowest_free);
    REQUIRE(open_streams() == 0 && open_journals() == 0);
    REQUIRE(open_bus_objects() == 0 && signals_are_open());
    REQUIRE(pending_children == 0);
}

} // namespace kex::fuzz
