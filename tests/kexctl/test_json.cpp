#include "kexctl/json.hpp"

#include <gtest/gtest.h>

namespace kex::ctl
{
namespace
{

std::string printed(const Json& json)
{
    testing::internal::CaptureStdout();
    print_line(json);
    return testing::internal::GetCapturedStdout();
}

TEST(Json, IsOneLineInTheOrderOfItsMembers)
{
    EXPECT_EQ(printed({{"b", 1}, {"a", {true, "x"}}}), "{\"b\":1,\"a\":[true,\"x\"]}\n");
}

TEST(Json, ReplacesWhatIsNoUtf8)
{
    EXPECT_EQ(printed({"a\xff\xc3\xa9"}), "[\"a\xef\xbf\xbd\xc3\xa9\"]\n");
}

} // namespace
} // namespace kex::ctl
