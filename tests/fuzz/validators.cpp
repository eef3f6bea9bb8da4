// The validators against the rules they stand for, written down a second time.

#include "commands/validators/validators.hpp"
#include "support/input.hpp"
#include "support/require.hpp"
#include "support/rules.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <filesystem>

namespace
{

using namespace kex::commands;

const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string digits = "0123456789";

bool made_of(const std::string& text, size_t min, size_t max, const std::string& characters)
{
    return text.size() >= min && text.size() <= max &&
           text.find_first_not_of(characters) == std::string::npos;
}

bool is_plain(const std::string& text)
{
    return text.find_first_of("&;<>|") == std::string::npos &&
           std::ranges::all_of(text, [](char c) { return c >= '!' && c <= '~'; });
}

bool is_ip(const std::string& text)
{
    in6_addr address;
    return text.find(':') == std::string::npos ? made_of(text, 7, 16, digits + ".")
                                               : inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool is_destination(const std::string& text)
{
    const bool ipv6 = text.find(':') != std::string::npos;
    const size_t slash = text.find('/');
    if (text == "default") {
        return true;
    }
    if ((!ipv6 && text.find('.') == std::string::npos) || text.back() == '/') {
        return false;
    }
    if (slash == std::string::npos) {
        return is_ip(text);
    }
    const unsigned long prefix = kex::fuzz::read_number(text, slash + 1).value;
    return prefix >= 1 && prefix <= (ipv6 ? 128 : 32);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto texts = kex::fuzz::Input(data, size).bus_texts();
    const std::string text = texts.empty() ? std::string() : texts.front();
    const std::string hex = digits + "abcdefABCDEF:";
    const bool name = made_of(text, 1, 128, letters + digits + "_-.");
    REQUIRE(is_invalid_ifname(text) != name);
    REQUIRE(is_invalid_hex_colon(text, 6) != made_of(text, 1, 6, hex));
    REQUIRE(is_invalid_mac(text) != made_of(text, 1, 18, hex));
    REQUIRE(is_invalid_ipv4_text(text) != made_of(text, 7, 16, digits + "."));
    REQUIRE(is_invalid_ip(text) != is_ip(text));
    REQUIRE(is_invalid_ip_or_any(text) != is_ip(text));
    REQUIRE(is_invalid_ipv6(text) || made_of(text, 2, 45, hex + "."));
    REQUIRE(is_invalid_text(text) != (!text.empty() && text.size() < 258 && is_plain(text)));
    REQUIRE(is_invalid_route_dest(text) != is_destination(text));
    const std::filesystem::path folder = "/proc/sys/net/ipv6/conf";
    if (!is_invalid_ifname(text) && text != "." && text != "..") {
        REQUIRE((folder / text / "mtu").lexically_normal().parent_path().parent_path() == folder);
    }
    return 0;
}
