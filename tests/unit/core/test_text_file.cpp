#include "core/text_file.hpp"

#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

namespace kex
{
namespace
{

using test::content;
using test::fill;

class TextFile : public testing::Test
{
  protected:
    test::TempDir folder_;
    std::string path_ = folder_.file("setting");
};

TEST_F(TextFile, WriteSetting_WritesValueAndLineFeed)
{
    write_setting(path_, "1000");
    EXPECT_EQ(content(path_), "1000\n");
}

TEST_F(TextFile, WriteSetting_WritesOverWhatWasThere)
{
    fill(path_, "a longer value\nand a line\n");
    write_setting(path_, "1");
    EXPECT_EQ(content(path_), "1\n");
}

TEST_F(TextFile, WriteSetting_WritesALineFeedForAnEmptyValue)
{
    write_setting(path_, "");
    EXPECT_EQ(content(path_), "\n");
}

TEST_F(TextFile, WriteSetting_LeavesFormatCharactersAlone)
{
    write_setting(path_, "100%s%n");
    EXPECT_EQ(content(path_), "100%s%n\n");
}

TEST_F(TextFile, WriteSetting_CountsTheLineFeed)
{
    EXPECT_EQ(write_setting(path_, "1000"), 5);
}

TEST_F(TextFile, WriteSetting_FileThatCannotBeOpened)
{
    EXPECT_EQ(write_setting(folder_.file("no/setting"), "1000"), std::nullopt);
}

TEST_F(TextFile, WriteSetting_RefusalOfTheValueDoesNotShow)
{
    // Every write to this device fails with "no space left".
    EXPECT_EQ(write_setting("/dev/full", "1000"), 5);
}

TEST_F(TextFile, WriteSetting_IsOneWrite)
{
    // The kernel takes each write to this file as the thread's whole new name.
    const std::string name = "/proc/thread-self/comm";
    const std::string former = content(name);
    write_setting(name, "one");
    EXPECT_EQ(content(name), "one\n\n");
    fill(name, former);
}

TEST_F(TextFile, WriteSetting_ClosesTheFile)
{
    const auto before = test::open_descriptors();
    write_setting(path_, "1000");
    EXPECT_EQ(test::open_descriptors(), before);
}

struct FirstLineCase {
    std::string content;
    bool read;
    std::string text;
};

void PrintTo(const FirstLineCase& line, std::ostream* out)
{
    *out << testing::PrintToString(line.content.substr(0, 20));
}

class FirstLineOf : public testing::TestWithParam<FirstLineCase>
{
  protected:
    FirstLineOf()
    {
        fill(folder_.file("file"), GetParam().content);
        line_ = read_first_line(folder_.file("file"));
    }

    test::TempDir folder_;
    FirstLine line_{};
};

TEST_P(FirstLineOf, IsOpened)
{
    EXPECT_TRUE(line_.opened);
}

TEST_P(FirstLineOf, IsReadWhenThereIsAnything)
{
    EXPECT_EQ(line_.read, GetParam().read);
}

TEST_P(FirstLineOf, IsTheTextUpToTheLineFeed)
{
    EXPECT_EQ(line_.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Contents, FirstLineOf,
    testing::Values(FirstLineCase{"", false, ""}, FirstLineCase{"\n", true, ""},
                    FirstLineCase{"up\n", true, "up"}, FirstLineCase{"up", true, "up"},
                    FirstLineCase{"up\r\n", true, "up\r"}, FirstLineCase{" up \n", true, " up "},
                    FirstLineCase{"first\nsecond\n", true, "first"},
                    FirstLineCase{"\nsecond\n", true, ""}, FirstLineCase{"\n\n", true, ""},
                    FirstLineCase{std::string("a\0b\nc", 5), true, std::string("a\0b", 3)},
                    FirstLineCase{std::string(100'000, 'x') + "\ny", true,
                                  std::string(100'000, 'x')}));

TEST_F(TextFile, ReadFirstLine_MissingFileIsNotOpened)
{
    EXPECT_FALSE(read_first_line(path_).opened);
}

TEST_F(TextFile, ReadFirstLine_MissingFileIsNotRead)
{
    EXPECT_FALSE(read_first_line(path_).read);
}

TEST_F(TextFile, ReadFirstLine_FolderIsOpened)
{
    EXPECT_TRUE(read_first_line(folder_.path()).opened);
}

TEST_F(TextFile, ReadFirstLine_FolderIsNotRead)
{
    EXPECT_FALSE(read_first_line(folder_.path()).read);
}

TEST_F(TextFile, ReadFirstLine_ClosesTheFile)
{
    fill(path_, "up\n");
    const auto before = test::open_descriptors();
    read_first_line(path_);
    EXPECT_EQ(test::open_descriptors(), before);
}

} // namespace
} // namespace kex
