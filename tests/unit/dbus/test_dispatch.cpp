#include "dbus/dispatch.hpp"

#include "core/signals.hpp"
#include "support/noted_handlers.hpp"
#include "support/recorded_log.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace kex::dbus
{
namespace
{

using Calls = std::vector<std::string>;
using test::Lines;

std::string dispatch_line(int level, int line, const std::string& text)
{
    return "<" + std::to_string(level) + "> dbs_executeCommand():" + std::to_string(line) + " - " +
           text + "\n";
}

std::string reaped(int status)
{
    return dispatch_line(6, 172, "reaped a zombie child. status=" + std::to_string(status));
}

class Dispatch : public testing::Test
{
  protected:
    Dispatch()
    {
        test::handler_calls();
        test::forget_log();
    }
    Dispatch(const Dispatch&) = delete;
    Dispatch& operator=(const Dispatch&) = delete;
    ~Dispatch() override
    {
        pending_children = 0;
        while (waitpid(-1, nullptr, 0) > 0) {}
    }

    int32_t execute(CmdID command, const commands::Args& args = {})
    {
        return executeCommand(handler_, command, args);
    }

    /** The messages without those of the command itself. */
    Lines reaping_of(CmdID command)
    {
        execute(command);
        Lines lines = test::logged();
        lines.erase(lines.begin());
        return lines;
    }

    /** A child that has ended with this code and waits to be reaped. */
    static void make_zombie(int code)
    {
        const pid_t pid = fork();
        if (pid == 0) {
            _exit(code);
        }
        siginfo_t ended = {};
        waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT);
    }

  private:
    commands::CommandHandler handler_;
};

TEST_F(Dispatch, LogsNumberAndNameOfTheCommand)
{
    execute(CmdID::LINK_CTRL);
    EXPECT_EQ(
        test::logged(),
        Lines{dispatch_line(4, 71, "command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]")});
}

TEST_F(Dispatch, LogsEveryArgument)
{
    execute(CmdID::LINK_CTRL, {"up", "", "a b\n%s"});
    EXPECT_EQ(test::logged(),
              (Lines{dispatch_line(4, 71, "command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]"),
                     dispatch_line(4, 76, "   args[0]=[up]"), dispatch_line(4, 76, "   args[1]=[]"),
                     dispatch_line(4, 76, "   args[2]=[a b\n%s]")}));
}

TEST_F(Dispatch, LogsBeforeItCallsTheHandler)
{
    Calls called_at_last_line;
    test::on_each_message([&] { called_at_last_line = test::handler_calls(); });
    execute(CmdID::LINK_CTRL, {"up", "eth0"});
    test::on_each_message({});
    EXPECT_EQ(called_at_last_line, Calls{});
}

TEST_F(Dispatch, CallsTheHandlerWithTheArguments)
{
    execute(CmdID::SET_MAC_ADDRESS, {"eth0", "02:1a"});
    EXPECT_EQ(test::handler_calls(), Calls{"set_mac_address(eth0,02:1a)"});
}

TEST_F(Dispatch, CallsTheHandlerWithoutArguments)
{
    execute(CmdID::LINK_CTRL);
    EXPECT_EQ(test::handler_calls(), Calls{"link_control()"});
}

TEST_F(Dispatch, AnswersZeroForAHandlerWithoutResult)
{
    EXPECT_EQ(execute(CmdID::LINK_CTRL), 0);
}

TEST_F(Dispatch, AnswersTheResultOfArping)
{
    EXPECT_EQ(execute(CmdID::SENDARPING), test::arping_result);
}

TEST_F(Dispatch, AnswersZeroToTerminate)
{
    EXPECT_EQ(execute(CmdID::TERMINATE, {"now"}), 0);
}

TEST_F(Dispatch, LogsTheCommandAloneForTerminate)
{
    execute(CmdID::TERMINATE);
    EXPECT_EQ(
        test::logged(),
        Lines{dispatch_line(4, 71, "command[30]=[com.orvel.bmc.network.KEX.CmdID.TERMINATE]")});
}

TEST_F(Dispatch, AnswersZeroToACommandWithoutHandler)
{
    EXPECT_EQ(execute(CmdID::SMARTNIC_INIT), 0);
}

TEST_F(Dispatch, LogsACommandWithoutHandler)
{
    execute(CmdID::UNKNOWN, {"one"});
    EXPECT_EQ(test::logged(),
              (Lines{dispatch_line(4, 71, "command[0]=[com.orvel.bmc.network.KEX.CmdID.UNKNOWN]"),
                     dispatch_line(4, 76, "   args[0]=[one]"), dispatch_line(4, 164, "unknown")}));
}

TEST_F(Dispatch, ThrowsTheNumberOfAValueOutsideTheEnumeration)
{
    std::string what;
    try {
        execute(static_cast<CmdID>(32));
    } catch (const std::invalid_argument& error) {
        what = error.what();
    }
    EXPECT_EQ(what, "32");
}

TEST_F(Dispatch, LetsTheExceptionOfAHandlerPass)
{
    EXPECT_THROW(execute(CmdID::JOURNAL_CTRL, {test::thrown}), std::out_of_range);
}

TEST_F(Dispatch, ReapsNothingAfterAnException)
{
    make_zombie(3);
    pending_children = 1;
    try {
        execute(CmdID::JOURNAL_CTRL, {test::thrown});
    } catch (const std::out_of_range&) {
    }
    EXPECT_EQ(pending_children, 1);
}

TEST_F(Dispatch, Reaping_LogsTheRawStatus)
{
    make_zombie(3);
    pending_children = 1;
    EXPECT_EQ(reaping_of(CmdID::TERMINATE), Lines{reaped(768)});
}

TEST_F(Dispatch, Reaping_DrainsTheCounter)
{
    make_zombie(3);
    pending_children = 1;
    execute(CmdID::TERMINATE);
    EXPECT_EQ(pending_children, 0);
}

TEST_F(Dispatch, Reaping_TakesOneChildForEachSignal)
{
    make_zombie(1);
    make_zombie(1);
    make_zombie(1);
    pending_children = 2;
    EXPECT_EQ(reaping_of(CmdID::TERMINATE), (Lines{reaped(256), reaped(256)}));
}

TEST_F(Dispatch, Reaping_DrainsSignalsWithoutChildren)
{
    make_zombie(1);
    pending_children = 3;
    execute(CmdID::TERMINATE);
    EXPECT_EQ(pending_children, 0);
}

TEST_F(Dispatch, Reaping_LogsNothingForSignalsWithoutChildren)
{
    make_zombie(1);
    pending_children = 3;
    EXPECT_EQ(reaping_of(CmdID::TERMINATE), Lines{reaped(256)});
}

TEST_F(Dispatch, Reaping_LeavesUncountedChildrenAlone)
{
    make_zombie(1);
    EXPECT_EQ(reaping_of(CmdID::TERMINATE), Lines{});
}

TEST_F(Dispatch, Reaping_DoesNotWaitForARunningChild)
{
    const pid_t running = fork();
    if (running == 0) {
        pause();
        _exit(0);
    }
    pending_children = 1;
    const Lines lines = reaping_of(CmdID::TERMINATE);
    kill(running, SIGKILL);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(Dispatch, Reaping_FollowsACommandWithoutHandler)
{
    make_zombie(0);
    pending_children = 1;
    EXPECT_EQ(reaping_of(CmdID::UNKNOWN), (Lines{dispatch_line(4, 164, "unknown"), reaped(0)}));
}

TEST_F(Dispatch, Reaping_LeavesTheResultAlone)
{
    make_zombie(3);
    pending_children = 1;
    EXPECT_EQ(execute(CmdID::SENDARPING), test::arping_result);
}

TEST_F(Dispatch, Reaping_CountsASignalThatComesMeanwhile)
{
    make_zombie(1);
    make_zombie(1);
    pending_children = 1;
    int messages = 0;
    test::on_each_message([&] {
        if (++messages == 2) { // the first child's, behind the command's
            ++pending_children;
        }
    });
    const Lines lines = reaping_of(CmdID::TERMINATE);
    test::on_each_message({});
    EXPECT_EQ(lines, (Lines{reaped(256), reaped(256)}));
}

} // namespace
} // namespace kex::dbus
