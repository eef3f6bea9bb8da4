#include "core/log.hpp"

#include "support/own_log_folder.hpp"
#include "support/recorded_log.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <regex>

namespace kex
{
namespace
{

using test::content;
using test::Lines;
using test::own_log_file;

constexpr const char* module_tag = "tst";

void failing_operation()
{
    LOG_ERROR_AT(11, "rc=%d\n", -19);
}

class Log : public testing::Test
{
  protected:
    Log() { test::forget_log(); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log() override { test::on_each_message({}); }

    /** What this test has added to the file of the process. */
    [[nodiscard]] std::string added() const { return content(own_log_file()).substr(former_size_); }

    [[nodiscard]] std::string added_without_stamp() const
    {
        constexpr size_t length = 18;
        static const std::regex stamp("\\[[0-9]{2}-[A-Z][a-z]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ");
        const std::string text = added();
        return std::regex_match(text.substr(0, length), stamp) ? text.substr(length) : text;
    }

  private:
    size_t former_size_ = content(own_log_file()).size();
};

TEST_F(Log, LogMessage_GoesToTheLibrary)
{
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s=%d\n", "answer", 7);
    EXPECT_EQ(test::logged(), Lines{"<4> tst_operation():42 - answer=7\n"});
}

TEST_F(Log, LogMessage_GoesToTheFile)
{
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s=%d\n", "answer", 7);
    EXPECT_EQ(added_without_stamp(), "tst_operation():42 - answer=7\n");
}

TEST_F(Log, LogMessage_GoesToTheLibraryFirst)
{
    std::string in_file = "not called";
    test::on_each_message([&] { in_file = added(); });
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(in_file, "");
}

TEST_F(Log, LogMessage_GoesToTheLibraryWhenTheFileCannotBeOpened)
{
    const std::string aside = own_log_file() + ".aside";
    std::filesystem::rename(own_log_file(), aside);
    std::filesystem::create_directory(own_log_file());
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    std::filesystem::remove(own_log_file());
    std::filesystem::rename(aside, own_log_file());
    EXPECT_EQ(test::logged(), Lines{"<4> tst_operation():42 - text\n"});
}

TEST_F(Log, LogMessage_TakesATextOfAMegabyte)
{
    const std::string text(1024 * 1024, 'x');
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", text.c_str());
    EXPECT_TRUE(added_without_stamp() == "tst_operation():42 - " + text + "\n");
}

TEST_F(Log, LogTrace_GoesToTheLibrary)
{
    log_trace(5, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(test::logged(), Lines{"<5> tst_operation():42 - text\n"});
}

TEST_F(Log, LogTrace_LeavesTheFileAlone)
{
    log_trace(5, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(added(), "");
}

TEST_F(Log, LogMessage_KeepsErrno)
{
    test::on_each_message([] { errno = EIO; });
    errno = ENOENT;
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Log, LogTrace_KeepsErrno)
{
    test::on_each_message([] { errno = EIO; });
    errno = ENOENT;
    log_trace(5, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(errno, ENOENT);
}

int handled = 0;

extern "C" void note_signal(int /*number*/)
{
    ++handled;
}

class LogPutsOff : public Log, public testing::WithParamInterface<int>
{
  protected:
    LogPutsOff()
    {
        install_signal_handlers(note_signal);
        test::on_each_message([this] {
            handled = 0;
            std::raise(GetParam());
            handled_meanwhile_ = handled;
        });
    }
    LogPutsOff(const LogPutsOff&) = delete;
    LogPutsOff& operator=(const LogPutsOff&) = delete;
    ~LogPutsOff() override
    {
        for (const int number : {SIGINT, SIGTERM, SIGCHLD}) {
            std::signal(number, SIG_DFL);
        }
    }

    int handled_meanwhile_ = -1;
};

TEST_P(LogPutsOff, TheSignalDuringAMessage)
{
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(handled_meanwhile_, 0);
}

TEST_P(LogPutsOff, TheSignalDuringATrace)
{
    log_trace(5, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(handled_meanwhile_, 0);
}

TEST_P(LogPutsOff, TheSignalToTheEndOfTheMessage)
{
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    EXPECT_EQ(handled, 1);
}

TEST_P(LogPutsOff, NoSignalAfterTheMessage)
{
    log_message(4, "tst", "operation", 42, "%s_%s():%d - %s\n", "text");
    std::raise(GetParam());
    EXPECT_EQ(handled, 2);
}

INSTANTIATE_TEST_SUITE_P(Signals, LogPutsOff, testing::Values(SIGINT, SIGTERM, SIGCHLD));

TEST_F(Log, Error_HasLevelTwoAndItsWord)
{
    failing_operation();
    EXPECT_EQ(test::logged(), Lines{"<2> tst_failing_operation():11 - ERROR - rc=-19\n"});
}

TEST_F(Log, Error_HasTheLineOfItsPlace)
{
    const int line = __LINE__ + 1;
    LOG_ERROR("text\n");
    EXPECT_EQ(test::logged(),
              Lines{"<2> tst_TestBody():" + std::to_string(line) + " - ERROR - text\n"});
}

TEST_F(Log, Error_UnderAnotherName)
{
    LOG_ERROR_AS("operation", 12, "text %s\n", "more");
    EXPECT_EQ(test::logged(), Lines{"<2> tst_operation():12 - ERROR - text more\n"});
}

TEST_F(Log, Warning_HasLevelThreeAndItsWord)
{
    LOG_WARNING_AT(13, "text %s\n", "more");
    EXPECT_EQ(test::logged(), Lines{"<3> tst_TestBody():13 - WARN - text more\n"});
}

TEST_F(Log, Information_HasLevelFour)
{
    LOG_INFO_AT(14, "text %s\n", "more");
    EXPECT_EQ(test::logged(), Lines{"<4> tst_TestBody():14 - text more\n"});
}

TEST_F(Log, Information_HasTheLineOfItsPlace)
{
    const int line = __LINE__ + 1;
    LOG_INFO("text\n");
    EXPECT_EQ(test::logged(), Lines{"<4> tst_TestBody():" + std::to_string(line) + " - text\n"});
}

TEST_F(Log, Information_UnderAnotherName)
{
    LOG_INFO_AS("operation", 15, "text %s\n", "more");
    EXPECT_EQ(test::logged(), Lines{"<4> tst_operation():15 - text more\n"});
}

TEST_F(Log, Trace_HasLevelFive)
{
    LOG_TRACE_AT(16, "text %s\n", "more");
    EXPECT_EQ(test::logged(), Lines{"<5> tst_TestBody():16 - text more\n"});
}

TEST_F(Log, Trace_LeavesTheFileAlone)
{
    LOG_TRACE("text\n");
    EXPECT_EQ(added(), "");
}

TEST_F(Log, Reaping_HasLevelSix)
{
    EXPECT_EQ(level_reaping, 6);
}

TEST_F(Log, Macro_EvaluatesItsArgumentsOnce)
{
    int calls = 0;
    LOG_INFO("%d\n", ++calls);
    EXPECT_EQ(calls, 1);
}

TEST_F(Log, FileOfTheProcess_IsTheDaemons)
{
    EXPECT_STREQ(log_file_path, "/run/tirvad/kex.log");
}

TEST_F(Log, FileOfTheProcess_IsRotatedAfter1501Messages)
{
    // The messages of the tests before this one are in the file too.
    const std::string rotated = own_log_file() + ".0";
    for (int number = 0; number < 2000 && !std::filesystem::exists(rotated); ++number) {
        log_message(4, "tst", "operation", number, "%s_%s():%d - %s\n", "text");
    }
    const std::string lines = content(rotated);
    EXPECT_EQ(std::ranges::count(lines, '\n'), 1501);
}

} // namespace
} // namespace kex
