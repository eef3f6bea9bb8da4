#include "core/log_file.hpp"

#include "core/signals.hpp"
#include "core/unique_fd.hpp"
#include "support/log_file_test.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>

namespace kex
{
namespace
{

using test::content;
using test::fill;
using test::still_stamp;
using test::still_time;

class LogFileWrite : public test::LogFileTest
{
};

TEST_F(LogFileWrite, PutsTheStampInBrackets)
{
    make().write("hello\n");
    EXPECT_EQ(content(path), "[05-Mar 07:08:09] hello\n");
}

TEST_F(LogFileWrite, StampsEachMessageWithItsTime)
{
    LogFile log = make();
    log.write("first\n");
    set_clock(still_time + 1);
    log.write("second\n");
    EXPECT_EQ(content(path), "[05-Mar 07:08:09] first\n[05-Mar 07:08:10] second\n");
}

TEST_F(LogFileWrite, StampShowsTwoDigitDayAndAbbreviatedMonth)
{
    set_clock(1735689599); // the last second of 2024
    make().write("late\n");
    EXPECT_EQ(content(path), "[31-Dec 23:59:59] late\n");
}

TEST_F(LogFileWrite, StampIsLocalTime)
{
    setenv("TZ", "XXX-05:30", 1);
    make().write("east\n");
    EXPECT_EQ(content(path), "[05-Mar 12:38:09] east\n");
}

TEST_F(LogFileWrite, StampFollowsAChangedTimeZone)
{
    LogFile log = make();
    log.write("here\n");
    setenv("TZ", "XXX+02", 1);
    set_clock(still_time + 1);
    log.write("there\n");
    EXPECT_EQ(content(path), "[05-Mar 07:08:09] here\n[05-Mar 05:08:10] there\n");
}

TEST_F(LogFileWrite, FormatsTheMessage)
{
    make().write("%s_%s():%d - rc=%u\n", "exe", "operation", 42, 7U);
    EXPECT_EQ(texts(path), std::vector<std::string>{"exe_operation():42 - rc=7"});
}

TEST_F(LogFileWrite, AddsNoNewline)
{
    LogFile log = make();
    log.write("one");
    log.write("two");
    EXPECT_EQ(content(path), std::string(still_stamp) + "one" + still_stamp + "two");
}

TEST_F(LogFileWrite, AppendsToWhatIsThere)
{
    fill(path, "of an earlier run\n");
    make().write("new\n");
    EXPECT_EQ(content(path), std::string("of an earlier run\n") + still_stamp + "new\n");
}

TEST_F(LogFileWrite, MessageWithoutTextLeavesStampAndBlank)
{
    make().write("%s", "");
    EXPECT_EQ(content(path), still_stamp);
}

TEST_F(LogFileWrite, FormatThatFailsLeavesStampAndBlank)
{
    const wchar_t no_character[] = {static_cast<wchar_t>(0xd800), 0};
    make().write("text %ls", no_character);
    EXPECT_EQ(content(path), still_stamp);
}

TEST_F(LogFileWrite, MegabyteArrivesWhole)
{
    const std::string text(1024 * 1024, 'x');
    make().write("%s\n", text.c_str());
    EXPECT_TRUE(content(path) == still_stamp + text + "\n")
        << "got " << content(path).size() << " bytes";
}

TEST_F(LogFileWrite, MissingFolderIsSilent)
{
    LogFile log(folder.file("no/kex.log"), "nobody", usual_max, true);
    log.write("lost\n");
    EXPECT_FALSE(std::filesystem::exists(folder.file("no")));
}

TEST_F(LogFileWrite, FolderMadeLaterIsUsed)
{
    LogFile log(folder.file("late/kex.log"), "nobody", usual_max, true);
    log.write("lost\n");
    std::filesystem::create_directory(folder.file("late"));
    log.write("kept\n");
    EXPECT_EQ(texts(folder.file("late/kex.log")), std::vector<std::string>{"kept"});
}

TEST_F(LogFileWrite, RemovedFileIsCreatedAnew)
{
    LogFile log = make();
    log.write("lost\n");
    std::filesystem::remove(path);
    log.write("kept\n");
    EXPECT_EQ(texts(path), std::vector<std::string>{"kept"});
}

TEST_F(LogFileWrite, FolderInPlaceOfTheFileIsLeftAlone)
{
    std::filesystem::create_directory(path);
    make().write("lost\n");
    EXPECT_TRUE(std::filesystem::is_empty(path));
}

TEST_F(LogFileWrite, FifoWithoutReaderDoesNotBlock)
{
    mkfifo(path.c_str(), 0600);
    make().write("lost\n"); // a write that waits for a reader never comes back
    EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST_F(LogFileWrite, FifoWithAReaderGetsTheMessage)
{
    mkfifo(path.c_str(), 0600);
    const UniqueFd reader(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    make().write("kept\n");
    std::array<char, 64> buffer{};
    const ssize_t size = read(reader.get(), buffer.data(), buffer.size());
    EXPECT_EQ(std::string(buffer.data(), size < 0 ? 0 : static_cast<size_t>(size)),
              std::string(still_stamp) + "kept\n");
}

TEST_F(LogFileWrite, ClosesTheFile)
{
    LogFile log = make();
    const auto before = test::open_descriptors();
    log.write("one\n");
    log.write("two\n");
    EXPECT_EQ(test::open_descriptors(), before);
}

class LogFileConstruction : public test::LogFileTest
{
  protected:
    [[nodiscard]] unsigned permissions() const
    {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_mode & 07777U;
    }
};

TEST_F(LogFileConstruction, CreatesAnEmptyFile)
{
    make();
    EXPECT_TRUE(std::filesystem::is_regular_file(path) && std::filesystem::is_empty(path));
}

TEST_F(LogFileConstruction, KeepsWhatIsThere)
{
    fill(path, "of an earlier run\n");
    make();
    EXPECT_EQ(content(path), "of an earlier run\n");
}

TEST_F(LogFileConstruction, NewFileIsForOwnerAndGroup)
{
    umask(077);
    make();
    EXPECT_EQ(permissions(), 0664U);
}

TEST_F(LogFileConstruction, AddsPermissionsToThoseThere)
{
    fill(path, "");
    chmod(path.c_str(), 0711);
    make();
    EXPECT_EQ(permissions(), 0775U);
}

TEST_F(LogFileConstruction, KeepsTheStickyBit)
{
    fill(path, "");
    chmod(path.c_str(), 01600);
    make();
    EXPECT_EQ(permissions(), 01664U);
}

TEST_F(LogFileConstruction, FileCreatedByAWriteHasNoPermissionsAdded)
{
    LogFile log = make();
    std::filesystem::remove(path);
    umask(077);
    log.write("new\n");
    EXPECT_EQ(permissions(), 0600U);
}

TEST_F(LogFileConstruction, GivesTheFileToItsOwner)
{
    const LogFile log(path, test::known_owner, usual_max, true);
    EXPECT_EQ(given_to(), std::vector<std::string>{"4242:4343"});
}

TEST_F(LogFileConstruction, GivesTheFileToNobodyWithoutSuchAUser)
{
    const LogFile log(path, "nobody-of-this-name", usual_max, true);
    EXPECT_EQ(given_to(), std::vector<std::string>{});
}

TEST_F(LogFileConstruction, IsSilentAboutAMissingFolder)
{
    EXPECT_NO_THROW(LogFile(folder.file("no/kex.log"), test::known_owner, usual_max, true));
}

TEST_F(LogFileConstruction, ClosesTheFile)
{
    const auto before = test::open_descriptors();
    make();
    EXPECT_EQ(test::open_descriptors(), before);
}

} // namespace
} // namespace kex
