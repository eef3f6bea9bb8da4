// MAC addresses: the usual forms are read as they stand, and what is read can be written again.

#include "netlink/mac_address.hpp"
#include "support/input.hpp"
#include "support/require.hpp"

#include <array>
#include <cstdio>
#include <optional>

namespace
{

using kex::netlink::MacAddress;
using kex::netlink::parse_mac;

std::string text_of(const MacAddress& mac)
{
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
                  mac[3], mac[4], mac[5]);
    return text.data();
}

int digit_value(char c)
{
    const auto position = std::string("0123456789abcdefABCDEF").find(c);
    return position == std::string::npos
               ? -1
               : static_cast<int>(position < 16 ? position : position - 6);
}

/** Six numbers of one or two digits with colons between them; none for any other text. */
std::optional<MacAddress> usual_mac(const std::string& text)
{
    MacAddress mac{};
    size_t at = 0;
    for (size_t i = 0; i < mac.size(); ++i) {
        const size_t end = i + 1 < mac.size() ? text.find(':', at) : text.size();
        if (end == std::string::npos || end == at || end - at > 2) {
            return std::nullopt;
        }
        for (; at < end; ++at) {
            if (digit_value(text[at]) < 0) {
                return std::nullopt;
            }
            mac[i] = static_cast<uint8_t>(mac[i] * 16 + digit_value(text[at]));
        }
        ++at;
    }
    return mac;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (const std::string& text : kex::fuzz::Input(data, size).bus_texts()) {
        const auto mac = parse_mac(text);
        const auto usual = usual_mac(text);
        REQUIRE(!usual || mac == usual);
        REQUIRE(!mac || parse_mac(text_of(*mac)) == mac);
        REQUIRE(!mac || text.size() >= 11);
    }
    return 0;
}
