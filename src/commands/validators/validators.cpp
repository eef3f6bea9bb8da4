#include "commands/validators/validators.hpp"

#include "core/number.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <string_view>

namespace kex::commands
{
namespace
{

constexpr size_t max_ifname_length = 128;
constexpr size_t max_mac_length = 18;
constexpr size_t min_ipv4_length = 7;
constexpr size_t max_ipv4_length = 16;
constexpr size_t max_text_length = 257;
constexpr unsigned long max_ipv4_prefix = 32;
constexpr unsigned long max_ipv6_prefix = 128;

/** True unless text has a length from min to max and consists of accepted characters. */
template <typename Accepts>
bool refuses(const std::string& text, size_t min, size_t max, Accepts accepts)
{
    return text.size() < min || text.size() > max || !std::ranges::all_of(text, [&](char c) {
               return accepts(static_cast<unsigned char>(c));
           });
}

bool contains(const std::string& text, char c)
{
    return text.find(c) != std::string::npos;
}

} // namespace

bool is_invalid_ifname(const std::string& text)
{
    return refuses(text, 1, max_ifname_length, [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.';
    });
}

bool is_invalid_hex_colon(const std::string& text, size_t max_len)
{
    return refuses(text, 1, max_len,
                   [](unsigned char c) { return std::isxdigit(c) != 0 || c == ':'; });
}

bool is_invalid_mac(const std::string& text)
{
    return is_invalid_hex_colon(text, max_mac_length);
}

bool is_invalid_ipv4_text(const std::string& text)
{
    return refuses(text, min_ipv4_length, max_ipv4_length,
                   [](unsigned char c) { return std::isdigit(c) != 0 || c == '.'; });
}

bool is_invalid_ipv6(const std::string& text)
{
    in6_addr address;
    return text.empty() || inet_pton(AF_INET6, text.c_str(), &address) != 1;
}

bool is_invalid_ip(const std::string& text)
{
    return contains(text, ':') ? is_invalid_ipv6(text) : is_invalid_ipv4_text(text);
}

bool is_invalid_ip_or_any(const std::string& text)
{
    return text != "0.0.0.0" && is_invalid_ip(text);
}

bool is_invalid_text(const std::string& text)
{
    // What a shell would take for the end of a command or a redirection.
    constexpr std::string_view control = "&;<>|";
    return refuses(text, 1, max_text_length, [&](unsigned char c) {
        return std::isgraph(c) != 0 && control.find(static_cast<char>(c)) == std::string_view::npos;
    });
}

bool is_invalid_route_dest(const std::string& text)
{
    if (text == "default") {
        return false;
    }
    const bool ipv6 = contains(text, ':');
    if (!ipv6 && !contains(text, '.')) {
        return true;
    }
    const size_t slash = text.find('/');
    if (slash == std::string::npos) {
        return is_invalid_ip(text);
    }
    if (text.ends_with('/')) {
        return true;
    }
    const unsigned long prefix = leading_number(text.substr(slash + 1));
    return prefix < 1 || prefix > (ipv6 ? max_ipv6_prefix : max_ipv4_prefix);
}

} // namespace kex::commands
