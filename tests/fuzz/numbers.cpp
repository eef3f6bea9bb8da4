// Numbers, table identifiers and prefix lengths of argument texts.

#include "commands/validators/parse.hpp"
#include "core/number.hpp"
#include "support/input.hpp"
#include "support/require.hpp"
#include "support/rules.hpp"

#include <arpa/inet.h>

#include <array>

namespace
{

using namespace kex;

/** The mask of a prefix length as text, of which there is one only. */
std::string netmask(unsigned prefix)
{
    const in_addr mask = {htonl(prefix == 0 ? 0 : ~0U << (32 - prefix))};
    std::array<char, INET_ADDRSTRLEN> text{};
    return inet_ntop(AF_INET, &mask, text.data(), text.size());
}

std::optional<unsigned> prefix_of_netmask(const std::string& text)
{
    for (unsigned prefix = 0; prefix <= 32; ++prefix) {
        if (netmask(prefix) == text) {
            return prefix;
        }
    }
    return std::nullopt;
}

template <typename Number>
std::optional<unsigned long> widened(std::optional<Number> number)
{
    return number ? std::optional<unsigned long>(*number) : std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text = fuzz::Input(data, size).rest();
    const auto rule = fuzz::read_number(text);
    REQUIRE(leading_number(text) == rule.value);

    const bool whole = rule.length != 0 && rule.length == text.size();
    const auto number = whole ? std::optional<unsigned long>(rule.value) : std::nullopt;
    REQUIRE(whole_number(text) == number);
    if (number) {
        REQUIRE(whole_number(std::to_string(*number)) == number);
    }
    const auto at_most = [&](unsigned long max) {
        return number && *number <= max ? number : std::nullopt;
    };
    REQUIRE(widened(commands::parse_table(text)) == at_most(255));

    if (text.find('.') == std::string::npos) {
        REQUIRE(widened(commands::parse_prefix(text, AF_INET)) == at_most(32));
        REQUIRE(widened(commands::parse_prefix(text, AF_INET6)) == at_most(128));
    } else if (text.find('\0') == std::string::npos) {
        REQUIRE(widened(commands::parse_prefix(text, AF_INET)) == widened(prefix_of_netmask(text)));
        REQUIRE(!commands::parse_prefix(text, AF_INET6));
    }
    return 0;
}
