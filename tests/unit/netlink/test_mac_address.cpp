#include "netlink/mac_address.hpp"

#include <gtest/gtest.h>

namespace kex::netlink
{
namespace
{

TEST(ParseMac, ReadsSixBytes)
{
    EXPECT_EQ(parse_mac("02:1a:2B:ff:00:9c"), (MacAddress{0x02, 0x1a, 0x2b, 0xff, 0x00, 0x9c}));
}

TEST(ParseMac, ReadsSingleDigits)
{
    EXPECT_EQ(parse_mac("2:1:0:a:B:c"), (MacAddress{0x02, 0x01, 0x00, 0x0a, 0x0b, 0x0c}));
}

class RefusedMac : public testing::TestWithParam<const char*>
{
};

TEST_P(RefusedMac, HasNoBytes)
{
    EXPECT_EQ(parse_mac(GetParam()), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Texts, RefusedMac,
                         testing::Values("", "0", ":", "02:1a:2b:ff:00", "021a2bff009c",
                                         "02:1a:2b:ff:00:9g", "02-1a-2b-ff-00-9c",
                                         "02:1a:2b:ff:00:", " 02:1a:2b:ff:00:9c", "02:1a:2b:ff::9c",
                                         "002:1a:2b:ff:00:9c"));

} // namespace
} // namespace kex::netlink
