#include "commands/validators/parse.hpp"

#include "core/number.hpp"
#include "netlink/route.hpp"

#include <arpa/inet.h>

#include <bit>

namespace kex::commands
{
namespace
{

uint8_t full_prefix(sa_family_t family)
{
    return family == AF_INET ? 32 : 128;
}

std::optional<uint8_t> parse_netmask(const std::string& text)
{
    in_addr parsed = {};
    if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) {
        return std::nullopt;
    }
    const uint32_t mask = ntohl(parsed.s_addr);
    // Adding one to the zero bits carries into the ones exactly when no one bit stands below them.
    const bool contiguous = ((0 - mask) & ~mask) == 0;
    if (!contiguous) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(std::popcount(mask));
}

} // namespace

std::optional<netlink::IpAddress> parse_ip(const std::string& text, sa_family_t family)
{
    netlink::IpAddress address = {family, {}};
    if (inet_pton(family, text.c_str(), address.bytes.data()) != 1) {
        return std::nullopt;
    }
    return address;
}

std::optional<uint8_t> parse_prefix(const std::string& text, sa_family_t family)
{
    if (text.find('.') != std::string::npos) {
        return family == AF_INET ? parse_netmask(text) : std::nullopt;
    }
    const auto number = whole_number(text);
    if (!number || *number > full_prefix(family)) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(*number);
}

std::optional<uint32_t> parse_table(const std::string& text)
{
    const auto number = whole_number(text);
    if (!number || *number > netlink::max_table) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(*number);
}

Destination split_destination(const std::string& text, sa_family_t family)
{
    const size_t slash = text.find('/');
    if (slash == std::string::npos) {
        return {text, full_prefix(family)};
    }
    return {text.substr(0, slash), static_cast<uint8_t>(leading_number(text.substr(slash + 1)))};
}

} // namespace kex::commands
