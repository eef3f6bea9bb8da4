#pragma once

#include "core/log.hpp"

namespace kex::netlink
{

inline constexpr const char* module_tag = "nlc";

} // namespace kex::netlink

// The one outcome line of an operation. Each of success and failure is a parenthesised text with
// its arguments; failure is logged for every result but 0.
#define LOG_OUTCOME(result, success, failure) ((result) == 0 ? LOG_INFO success : LOG_ERROR failure)
