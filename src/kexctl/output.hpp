#pragma once

#include "kexctl/log_message.hpp"

#include <string>
#include <string_view>

namespace kex::ctl
{

/**
 * A text that does nothing to a terminal: callers of the daemon choose what stands in its log.
 * Only ASCII that is printed, newlines and tabs stay; some terminals obey bytes beyond ASCII.
 */
std::string harmless(std::string_view text);

/** Prints a message as the log has it; on a terminal harmless, and errors and warnings coloured. */
void print_message(const LogMessage& message);

/** Prints "kexctl: TEXT" on standard error, red on a terminal. */
void complain(std::string_view text);

/** A text as a shell reads it back. */
std::string shell_quoted(const std::string& text);

} // namespace kex::ctl
