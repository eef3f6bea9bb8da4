#pragma once

#include <string>

namespace kex::test
{

/** The name of a case of a table as a part of the test's. */
inline constexpr auto case_name = [](const auto& info) { return std::string(info.param.name); };

} // namespace kex::test
