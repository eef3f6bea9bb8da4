#pragma once

#include "core/log.hpp"

namespace kex::commands
{

inline constexpr const char* module_tag = "exe";

} // namespace kex::commands
