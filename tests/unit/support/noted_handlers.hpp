#pragma once

#include <string>
#include <vector>

// Handlers that do nothing but note their calls, in place of the real ones.
namespace kex::test
{

/** "name(argument,argument)" for each call since the last question. */
std::vector<std::string> handler_calls();

/** What send_arping returns. */
inline constexpr int arping_result = -2;

/** The argument for which every handler throws std::out_of_range with this text. */
inline constexpr const char* thrown = "thrown";

} // namespace kex::test
