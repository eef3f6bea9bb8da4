#pragma once

#include <functional>
#include <string>
#include <vector>

// Takes the place of the debug-log library: keeps what is logged, by this process and by those
// that it forks.
namespace kex::test
{

/** "<level> text" for each message; "<level/component> text" for a component that is not 320. */
using Lines = std::vector<std::string>;

/**
 * The messages since the last call, which are forgotten with it. Where a message's line number is
 * that of its place in the sources (module tags "nlc" and "cul"), a "#" stands for the number.
 */
Lines logged();

/** The same with a "#" for every line number. */
Lines logged_without_numbers();

void forget_log();

/** Has each message call hook in the process that logs it, before it is kept; empty for none. */
void on_each_message(std::function<void()> hook);

/** What logged() has for an error and an information of the netlink layer. */
std::string nlc_error(const std::string& function, const std::string& text);
std::string nlc_info(const std::string& function, const std::string& text);

/** What logged() has for an error and an information of a command. */
std::string exe_error(const std::string& function, int line, const std::string& text);
std::string exe_info(const std::string& function, int line, const std::string& text);

/** What logged_without_numbers() has for them. */
std::string exe_error(const std::string& function, const std::string& text);
std::string exe_info(const std::string& function, const std::string& text);

} // namespace kex::test
