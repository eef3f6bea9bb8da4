// Takes the place of src/core/log.hpp for cppcheck, which does not know __VA_OPT__ yet.
#pragma once

#include "core/log_file.hpp"
#include "core/qlog.hpp"
#include "core/signals.hpp"

namespace kex
{

inline constexpr const char* program_name = "kex";
inline constexpr const char* log_file_path = "/run/tirvad/kex.log";
inline constexpr int log_component = 320;
inline constexpr int level_reaping = 6;

LogFile& log_file();

class LogScope
{
  public:
    LogScope();
    ~LogScope();
};

void log_message(const char* module_tag, ...);

} // namespace kex

#define KEX_LOG(writer, level, function, ...) ::kex::log_message(module_tag, function, __VA_ARGS__)
#define LOG_ERROR(...) ::kex::log_message(module_tag, __VA_ARGS__)
#define LOG_ERROR_AT(...) LOG_ERROR(__VA_ARGS__)
#define LOG_ERROR_AS(...) LOG_ERROR(__VA_ARGS__)
#define LOG_WARNING(...) LOG_ERROR(__VA_ARGS__)
#define LOG_WARNING_AT(...) LOG_ERROR(__VA_ARGS__)
#define LOG_WARNING_AS(...) LOG_ERROR(__VA_ARGS__)
#define LOG_INFO(...) LOG_ERROR(__VA_ARGS__)
#define LOG_INFO_AT(...) LOG_ERROR(__VA_ARGS__)
#define LOG_INFO_AS(...) LOG_ERROR(__VA_ARGS__)
#define LOG_TRACE(...) LOG_ERROR(__VA_ARGS__)
#define LOG_TRACE_AT(...) LOG_ERROR(__VA_ARGS__)
