// Any command with any arguments over a system that does anything: what is refused has no effect,
// what is asked of the system is allowed, and everything that was opened is closed.

#include "dbus/dispatch.hpp"
#include "netlink/command_socket.hpp"
#include "support/command_checks.hpp"
#include "support/input.hpp"
#include "support/recorded_log.hpp"
#include "support/require.hpp"
#include "support/scripted_system.hpp"
#include "support/throwing_exec.hpp"

#include <stdexcept>

namespace
{

using namespace kex;
using dbus::CmdID;

constexpr int command_count = 32;

/** The result; none when a number of the journal command ended it. */
std::optional<int32_t> execute(CmdID command, const commands::Args& args)
{
    commands::CommandHandler handler;
    try {
        return dbus::executeCommand(handler, command, args);
    } catch (const std::logic_error& error) {
        REQUIRE(command == CmdID::JOURNAL_CTRL && error.what() == std::string("stoul"));
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const auto command = static_cast<CmdID>(input.byte() % command_count);
    const std::string outcomes = input.short_block();
    const commands::Args args = input.bus_texts();
    const bool capture = command == CmdID::JOURNAL_CTRL && args.size() > 2;
    const std::string path = capture ? args[2] : "";
    netlink::netlink_command_socket().fd = fuzz::netlink_descriptor;
    const int lowest_free = fuzz::lowest_free_descriptor();

    fuzz::ScriptedSystem parent(outcomes, false, path);
    const auto result = execute(command, args);
    fuzz::check_balance(lowest_free);
    fuzz::check_log(parent.observed.effects);
    const int arping = parent.observed.status.value_or(0);
    REQUIRE(
        !result || *result == 0 ||
        (command == CmdID::SENDARPING && (*result == arping || *result == -1 || *result == -2)));
    if (parent.observed.forked) {
        // Once more, to see what the child does.
        fuzz::ScriptedSystem child(outcomes, true, path);
        bool executed = false;
        try {
            execute(command, args);
        } catch (const fuzz::Executed&) {
            executed = true;
        }
        REQUIRE(executed);
        fuzz::check_balance(lowest_free);
        fuzz::forget_log();
    }
    return 0;
}
