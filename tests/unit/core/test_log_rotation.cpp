// The rotation of the log file, a subject of its own.

#include "core/log_file.hpp"
#include "core/signals.hpp"
#include "support/log_file_test.hpp"

#include <sys/stat.h>

namespace kex
{
namespace
{

using test::content;
using test::fill;

class LogRotation : public test::LogFileTest
{
  protected:
    /** Writes the numbers from first to last, a message each. */
    static void write_numbers(LogFile& log, int first, int last)
    {
        for (int number = first; number <= last; ++number) {
            log.write("%d\n", number);
        }
    }

    static std::vector<std::string> numbers(int first, int last)
    {
        std::vector<std::string> all;
        for (int number = first; number <= last; ++number) {
            all.push_back(std::to_string(number));
        }
        return all;
    }

    std::string first = path + ".0";
    std::string later = path + ".1";
};

TEST_F(LogRotation, Message1501GoesIntoTheCurrentFile)
{
    LogFile log = make(1500);
    write_numbers(log, 1, 1501);
    EXPECT_EQ(texts(path), numbers(1, 1501));
}

TEST_F(LogRotation, Message1501RotatesNothing)
{
    LogFile log = make(1500);
    write_numbers(log, 1, 1501);
    EXPECT_FALSE(std::filesystem::exists(first));
}

TEST_F(LogRotation, Message1502IsTheFirstOfANewFile)
{
    LogFile log = make(1500);
    write_numbers(log, 1, 1502);
    EXPECT_EQ(texts(path), numbers(1502, 1502));
}

TEST_F(LogRotation, Message1502LeavesTheOthersInTheFirstFile)
{
    LogFile log = make(1500);
    write_numbers(log, 1, 1502);
    EXPECT_EQ(texts(first), numbers(1, 1501));
}

// With at most two messages, each file takes three: the number is compared before a message is
// written, and strictly.
TEST_F(LogRotation, SecondRotationGoesToTheLaterFile)
{
    LogFile log = make(2);
    write_numbers(log, 1, 7);
    EXPECT_EQ(texts(later), numbers(4, 6));
}

TEST_F(LogRotation, ThirdRotationReplacesTheLaterFile)
{
    LogFile log = make(2);
    write_numbers(log, 1, 10);
    EXPECT_EQ(texts(later), numbers(7, 9));
}

TEST_F(LogRotation, FirstFileIsKeptForGood)
{
    LogFile log = make(2);
    write_numbers(log, 1, 100);
    EXPECT_EQ(texts(first), numbers(1, 3));
}

TEST_F(LogRotation, ThereAreNeverMoreThanThreeFiles)
{
    LogFile log = make(2);
    write_numbers(log, 1, 100);
    const std::filesystem::directory_iterator files(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 3);
}

TEST_F(LogRotation, FirstRotationReplacesTheFileOfAnEarlierRun)
{
    fill(first, "of an earlier run\n");
    LogFile log = make(2);
    write_numbers(log, 1, 4);
    EXPECT_EQ(texts(first), numbers(1, 3));
}

TEST_F(LogRotation, LinesOfAnEarlierRunAreNotCounted)
{
    fill(path, "a\nb\nc\nd\n");
    LogFile log = make(2);
    write_numbers(log, 1, 3);
    EXPECT_FALSE(std::filesystem::exists(first));
}

TEST_F(LogRotation, MessageWithoutTextCounts)
{
    LogFile log = make(2);
    for (int i = 0; i < 3; ++i) {
        log.write("%s", "");
    }
    log.write("new\n");
    EXPECT_EQ(texts(path), std::vector<std::string>{"new"});
}

TEST_F(LogRotation, DroppedMessagesDoNotCount)
{
    const std::string late = folder.file("late");
    LogFile log(late + "/kex.log", "nobody", 2, true);
    write_numbers(log, 1, 10);
    std::filesystem::create_directory(late);
    write_numbers(log, 11, 13);
    EXPECT_EQ(texts(late + "/kex.log"), numbers(11, 13));
}

TEST_F(LogRotation, WithoutRotationTheFileGrows)
{
    LogFile log = make(2, false);
    write_numbers(log, 1, 100);
    EXPECT_EQ(texts(path), numbers(1, 100));
}

TEST_F(LogRotation, LeftToTheParentTheFileGrows)
{
    LogFile log = make(2);
    log.leave_rotation_to_parent();
    write_numbers(log, 1, 100);
    EXPECT_EQ(texts(path), numbers(1, 100));
}

TEST_F(LogRotation, WithNoMessagesAllowedEveryFileTakesOne)
{
    LogFile log = make(0);
    write_numbers(log, 1, 2);
    EXPECT_EQ(texts(first), numbers(1, 1));
}

TEST_F(LogRotation, RenameThatFailsLosesNoMessage)
{
    std::filesystem::create_directories(first + "/occupied");
    LogFile log = make(2);
    write_numbers(log, 1, 4);
    EXPECT_EQ(texts(path), numbers(1, 4));
}

TEST_F(LogRotation, RenameThatFailsHasBeenTheFirst)
{
    std::filesystem::create_directories(first + "/occupied");
    LogFile log = make(2);
    write_numbers(log, 1, 7);
    EXPECT_EQ(texts(later), numbers(1, 6));
}

TEST_F(LogRotation, RemovedFileLosesNothingElse)
{
    LogFile log = make(2);
    write_numbers(log, 1, 3);
    std::filesystem::remove(path);
    write_numbers(log, 4, 4);
    EXPECT_EQ(texts(path), numbers(4, 4));
}

TEST_F(LogRotation, NewFileIsForOwnerAndGroup)
{
    LogFile log = make(2);
    umask(077);
    write_numbers(log, 1, 4);
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777U, 0664U);
}

TEST_F(LogRotation, NewFileIsGivenToTheOwner)
{
    LogFile log(path, test::known_owner, 2, true);
    write_numbers(log, 1, 4);
    EXPECT_EQ(given_to(), (std::vector<std::string>{"4242:4343", "4242:4343"}));
}

TEST_F(LogRotation, InASignalHandlerTheOwnerKnownIsGivenTheFile)
{
    LogFile log(path, test::known_owner, 2, true);
    const SignalHandlerScope scope;
    write_numbers(log, 1, 4);
    EXPECT_EQ(given_to(), (std::vector<std::string>{"4242:4343", "4242:4343"}));
}

TEST_F(LogRotation, InASignalHandlerTheOwnerIsNotLookedUp)
{
    LogFile log(path, test::known_owner, 2, true);
    const int before = owner_lookups();
    const SignalHandlerScope scope;
    write_numbers(log, 1, 4);
    EXPECT_EQ(owner_lookups(), before);
}

} // namespace
} // namespace kex
