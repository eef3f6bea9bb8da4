#include "core/formatted_text.hpp"

#include <gtest/gtest.h>

#include <cwchar>

namespace kex
{
namespace
{

[[gnu::format(printf, 2, 3)]] std::string formatted(std::string_view head, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const FormattedText text(head, format, args);
    va_end(args);
    return std::string(text.view());
}

std::string letters(size_t count)
{
    return std::string(count, 'x');
}

TEST(FormattedText, PutsTheHeadBeforeTheText)
{
    EXPECT_EQ(formatted("[now] ", "%s=%d\n", "answer", 42), "[now] answer=42\n");
}

TEST(FormattedText, WithoutHead)
{
    EXPECT_EQ(formatted({}, "%s", "text"), "text");
}

TEST(FormattedText, WithoutText)
{
    EXPECT_EQ(formatted("[now] ", "%s", ""), "[now] ");
}

TEST(FormattedText, WithoutAnything)
{
    EXPECT_EQ(formatted({}, "%s", ""), "");
}

TEST(FormattedText, FormatThatFailsCountsAsNoText)
{
    const wchar_t no_character[] = {static_cast<wchar_t>(0xd800), 0};
    EXPECT_EQ(formatted("[now] ", "text %ls", no_character), "[now] ");
}

// Around the size of the buffer on the stack: what does not fit must move as a whole.
class FormattedTextOfLength : public testing::TestWithParam<size_t>
{
};

TEST_P(FormattedTextOfLength, IsWholeWithAHead)
{
    const std::string text = letters(GetParam());
    EXPECT_EQ(formatted("head", "%s", text.c_str()), "head" + text);
}

TEST_P(FormattedTextOfLength, IsWholeWithoutAHead)
{
    const std::string text = letters(GetParam());
    EXPECT_EQ(formatted({}, "%s", text.c_str()), text);
}

INSTANTIATE_TEST_SUITE_P(Borders, FormattedTextOfLength,
                         testing::Values(1018, 1019, 1020, 1021, 1022, 1023, 1024, 1025, 1'000'000),
                         testing::PrintToStringParamName());

} // namespace
} // namespace kex
