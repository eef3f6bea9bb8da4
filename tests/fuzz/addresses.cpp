// Addresses and destinations of argument texts: what is read is what the text says.

#include "commands/validators/parse.hpp"
#include "commands/validators/validators.hpp"
#include "support/input.hpp"
#include "support/require.hpp"
#include "support/rules.hpp"

#include <arpa/inet.h>

#include <array>

namespace
{

using namespace kex;
using commands::parse_ip;

std::string text_of(const netlink::IpAddress& address)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    return inet_ntop(address.family, address.bytes.data(), text.data(), text.size());
}

void check_ip(const std::string& text, sa_family_t family)
{
    const auto address = parse_ip(text, family);
    if (family == AF_INET6) {
        REQUIRE(address.has_value() != commands::is_invalid_ipv6(text));
    }
    if (!address) {
        return;
    }
    REQUIRE(address->family == family);
    REQUIRE(!commands::is_invalid_ip(text));
    const auto again = parse_ip(text_of(*address), family);
    REQUIRE(again && again->bytes == address->bytes);
    REQUIRE(family == AF_INET6 || text_of(*address) == text);
}

void check_destination(const std::string& text, sa_family_t family)
{
    if (text == "default" || commands::is_invalid_route_dest(text)) {
        return;
    }
    const auto destination = commands::split_destination(text, family);
    const size_t slash = text.find('/');
    const unsigned long whole = family == AF_INET ? 32 : 128;
    const auto prefix = slash == text.npos ? whole : fuzz::read_number(text, slash + 1).value;
    REQUIRE(destination.address == text.substr(0, slash));
    REQUIRE(destination.prefix_length == prefix && prefix >= 1 && prefix <= 128);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    for (const std::string& text : fuzz::Input(data, size).bus_texts()) {
        check_ip(text, AF_INET);
        check_ip(text, AF_INET6);
        check_destination(text, AF_INET);
        check_destination(text, AF_INET6);
    }
    return 0;
}
