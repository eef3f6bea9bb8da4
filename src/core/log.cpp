#include "core/log.hpp"

namespace kex
{
namespace
{

constexpr int32_t max_messages = 1500;

LogFile process_log(log_file_path, program_name, max_messages, true);

} // namespace

LogFile& log_file()
{
    return process_log;
}

} // namespace kex
