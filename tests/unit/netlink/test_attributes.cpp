#include "netlink/attributes.hpp"

#include "support/case_name.hpp"
#include "support/wire.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace kex::netlink
{
namespace
{

using test::attribute;
using test::Bytes;
using test::u16;
using test::u32;
using test::zeros;

/** The types of the attributes that a visit of a message meets. */
std::vector<int> visited(const Bytes& attributes, int last = -1)
{
    const Bytes bytes = test::message(24, 0, 1, zeros(sizeof(rtmsg)) + attributes);
    std::vector<int> types;
    visit_attributes<rtmsg>(*reinterpret_cast<const nlmsghdr*>(bytes.data()),
                            [&](const rtattr& visited_one) {
                                types.push_back(visited_one.rta_type);
                                return visited_one.rta_type != last;
                            });
    return types;
}

struct Visit {
    const char* name;
    Bytes attributes;
    std::vector<int> types;
};

void PrintTo(const Visit& visit, std::ostream* out)
{
    *out << visit.name;
}

class VisitAttributes : public testing::TestWithParam<Visit>
{
};

TEST_P(VisitAttributes, MeetsThoseThatFit)
{
    EXPECT_EQ(visited(GetParam().attributes), GetParam().types);
}

INSTANTIATE_TEST_SUITE_P(
    Attributes, VisitAttributes,
    testing::Values(
        Visit{"None", "", {}}, Visit{"One", attribute(1, "abcd"), {1}},
        Visit{
            "Several", attribute(1, "a") + attribute(2, "") + attribute(3, "abcdefgh"), {1, 2, 3}},
        Visit{"LastWithoutItsPadding", attribute(1, "abcd") + u16(5) + u16(2) + "a", {1, 2}},
        Visit{"ThreeBytesLeft", attribute(1, "abcd") + "abc", {1}},
        Visit{"LengthZero", attribute(1, "abcd") + u16(0) + u16(2) + attribute(3, ""), {1}},
        Visit{"LengthBelowAHeader", attribute(1, "abcd") + u16(3) + u16(2) + attribute(3, ""), {1}},
        Visit{"LengthBeyondTheMessage", attribute(1, "abcd") + u16(9) + u16(2) + "abcd", {1}},
        Visit{"LengthFarBeyondTheMessage", u16(0xFFFF) + u16(1) + "abcd", {}}),
    test::case_name);

TEST(VisitAttributesOnce, EndsWhenTheVisitorAsksFor)
{
    EXPECT_EQ(visited(attribute(1, "") + attribute(2, "") + attribute(3, ""), 2),
              (std::vector<int>{1, 2}));
}

TEST(FamilyHeader, IsBehindTheMessageHeader)
{
    const Bytes bytes = test::message(24, 0, 1, "family header");
    const auto& message = *reinterpret_cast<const nlmsghdr*>(bytes.data());
    EXPECT_EQ(reinterpret_cast<const char*>(family_header<rtmsg>(message)), bytes.data() + 16);
}

TEST(FamilyHeader, IsNoneInAMessageThatIsTooShort)
{
    const Bytes bytes = test::message(24, 0, 1, zeros(sizeof(rtmsg) - 1));
    EXPECT_EQ(family_header<rtmsg>(*reinterpret_cast<const nlmsghdr*>(bytes.data())), nullptr);
}

std::optional<uint32_t> payload_of(const Bytes& attribute_bytes)
{
    return u32_payload(*reinterpret_cast<const rtattr*>(attribute_bytes.data()));
}

TEST(U32Payload, IsInHostOrder)
{
    EXPECT_EQ(payload_of(attribute(15, u32(0x01020304))), 0x01020304U);
}

TEST(U32Payload, IsTheBeginningOfALongerOne)
{
    EXPECT_EQ(payload_of(attribute(15, u32(7) + u32(8))), 7U);
}

TEST(U32Payload, IsNoneInAShorterOne)
{
    EXPECT_EQ(payload_of(attribute(15, "abc")), std::nullopt);
}

} // namespace
} // namespace kex::netlink
