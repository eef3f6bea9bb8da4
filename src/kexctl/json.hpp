#pragma once

#include <nlohmann/json.hpp>

namespace kex::ctl
{

/** Members keep the order in which they are put in. */
using Json = nlohmann::ordered_json;

/** Prints one line. What is no UTF-8 in a text becomes the replacement character. */
void print_line(const Json& json);

} // namespace kex::ctl
