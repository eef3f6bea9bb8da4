// The log files are followed through any rotation between two reads.

#include "kexctl/log_files.hpp"

#include "support/temp_dir.hpp"

#include <filesystem>

namespace kex::ctl
{
namespace
{

using Texts = std::vector<std::string>;

class LogFilesTest : public testing::Test
{
  protected:
    void write(const std::string& text)
    {
        std::ofstream(path, std::ios::app) << "[20-Nov 21:43:24] exe_f():1 - " << text << "\n";
    }

    void rotate(const std::string& suffix) { std::filesystem::rename(path, path + suffix); }

    static Texts read(LogFiles& files)
    {
        Texts texts;
        for (const LogMessage& message : files.read()) {
            texts.push_back(message.text);
        }
        return texts;
    }

    test::TempDir folder;
    std::string path = folder.file("kex.log");
    LogFiles files{path};
};

TEST_F(LogFilesTest, ReadsWhatIsNewEachTime)
{
    write("one");
    write("two");
    EXPECT_EQ(read(files), (Texts{"one", "two"}));
    EXPECT_EQ(read(files), Texts{});
    write("three");
    EXPECT_EQ(read(files), Texts{"three"});
}

TEST_F(LogFilesTest, SkipsWhatIsThere)
{
    write("one");
    rotate(".0");
    write("two");
    files.skip();
    write("three");
    EXPECT_EQ(read(files), Texts{"three"});
}

TEST_F(LogFilesTest, ReadsAFileToItsEndAfterItWasMoved)
{
    write("one");
    files.skip();
    write("two");
    rotate(".0");
    write("three");
    EXPECT_EQ(read(files), (Texts{"two", "three"}));
}

TEST_F(LogFilesTest, ReadsAFileToItsEndAfterItWasReplaced)
{
    write("one");
    files.skip();
    write("two");
    rotate(".1");
    write("three");
    rotate(".1");
    write("four");
    EXPECT_EQ(read(files), (Texts{"two", "three", "four"}));
}

TEST_F(LogFilesTest, FollowsManyRotations)
{
    Texts written;
    Texts shown;
    for (int i = 0; i < 50; ++i) {
        written.push_back(std::to_string(i));
        write(written.back());
        const Texts more = read(files);
        shown.insert(shown.end(), more.begin(), more.end());
        rotate(i == 0 ? ".0" : ".1");
    }
    EXPECT_EQ(shown, written);
}

TEST_F(LogFilesTest, KeepsNoFileOpenThatIsGone)
{
    write("one");
    read(files);
    const auto before = test::open_descriptors();
    for (int i = 0; i < 10; ++i) {
        rotate(".1");
        write("more");
        read(files);
    }
    EXPECT_EQ(test::open_descriptors(), before + 1); // ".1"
}

TEST_F(LogFilesTest, FindsAFileThatIsMadeLater)
{
    files.skip();
    EXPECT_TRUE(files.empty());
    write("one");
    EXPECT_FALSE(files.empty());
    EXPECT_EQ(read(files), Texts{"one"});
}

TEST_F(LogFilesTest, TakesNoFolderForAFile)
{
    std::filesystem::create_directory(path);
    EXPECT_TRUE(files.empty());
}

} // namespace
} // namespace kex::ctl
