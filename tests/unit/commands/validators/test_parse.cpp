#include "commands/validators/parse.hpp"

#include <gtest/gtest.h>

namespace kex::commands
{
namespace
{

using netlink::IpAddress;
using AddressBytes = std::array<uint8_t, 16>;

/** The bytes of what a text is read as; none when it is refused. */
std::optional<AddressBytes> bytes_of(const std::string& text, sa_family_t family)
{
    const auto address = parse_ip(text, family);
    return address ? std::optional(address->bytes) : std::nullopt;
}

TEST(ParseIp, Ipv4IsTheFirstFourBytes)
{
    EXPECT_EQ(bytes_of("192.168.0.5", AF_INET), (AddressBytes{192, 168, 0, 5}));
}

TEST(ParseIp, Ipv6IsSixteenBytes)
{
    EXPECT_EQ(bytes_of("fd00:1:203::e0f", AF_INET6),
              (AddressBytes{0xfd, 0, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0xe, 0xf}));
}

TEST(ParseIp, Ipv4HasItsFamily)
{
    EXPECT_EQ(parse_ip("192.168.0.5", AF_INET).value_or(IpAddress{}).family, AF_INET);
}

TEST(ParseIp, Ipv6HasItsFamily)
{
    EXPECT_EQ(parse_ip("::1", AF_INET6).value_or(IpAddress{}).family, AF_INET6);
}

struct NoAddress {
    sa_family_t family;
    const char* text;
};

void PrintTo(const NoAddress& refused, std::ostream* out)
{
    *out << testing::PrintToString(refused.text) << " as "
         << (refused.family == AF_INET ? "IPv4" : "IPv6");
}

class RefusedAddress : public testing::TestWithParam<NoAddress>
{
};

TEST_P(RefusedAddress, HasNoBytes)
{
    EXPECT_EQ(bytes_of(GetParam().text, GetParam().family), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RefusedAddress,
    testing::Values(NoAddress{AF_INET, ""}, NoAddress{AF_INET, "1.2.3"},
                    NoAddress{AF_INET, "1.2.3.4.5"}, NoAddress{AF_INET, "1.2.3.256"},
                    NoAddress{AF_INET, "01.2.3.4"}, NoAddress{AF_INET, "1.2.3.4 "},
                    NoAddress{AF_INET, " 1.2.3.4"}, NoAddress{AF_INET, "1234567"},
                    NoAddress{AF_INET, "0x1.2.3.4"}, NoAddress{AF_INET, "::1"},
                    NoAddress{AF_INET6, ""}, NoAddress{AF_INET6, "1.2.3.4"},
                    NoAddress{AF_INET6, "1::2::3"}, NoAddress{AF_INET6, "fe80::1%eth0"},
                    NoAddress{AF_INET6, "::1/64"}, NoAddress{AF_INET6, "::1 "}));

struct Prefix {
    sa_family_t family;
    const char* text;
    std::optional<uint8_t> length;
};

void PrintTo(const Prefix& prefix, std::ostream* out)
{
    *out << testing::PrintToString(prefix.text) << " of "
         << (prefix.family == AF_INET ? "IPv4" : "IPv6");
}

class ParsePrefix : public testing::TestWithParam<Prefix>
{
};

TEST_P(ParsePrefix, IsTheLengthOrNone)
{
    EXPECT_EQ(parse_prefix(GetParam().text, GetParam().family), GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(Numbers, ParsePrefix,
                         testing::Values(Prefix{AF_INET, "0", 0}, Prefix{AF_INET, "24", 24},
                                         Prefix{AF_INET, "32", 32}, Prefix{AF_INET, "33", {}},
                                         Prefix{AF_INET, "128", {}}, Prefix{AF_INET6, "0", 0},
                                         Prefix{AF_INET6, "64", 64}, Prefix{AF_INET6, "128", 128},
                                         Prefix{AF_INET6, "129", {}}, Prefix{AF_INET, " 24", 24},
                                         Prefix{AF_INET, "+24", 24}, Prefix{AF_INET, "024", 24},
                                         Prefix{AF_INET, "-0", 0}, Prefix{AF_INET, "-1", {}},
                                         Prefix{AF_INET, "", {}}, Prefix{AF_INET, " ", {}},
                                         Prefix{AF_INET, "24x", {}}, Prefix{AF_INET, "24 ", {}},
                                         Prefix{AF_INET, "x24", {}}, Prefix{AF_INET, "0x18", {}},
                                         Prefix{AF_INET, "/24", {}}, Prefix{AF_INET, "256", {}},
                                         Prefix{AF_INET, "4294967320", {}},
                                         Prefix{AF_INET, "18446744073709551616", {}},
                                         Prefix{AF_INET6, "", {}}, Prefix{AF_INET6, "ffff::", {}}));

INSTANTIATE_TEST_SUITE_P(
    Netmasks, ParsePrefix,
    testing::Values(Prefix{AF_INET, "0.0.0.0", 0}, Prefix{AF_INET, "128.0.0.0", 1},
                    Prefix{AF_INET, "192.0.0.0", 2}, Prefix{AF_INET, "254.0.0.0", 7},
                    Prefix{AF_INET, "255.0.0.0", 8}, Prefix{AF_INET, "255.128.0.0", 9},
                    Prefix{AF_INET, "255.255.0.0", 16}, Prefix{AF_INET, "255.255.254.0", 23},
                    Prefix{AF_INET, "255.255.255.0", 24}, Prefix{AF_INET, "255.255.255.128", 25},
                    Prefix{AF_INET, "255.255.255.254", 31}, Prefix{AF_INET, "255.255.255.255", 32},
                    Prefix{AF_INET, "255.0.255.0", {}}, Prefix{AF_INET, "0.255.255.255", {}},
                    Prefix{AF_INET, "0.0.0.1", {}}, Prefix{AF_INET, "127.255.255.255", {}},
                    Prefix{AF_INET, "255.255.255.253", {}}, Prefix{AF_INET, "191.0.0.0", {}},
                    Prefix{AF_INET, "255.255.255", {}}, Prefix{AF_INET, "255.255.255.0.0", {}},
                    Prefix{AF_INET, "255.255.255.256", {}}, Prefix{AF_INET, "24.", {}},
                    Prefix{AF_INET, ".", {}}, Prefix{AF_INET, " 255.255.255.0", {}},
                    Prefix{AF_INET6, "255.255.255.0", {}}, Prefix{AF_INET6, "64.", {}}));

TEST(ParseNetmask, EveryRunOfOneBitsIsItsLength)
{
    std::vector<int> wrong;
    for (int length = 0; length <= 32; ++length) {
        const uint32_t mask = length == 0 ? 0 : 0xFFFFFFFFU << (32 - length);
        const std::string text =
            std::to_string(mask >> 24U) + "." + std::to_string(mask >> 16U & 0xFFU) + "." +
            std::to_string(mask >> 8U & 0xFFU) + "." + std::to_string(mask & 0xFFU);
        if (parse_prefix(text, AF_INET) != length) {
            wrong.push_back(length);
        }
    }
    EXPECT_EQ(wrong, std::vector<int>{});
}

struct Table {
    const char* text;
    std::optional<uint32_t> id;
};

void PrintTo(const Table& table, std::ostream* out)
{
    *out << testing::PrintToString(table.text);
}

class ParseTable : public testing::TestWithParam<Table>
{
};

TEST_P(ParseTable, IsTheNumberOrNone)
{
    EXPECT_EQ(parse_table(GetParam().text), GetParam().id);
}

INSTANTIATE_TEST_SUITE_P(Texts, ParseTable,
                         testing::Values(Table{"0", 0}, Table{"1", 1}, Table{"254", 254},
                                         Table{"255", 255}, Table{" 100", 100}, Table{"+100", 100},
                                         Table{"0100", 100}, Table{"256", {}}, Table{"-1", {}},
                                         Table{"4294967296", {}}, Table{"18446744073709551616", {}},
                                         Table{"", {}}, Table{" ", {}}, Table{"100x", {}},
                                         Table{"100 ", {}}, Table{"main", {}}, Table{"0x64", {}},
                                         Table{"1.0", {}}));

struct Split {
    sa_family_t family;
    const char* text;
    std::string address;
    int prefix;
};

void PrintTo(const Split& split, std::ostream* out)
{
    *out << testing::PrintToString(split.text) << " of "
         << (split.family == AF_INET ? "IPv4" : "IPv6");
}

class SplitDestination : public testing::TestWithParam<Split>
{
};

TEST_P(SplitDestination, HasTheTextBeforeTheSlash)
{
    EXPECT_EQ(split_destination(GetParam().text, GetParam().family).address, GetParam().address);
}

TEST_P(SplitDestination, HasTheNumberBehindTheSlash)
{
    EXPECT_EQ(split_destination(GetParam().text, GetParam().family).prefix_length,
              GetParam().prefix);
}

INSTANTIATE_TEST_SUITE_P(Texts, SplitDestination,
                         testing::Values(Split{AF_INET, "10.0.0.0/24", "10.0.0.0", 24},
                                         Split{AF_INET, "10.0.0.1", "10.0.0.1", 32},
                                         Split{AF_INET6, "fd00::/64", "fd00::", 64},
                                         Split{AF_INET6, "fd00::1", "fd00::1", 128},
                                         // The family is asked for, and not read from the text.
                                         Split{AF_INET6, "10.0.0.1", "10.0.0.1", 128},
                                         Split{AF_INET, "fd00::1", "fd00::1", 32},
                                         Split{AF_INET, "10.0.0.0/24x", "10.0.0.0", 24},
                                         Split{AF_INET, "10.0.0.0/24/8", "10.0.0.0", 24},
                                         Split{AF_INET, "10.0.0.0/ 8", "10.0.0.0", 8},
                                         Split{AF_INET, "x.y/8", "x.y", 8},
                                         Split{AF_INET, "/8.", "", 8}));

} // namespace
} // namespace kex::commands
