#pragma once

#include "core/log_file.hpp"
#include "core/qlog.hpp"
#include "core/signals.hpp"

#include <cerrno>

namespace kex
{

/** The system's name in its own messages, of its thread, and of the user who owns its log. */
inline constexpr const char* program_name = "kex";

/** The current log file; rotated files stand beside it as ".0" and ".1". */
inline constexpr const char* log_file_path = "/run/tirvad/kex.log";

/** The daemon's component number in the debug-log library. */
inline constexpr int log_component = 320;

inline constexpr int level_error = 2;
inline constexpr int level_warning = 3;
inline constexpr int level_info = 4;
inline constexpr int level_trace = 5;
inline constexpr int level_reaping = 6;

/** The daemon's log file; exists from before main until exit. */
LogFile& log_file();

/** One message's writing: the signal handler, which logs, waits for its end; errno is kept. */
class LogScope
{
  public:
    LogScope() : errno_(errno) {}
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;
    ~LogScope() { errno = errno_; }

  private:
    int errno_;
    SignalDeferral deferral_;
};

/**
 * Writes one message to the debug-log library and to the log file. The macros below are the way
 * to call it: they put the common prefix before the text and have the compiler check it.
 * @param level       2 errors, 3 warnings, 4 information, 5 traces, 6 child reaping
 * @param module_tag  three letters that name the module
 * @param function    the operation's name
 * @param line        the call's number, fixed for a message that has had one for long
 * @param format      begins with "%s_%s():%d - ", for tag, function and line
 */
template <typename... Args>
void log_message(int level, const char* module_tag, const char* function, int line,
                 const char* format, Args... args)
{
    const LogScope scope;
    qlog_printf(level, log_component, format, module_tag, function, line, args...);
    log_file().write(format, module_tag, function, line, args...);
}

/** Like log_message, but for the debug-log library only: the log file never shows the line. */
template <typename... Args>
void log_trace(int level, const char* module_tag, const char* function, int line,
               const char* format, Args... args)
{
    const LogScope scope;
    qlog_printf(level, log_component, format, module_tag, function, line, args...);
}

/** Never called and not defined: the macros name it so that the compiler checks their texts. */
[[gnu::format(printf, 1, 2)]] int checked_format(const char* format, ...);

} // namespace kex

// Calls writer, log_message or log_trace, under the module_tag that is in scope. What stands inside
// sizeof is not evaluated; it checks text against its arguments, which cannot be done for a
// template.
#define KEX_LOG(writer, level, function, line, text, ...)                                          \
    (static_cast<void>(sizeof(::kex::checked_format(text __VA_OPT__(, ) __VA_ARGS__))),            \
     writer(level, module_tag, function, line, "%s_%s():%d - " text __VA_OPT__(, ) __VA_ARGS__))

// Each level has three forms: the plain one; _AT for a message with a line number of its own;
// _AS for one that is also logged under another function's name.
#define LOG_ERROR(text, ...) LOG_ERROR_AT(__LINE__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR_AT(line, text, ...) LOG_ERROR_AS(__func__, line, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR_AS(function, line, text, ...)                                                    \
    KEX_LOG(::kex::log_message, ::kex::level_error, function, line,                                \
            "ERROR - " text __VA_OPT__(, ) __VA_ARGS__)

#define LOG_WARNING(text, ...) LOG_WARNING_AT(__LINE__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_WARNING_AT(line, text, ...)                                                            \
    LOG_WARNING_AS(__func__, line, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_WARNING_AS(function, line, text, ...)                                                  \
    KEX_LOG(::kex::log_message, ::kex::level_warning, function, line,                              \
            "WARN - " text __VA_OPT__(, ) __VA_ARGS__)

#define LOG_INFO(text, ...) LOG_INFO_AT(__LINE__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO_AT(line, text, ...) LOG_INFO_AS(__func__, line, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO_AS(function, line, text, ...)                                                     \
    KEX_LOG(::kex::log_message, ::kex::level_info, function, line, text __VA_OPT__(, ) __VA_ARGS__)

#define LOG_TRACE(text, ...) LOG_TRACE_AT(__LINE__, text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_TRACE_AT(line, text, ...)                                                              \
    KEX_LOG(::kex::log_trace, ::kex::level_trace, __func__, line, text __VA_OPT__(, ) __VA_ARGS__)
