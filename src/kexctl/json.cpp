#include "kexctl/json.hpp"

#include <cstdio>

namespace kex::ctl
{

void print_line(const Json& json)
{
    constexpr int one_line = -1;
    const std::string text = json.dump(one_line, ' ', false, Json::error_handler_t::replace);
    std::printf("%s\n", text.c_str());
}

} // namespace kex::ctl
