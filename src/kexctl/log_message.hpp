#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kex::ctl
{

/** One message of the daemon's log. */
struct LogMessage {
    std::string stamp;  /**< "20-Nov 21:43:24" */
    std::string origin; /**< module and function, "exe_link_control" */
    std::string number; /**< of the source line */
    std::string text;   /**< may hold newlines, though none at its end */

    /** The line as the log file has it. */
    [[nodiscard]] std::string line() const;

    [[nodiscard]] bool is_error() const { return text.starts_with("ERROR - "); }
    [[nodiscard]] bool is_warning() const { return text.starts_with("WARN - "); }
};

/** A message without its stamp. What is not of the daemon's form becomes all text. */
LogMessage parse_message(std::string stamp, std::string_view message);

/** The messages of a piece of the log file, which begins where a message does. */
std::vector<LogMessage> parse_log(std::string_view content);

/** The time as the daemon's log shows it. */
std::string format_stamp(time_t time);

/**
 * What the daemon logged for a command: from the lines that name it and its arguments to where it
 * turned to the next. Nothing when the log does not have them, and the first of several runs,
 * since that one is complete.
 */
std::vector<LogMessage> messages_of_command(const std::vector<LogMessage>& log,
                                            const std::string& command,
                                            const std::vector<std::string>& arguments);

} // namespace kex::ctl
