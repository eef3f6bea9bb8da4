#include "kexctl/json.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace kex::ctl
{
namespace
{

std::string printed(const Json& json)
{
    testing::internal::CaptureStdout();
    json.print();
    return testing::internal::GetCapturedStdout();
}

/** The text as the only one of an array. */
std::string as_json(std::string_view text)
{
    Json json;
    json.begin_array().text({}, text).end_array();
    return printed(json);
}

TEST(Json, SeparatesMembersAndElements)
{
    Json json;
    json.begin_object().text("a", "b").number("n", -1).flag("f", true);
    json.begin_array("e").end_array().texts("t", std::vector<std::string>{"x", "y"});
    json.begin_object("o").end_object().flag("g", false).end_object();
    EXPECT_EQ(printed(json), R"({"a": "b", "n": -1, "f": true, "e": [], "t": ["x", "y"], )"
                             R"("o": {}, "g": false})"
                             "\n");
}

TEST(Json, EscapesWhatATextMustNotHold)
{
    EXPECT_EQ(as_json("\"\\/\n\t\x1f\x7f"), "[\"\\\"\\\\/\\u000a\\u0009\\u001f\x7f\"]\n");
}

TEST(Json, KeepsUtf8)
{
    const std::string text = "\xc2\x80 \xdf\xbf \xe0\xa0\x80 \xef\xbf\xbf \xf0\x90\x80\x80 "
                             "\xf4\x8f\xbf\xbf";
    EXPECT_EQ(as_json(text), "[\"" + text + "\"]\n");
}

TEST(Json, ReplacesEachByteThatIsNoUtf8)
{
    const std::string replaced = "\xef\xbf\xbd";
    struct Case {
        std::string bytes;
        int replacements;
    };
    const std::vector<Case> cases{
        {"\x80", 1},             // a continuation alone
        {"\xff", 1},             // never in UTF-8
        {"\xc3", 1},             // cut off
        {"\xc0\xaf", 2},         // longer than needed
        {"\xe0\x80\xaf", 3},     // the same, of three bytes
        {"\xf0\x80\x80\xaf", 4}, // the same, of four bytes
        {"\xed\xa0\x80", 3},     // a surrogate
        {"\xf4\x90\x80\x80", 4}, // beyond the last code point
    };
    for (const Case& each : cases) {
        std::string expected;
        for (int i = 0; i < each.replacements; ++i) {
            expected += replaced;
        }
        EXPECT_EQ(as_json(each.bytes + "x"), "[\"" + expected + "x\"]\n");
    }
}

} // namespace
} // namespace kex::ctl
