#pragma once

#include <string>
#include <vector>

// Takes the place of the debug-log library, and keeps the log file in memory.
namespace kex::fuzz
{

struct LogLine {
    int level;
    std::string text;

    /** What stands behind the module, the function and the line: no argument comes before it. */
    [[nodiscard]] std::string body() const { return text.substr(text.find(" - ") + 3); }
};

/** The messages since the last call. */
std::vector<LogLine> take_log();

/** What has been written to the log file since the last call. */
std::string take_log_file();

void forget_log();

/** True when a log file has these messages but the traces, each behind a time, and nothing else. */
bool is_log_file_of(const std::string& file, const std::vector<LogLine>& log);

/** How many messages of a log begin with a text. */
size_t count_lines(const std::vector<LogLine>& log, const std::string& text);

} // namespace kex::fuzz
