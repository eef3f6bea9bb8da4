#include "commands/journal/journal_dump.hpp"

#include <gtest/gtest.h>

namespace kex::commands
{
namespace
{

TEST(FormatTimestamp, PadsMicrosecondsToSixDigits)
{
    EXPECT_EQ(format_timestamp(1'294'000'500), "1294.000500");
}

TEST(FormatTimestamp, WritesZero)
{
    EXPECT_EQ(format_timestamp(0), "0.000000");
}

TEST(FormatTimestamp, KeepsTheLastMicrosecondOfASecond)
{
    EXPECT_EQ(format_timestamp(999'999), "0.999999");
}

TEST(FormatTimestamp, TakesTheLargestTime)
{
    EXPECT_EQ(format_timestamp(UINT64_MAX), "18446744073709.551615");
}

} // namespace
} // namespace kex::commands
