#include "core/number.hpp"

#include <gtest/gtest.h>

#include <climits>

namespace kex
{
namespace
{

struct Reading {
    std::string text;
    std::optional<unsigned long> whole;
    unsigned long leading;
};

void PrintTo(const Reading& reading, std::ostream* out)
{
    *out << testing::PrintToString(reading.text);
}

class Number : public testing::TestWithParam<Reading>
{
};

TEST_P(Number, WholeNumber)
{
    EXPECT_EQ(whole_number(GetParam().text), GetParam().whole);
}

TEST_P(Number, LeadingNumber)
{
    EXPECT_EQ(leading_number(GetParam().text), GetParam().leading);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Number,
    testing::Values(
        // What strtoul reads to its end.
        Reading{"0", 0, 0}, Reading{"255", 255, 255}, Reading{"007", 7, 7},
        Reading{"18446744073709551615", ULONG_MAX, ULONG_MAX}, Reading{" 6", 6, 6},
        Reading{"\t\n\v\f\r 6", 6, 6}, Reading{"+6", 6, 6}, Reading{"-0", 0, 0},
        Reading{"-1", ULONG_MAX, ULONG_MAX}, Reading{"-18446744073709551615", 1, 1},
        // One that is too large reads as the largest.
        Reading{"18446744073709551616", ULONG_MAX, ULONG_MAX},
        Reading{"99999999999999999999999999", ULONG_MAX, ULONG_MAX},
        // Something behind the number.
        Reading{"24x", {}, 24}, Reading{"24 ", {}, 24}, Reading{"24\n", {}, 24},
        Reading{"1.5", {}, 1}, Reading{"0x10", {}, 0}, Reading{"1e3", {}, 1},
        Reading{"1,000", {}, 1}, Reading{std::string("24\0", 3), {}, 24},
        Reading{std::string("24\0008", 4), {}, 24},
        // No number.
        Reading{"", {}, 0}, Reading{" ", {}, 0}, Reading{"x24", {}, 0}, Reading{"abc", {}, 0},
        Reading{"+", {}, 0}, Reading{"-", {}, 0}, Reading{"--1", {}, 0}, Reading{"+-1", {}, 0},
        Reading{"- 1", {}, 0}, Reading{std::string("\0", 1), {}, 0}, Reading{"\xb2", {}, 0}));

} // namespace
} // namespace kex
