// Reads texts from standard input, each behind its length in decimal and a line feed, and writes
// one line for each: what every validator and every parser says of it. The property test compares
// these lines with those of an oracle of its own.

#include "commands/validators/parse.hpp"
#include "commands/validators/validators.hpp"
#include "core/number.hpp"
#include "netlink/mac_address.hpp"

#include <cstdint>
#include <iostream>
#include <optional>
#include <span>
#include <string>

namespace
{

using namespace kex::commands;

constexpr size_t max_hex_colon = 6;

std::string hex(std::span<const uint8_t> bytes)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

/** One letter for each validator, in the order of the header; "r" for a refused text. */
std::string judge(const std::string& text)
{
    std::string letters;
    for (const bool refused :
         {is_invalid_ifname(text), is_invalid_hex_colon(text, max_hex_colon), is_invalid_mac(text),
          is_invalid_ipv4_text(text), is_invalid_ipv6(text), is_invalid_ip(text),
          is_invalid_ip_or_any(text), is_invalid_text(text), is_invalid_route_dest(text)}) {
        letters += refused ? 'r' : 'a';
    }
    return letters;
}

std::string address(const std::string& text, sa_family_t family)
{
    const auto parsed = parse_ip(text, family);
    return parsed ? hex(std::span(parsed->bytes).first(family == AF_INET ? 4 : 16)) : "-";
}

template <typename Number>
std::string number(const std::optional<Number>& parsed)
{
    return parsed ? std::to_string(*parsed) : "-";
}

std::string mac(const std::string& text)
{
    const auto parsed = kex::netlink::parse_mac(text);
    return parsed ? hex(*parsed) : "-";
}

/** The address part is shown by its length: it is the head of the text. */
std::string destination(const std::string& text, sa_family_t family)
{
    const Destination split = split_destination(text, family);
    if (!text.starts_with(split.address)) {
        return "no head of the text";
    }
    return std::to_string(split.address.size()) + "/" + std::to_string(split.prefix_length);
}

void write_verdict(const std::string& text)
{
    std::cout << judge(text) << ' ' << address(text, AF_INET) << ' ' << address(text, AF_INET6)
              << ' ' << number(parse_prefix(text, AF_INET)) << ' '
              << number(parse_prefix(text, AF_INET6)) << ' ' << number(parse_table(text)) << ' '
              << number(kex::whole_number(text)) << ' ' << kex::leading_number(text) << ' '
              << mac(text);
    // Splitting is for destinations that have passed their check.
    if (!is_invalid_route_dest(text)) {
        std::cout << ' ' << destination(text, AF_INET) << ' ' << destination(text, AF_INET6);
    }
    std::cout << '\n';
}

} // namespace

int main()
{
    std::ios::sync_with_stdio(false);
    size_t length = 0;
    while (std::cin >> length) {
        std::cin.get();
        std::string text(length, '\0');
        if (!std::cin.read(text.data(), static_cast<std::streamsize>(length))) {
            std::cerr << "a text is shorter than its length\n";
            return 1;
        }
        write_verdict(text);
    }
    return std::cin.eof() ? 0 : 1;
}
