#include "commands/validators/validators.hpp"

#include <gtest/gtest.h>

namespace kex::commands
{
namespace
{

constexpr const char* digits = "0123456789";
constexpr const char* hex_digits = "0123456789ABCDEFabcdef";
constexpr const char* letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

std::string sorted(std::string characters)
{
    std::sort(characters.begin(), characters.end());
    return characters;
}

/** Every byte value that a text may hold between head and tail, in ascending order. */
template <typename IsInvalid>
std::string accepted_bytes(IsInvalid is_invalid, const std::string& head = {},
                           const std::string& tail = {})
{
    std::string accepted;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        const char character = static_cast<char>(byte);
        if (!is_invalid(head + character + tail)) {
            accepted += character;
        }
    }
    return accepted;
}

std::string of_length(size_t length, char character = '1')
{
    return std::string(length, character);
}

TEST(IfnameValidator, RefusesAnEmptyText)
{
    EXPECT_TRUE(is_invalid_ifname(""));
}

TEST(IfnameValidator, Accepts128Characters)
{
    EXPECT_FALSE(is_invalid_ifname(of_length(128)));
}

TEST(IfnameValidator, Refuses129Characters)
{
    EXPECT_TRUE(is_invalid_ifname(of_length(129)));
}

TEST(IfnameValidator, AcceptsLettersDigitsAndThreeSigns)
{
    EXPECT_EQ(accepted_bytes(is_invalid_ifname), sorted(std::string(letters) + digits + "_-."));
}

TEST(IfnameValidator, LooksAtTheFirstCharacter)
{
    EXPECT_EQ(accepted_bytes(is_invalid_ifname, "", "th0"),
              sorted(std::string(letters) + digits + "_-."));
}

TEST(IfnameValidator, LooksAtTheLastCharacter)
{
    EXPECT_EQ(accepted_bytes(is_invalid_ifname, "eth"),
              sorted(std::string(letters) + digits + "_-."));
}

TEST(HexColonValidator, RefusesAnEmptyText)
{
    EXPECT_TRUE(is_invalid_hex_colon("", 4));
}

TEST(HexColonValidator, AcceptsTheLengthGiven)
{
    EXPECT_FALSE(is_invalid_hex_colon("1:ab", 4));
}

TEST(HexColonValidator, RefusesOneMore)
{
    EXPECT_TRUE(is_invalid_hex_colon("1:abc", 4));
}

TEST(HexColonValidator, RefusesEverythingForLengthZero)
{
    EXPECT_TRUE(is_invalid_hex_colon("a", 0));
}

TEST(HexColonValidator, AcceptsHexadecimalDigitsAndColons)
{
    const auto is_invalid = [](const std::string& text) { return is_invalid_hex_colon(text, 4); };
    EXPECT_EQ(accepted_bytes(is_invalid, "a", "b"), sorted(std::string(hex_digits) + ":"));
}

TEST(MacValidator, RefusesAnEmptyText)
{
    EXPECT_TRUE(is_invalid_mac(""));
}

TEST(MacValidator, Accepts18Characters)
{
    EXPECT_FALSE(is_invalid_mac(of_length(18, 'a')));
}

TEST(MacValidator, Refuses19Characters)
{
    EXPECT_TRUE(is_invalid_mac(of_length(19, 'a')));
}

TEST(MacValidator, AcceptsHexadecimalDigitsAndColons)
{
    EXPECT_EQ(accepted_bytes(is_invalid_mac), sorted(std::string(hex_digits) + ":"));
}

TEST(Ipv4TextValidator, Refuses6Characters)
{
    EXPECT_TRUE(is_invalid_ipv4_text("1.2.3."));
}

TEST(Ipv4TextValidator, Accepts7Characters)
{
    EXPECT_FALSE(is_invalid_ipv4_text("1.2.3.4"));
}

TEST(Ipv4TextValidator, Accepts16Characters)
{
    EXPECT_FALSE(is_invalid_ipv4_text(of_length(16)));
}

TEST(Ipv4TextValidator, Refuses17Characters)
{
    EXPECT_TRUE(is_invalid_ipv4_text(of_length(17)));
}

TEST(Ipv4TextValidator, AcceptsDigitsAndDots)
{
    EXPECT_EQ(accepted_bytes(is_invalid_ipv4_text, "1.2", ".3.4"),
              sorted(std::string(digits) + "."));
}

TEST(TextValidator, RefusesAnEmptyText)
{
    EXPECT_TRUE(is_invalid_text(""));
}

TEST(TextValidator, Accepts257Characters)
{
    EXPECT_FALSE(is_invalid_text(of_length(257)));
}

TEST(TextValidator, Refuses258Characters)
{
    EXPECT_TRUE(is_invalid_text(of_length(258)));
}

TEST(TextValidator, AcceptsVisibleCharactersButFive)
{
    EXPECT_EQ(accepted_bytes(is_invalid_text),
              sorted(std::string(letters) + digits + "!\"#$%'()*+,-./:=?@[\\]^_`{}~"));
}

TEST(TextValidator, LooksAtTheLastCharacter)
{
    EXPECT_EQ(accepted_bytes(is_invalid_text, "text"),
              sorted(std::string(letters) + digits + "!\"#$%'()*+,-./:=?@[\\]^_`{}~"));
}

using IsInvalid = bool (*)(const std::string&);

/** Texts that a validator accepts, or refuses. */
struct Verdict {
    const char* validator;
    IsInvalid is_invalid;
    bool refused;
    std::vector<std::string> texts;
};

void PrintTo(const Verdict& verdict, std::ostream* out)
{
    *out << verdict.validator << (verdict.refused ? " refuses" : " accepts");
}

class Texts : public testing::TestWithParam<Verdict>
{
};

TEST_P(Texts, AreJudged)
{
    std::vector<std::string> judged_otherwise;
    for (const std::string& text : GetParam().texts) {
        if (GetParam().is_invalid(text) != GetParam().refused) {
            judged_otherwise.push_back(text);
        }
    }
    EXPECT_EQ(judged_otherwise, std::vector<std::string>{});
}

const std::vector<std::string> ipv6_texts{"::",
                                          "::1",
                                          "1::",
                                          "fe80::1",
                                          "FE80::ABCD",
                                          "2001:db8::1",
                                          "2001:0db8:0000:0000:0000::0001",
                                          "1:2:3:4:5:6:7:8",
                                          "1:2:3:4:5:6:7::",
                                          "::2:3:4:5:6:7:8",
                                          "::ffff:192.0.2.1",
                                          "::192.0.2.1",
                                          "1:2:3:4:5:6:192.0.2.1",
                                          "64:ff9b::192.0.2.33",
                                          "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"};

const std::vector<std::string> no_ipv6_texts{":",
                                             ":::",
                                             "1:",
                                             ":1",
                                             "1::2::3",
                                             "12345::",
                                             "g::",
                                             "1:2:3:4:5:6:7",
                                             "1:2:3:4:5:6:7:8:9",
                                             "1:2:3:4:5:6:7:8::",
                                             "::1/64",
                                             "fe80::1%eth0",
                                             "[::1]",
                                             " ::1",
                                             "::1 ",
                                             "::1\n",
                                             "::1.2.3",
                                             "::1.2.3.256",
                                             "::ffff:1.2.3.4.5",
                                             "1:2:3:4:5:6:7:1.2.3.4",
                                             "::-1",
                                             "::+1",
                                             "::0x1",
                                             "\xb9:\xb9::"};

const std::vector<std::string> ipv4_texts{"0.0.0.0", "255.255.255.255", "192.168.0.5",
                                          // Loose on purpose: these are left to inet_pton.
                                          "1.2.3.4.5", "1234567", ".......", "999.999.999.999",
                                          "1..2..3.", "0000000000000000"};

const std::vector<std::string> no_ipv4_texts{
    "",        "1",        "1.2.3.",  "1.2.3.4 ",  " 1.2.3.4",          "1.2.3.4/8",  "1.2.3.4\n",
    "1.2.3,4", "-1.2.3.4", "a.b.c.d", "0x1.2.3.4", "255.255.255.255.1", "1.2.3.4\xb2"};

std::vector<std::string> operator+(std::vector<std::string> all,
                                   const std::vector<std::string>& more)
{
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    Accepted, Texts,
    testing::Values(
        Verdict{"is_invalid_ifname",
                is_invalid_ifname,
                false,
                {"eth0", "eth0.100", "bond_0", "a-b", "e", "0", ".", "..", "-", "_",
                 "name-longer-than-the-kernel-takes"}},
        Verdict{"is_invalid_mac",
                is_invalid_mac,
                false,
                {"02:1a:2b:ff:00:9c", "02:1A:2b:Ff:00:9C", "a", ":", ":::", "0123456789abcdef",
                 "02:1a:2b:ff:00:9c:"}},
        Verdict{"is_invalid_ipv4_text", is_invalid_ipv4_text, false, ipv4_texts},
        Verdict{"is_invalid_ipv6", is_invalid_ipv6, false, ipv6_texts},
        Verdict{"is_invalid_ip", is_invalid_ip, false, ipv4_texts + ipv6_texts},
        Verdict{"is_invalid_ip_or_any", is_invalid_ip_or_any, false, ipv4_texts + ipv6_texts},
        Verdict{"is_invalid_text",
                is_invalid_text,
                false,
                {"a", "eth0", "$(reboot)", "`reboot`", "\"quoted\"", "'quoted'", "a*b", "a\\b",
                 "a=b", "../../etc", "!"}},
        Verdict{"is_invalid_route_dest",
                is_invalid_route_dest,
                false,
                {"default", "10.0.0.0/24", "10.0.0.0/1", "10.0.0.0/32", "10.0.0.0", "fe80::/64",
                 "::/1", "::1/128", "::1", "fd00::1",
                 // What stands before the slash is not looked at, but for the dot or the colon.
                 "x.y/8", "./8", ":/128", "not an address./8", "&;<>|./8",
                 // Only the number behind the first slash counts, as strtoul reads it.
                 "10.0.0.0/24x", "10.0.0.0/24.5", "10.0.0.0/24/99", "10.0.0.0/ 24", "10.0.0.0/+24",
                 "10.0.0.0/024", "10.0.0.0/24 ",
                 // The dot or the colon may stand behind it.
                 "x/8.", "10.0.0.0/64:", "1.2.3.4.5", "1234567."}}),
    [](const auto& verdict) { return verdict.param.validator; });

INSTANTIATE_TEST_SUITE_P(
    Refused, Texts,
    testing::Values(
        Verdict{"is_invalid_ifname",
                is_invalid_ifname,
                true,
                {"", "eth0:1", "eth 0", " eth0", "eth0\n", "eth/0", "../eth0", "eth0;", "eth*",
                 "\xc3\xa9th0", std::string("eth\0000", 5)}},
        Verdict{"is_invalid_mac",
                is_invalid_mac,
                true,
                {"", "02-1a-2b-ff-00-9c", "02:1g", "02:1a:2b:ff:00:9c:00", "02 1a", "0x02", ".",
                 "02:1a\n"}},
        Verdict{"is_invalid_ipv4_text", is_invalid_ipv4_text, true, no_ipv4_texts},
        Verdict{"is_invalid_ipv6", is_invalid_ipv6, true,
                no_ipv6_texts + std::vector<std::string>{"", "1.2.3.4", "1", "default"}},
        // The colon decides which of the two checks is made.
        Verdict{"is_invalid_ip", is_invalid_ip, true,
                no_ipv6_texts + no_ipv4_texts + std::vector<std::string>{"1.2.3.4:80", "0.0.0.0:"}},
        Verdict{"is_invalid_ip_or_any", is_invalid_ip_or_any, true,
                no_ipv6_texts + no_ipv4_texts +
                    std::vector<std::string>{"0.0.0.0 ", "any", "::0.0"}},
        Verdict{"is_invalid_text",
                is_invalid_text,
                true,
                {"", " ", "a b", "a&b", "a;b", "a<b", "a>b", "a|b", "a\tb", "a\n", "\x7f", "\x80",
                 "\xff", "caf\xc3\xa9", std::string("a\0b", 3)}},
        Verdict{"is_invalid_route_dest",
                is_invalid_route_dest,
                true,
                {"", "Default", "default ", "defaultx", "default/8", "x", "8", "/8", "/", "./",
                 ":/",
                 // The prefix is out of its range.
                 "10.0.0.0/0", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/256", "10.0.0.0/4294967304",
                 "10.0.0.0/18446744073709551624", "fe80::/0", "::1/129",
                 // It is not a number, and thus 0.
                 "10.0.0.0/x24", "10.0.0.0//24", "10.0.0.0/x", "10.0.0.0/ ", "10.0.0.0/:64",
                 "10.0.0.0/0x18",
                 // A slash at the end.
                 "10.0.0.0/", "10.0.0.0/24/", "fe80::/64/",
                 // Without a slash the whole text has to be an address.
                 ".", ":", "x.y", "1.2.3", "fe80::1%eth0", "10.0.0.0 ", "10.0.0.0;"}}),
    [](const auto& verdict) { return verdict.param.validator; });

} // namespace
} // namespace kex::commands
