#include "commands/link/exec.hpp"

#include "core/log.hpp"

#include "support/exec_test.hpp"
#include "support/own_log_folder.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <csignal>

namespace
{

bool fork_fails = false;

} // namespace

// Fails on request: a process of the superuser cannot be kept from forking otherwise.
extern "C" pid_t fork() noexcept
{
    static const auto next = reinterpret_cast<pid_t (*)()>(dlsym(RTLD_NEXT, "fork"));
    if (fork_fails) {
        errno = EAGAIN;
        return -1;
    }
    return next();
}

namespace kex::commands
{
namespace
{

using test::content;
using test::exe_error;
using test::exe_info;
using test::Lines;

class Exec : public test::Exec
{
  protected:
    Exec() = default;
    Exec(const Exec&) = delete;
    Exec& operator=(const Exec&) = delete;
    ~Exec() override { fork_fails = false; }
};

TEST_F(Exec, ReturnsZeroForSuccess)
{
    EXPECT_EQ(run("exit 0"), 0);
}

TEST_F(Exec, ReturnsTheExitCodeUndecoded)
{
    EXPECT_EQ(run("exit 3"), 768);
}

TEST_F(Exec, ReturnsTheLargestExitCodeUndecoded)
{
    EXPECT_EQ(run("exit 255"), 65280);
}

TEST_F(Exec, ReturnsTheNumberOfAKillingSignal)
{
    EXPECT_EQ(run("kill -KILL $$"), SIGKILL);
}

TEST_F(Exec, ReturnsTheNumberOfATerminatingSignal)
{
    EXPECT_EQ(run("kill -TERM $$"), SIGTERM);
}

TEST_F(Exec, WaitsForTheEnd)
{
    EXPECT_EQ(run("sleep 0.2; exit 4"), 1024);
}

TEST_F(Exec, ReapsTheChild)
{
    run("exit 3");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(Exec, MissingProgramIs65280)
{
    EXPECT_EQ(run_program("/no/such/program"), 65280);
}

TEST_F(Exec, FileThatIsNoProgramIs65280)
{
    test::fill(file, "no program");
    EXPECT_EQ(run_program(file.c_str()), 65280);
}

TEST_F(Exec, DoesNotSearchThePath)
{
    EXPECT_EQ(run_program("sh"), 65280);
}

TEST_F(Exec, PassesArgumentsOnAsTheyAre)
{
    const char* const argv[] = {
        "/bin/sh", "-c", "printf '[%s]' \"$@\" >$0", file.c_str(), "a b; c$(d)", "", "*", nullptr};
    exec_cmd(argv, waiting, silent);
    EXPECT_EQ(content(file), "[a b; c$(d)][][*]");
}

TEST_F(Exec, PassesTheProgramOnAsItsOwnName)
{
    run("tr '\\0' '\\n' </proc/$$/cmdline | head -n 1 >$0");
    EXPECT_EQ(content(file), "/bin/sh\n");
}

TEST_F(Exec, PassesTheEnvironmentOn)
{
    setenv("KEX_TEST", "of the parent", 1);
    run("printf %s \"$KEX_TEST\" >$0");
    EXPECT_EQ(content(file), "of the parent");
}

TEST_F(Exec, PassesStandardInputOn)
{
    test::fill(file, "a line\n");
    const int former = dup(STDIN_FILENO);
    const int input = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    dup2(input, STDIN_FILENO);
    close(input);
    run("read -r line; printf %s \"$line\" >$0.out");
    dup2(former, STDIN_FILENO);
    close(former);
    EXPECT_EQ(content(file + ".out"), "a line");
}

TEST_F(Exec, LogsTheElementsEachFollowedByABlank)
{
    const char* const argv[] = {"/bin/true", "-s", "eth0", "autoneg", "on", nullptr};
    exec_cmd(argv, waiting, silent);
    EXPECT_EQ(test::logged(),
              Lines{exe_info("exec_cmd", 503, "Executing command: /bin/true -s eth0 autoneg on ")});
}

TEST_F(Exec, LogsAProgramThatCannotBeRun)
{
    run_program("/no/such/program");
    EXPECT_EQ(test::logged(),
              (Lines{exe_info("exec_cmd", 503, "Executing command: /no/such/program "),
                     exe_error("exec_cmd", 505, "failed to execv")}));
}

TEST_F(Exec, LogsInTheChild)
{
    const pid_t parent = getpid();
    test::on_each_message([&] { test::fill(file, getpid() == parent ? "parent" : "child"); });
    run_program("/bin/true");
    EXPECT_EQ(content(file), "child");
}

TEST_F(Exec, FailedChildRunsTheExitHandlers)
{
    static const pid_t parent = getpid();
    static std::string noted;
    noted = file;
    std::atexit([] {
        if (getpid() != parent) {
            test::fill(noted, "exit handler");
        }
    });
    run_program("/no/such/program");
    EXPECT_EQ(content(file), "exit handler");
}

TEST_F(Exec, ChildLeavesTheRotationOfTheLogToItsParent)
{
    const std::string rotated = test::own_log_file() + ".0";
    for (int number = 0; number < 1500; ++number) {
        log_file().write("filling\n"); // the child's messages are those beyond the maximum
    }
    std::filesystem::remove(rotated);
    run_program("/no/such/program");
    EXPECT_FALSE(std::filesystem::exists(rotated));
}

TEST_F(Exec, FailedFork_ReturnsItsResult)
{
    fork_fails = true;
    EXPECT_EQ(run_program("/bin/true"), -1);
}

TEST_F(Exec, FailedFork_IsLogged)
{
    fork_fails = true;
    run_program("/bin/true");
    EXPECT_EQ(test::logged(), Lines{exe_error("exec_cmd", 511, "failed to fork")});
}

TEST_F(Exec, WithoutWaiting_ReturnsZero)
{
    EXPECT_EQ(run("exit 3", !waiting), 0);
    waitpid(-1, nullptr, 0);
}

TEST_F(Exec, WithoutWaiting_ReturnsZeroForAMissingProgram)
{
    EXPECT_EQ(run_program("/no/such/program", !waiting), 0);
    waitpid(-1, nullptr, 0);
}

TEST_F(Exec, WithoutWaiting_LeavesTheChildToBeReaped)
{
    run("exit 3", !waiting);
    int status = 0;
    waitpid(-1, &status, 0);
    EXPECT_EQ(status, 768);
}

TEST_F(Exec, WithoutWaiting_ReturnsWhileTheChildRuns)
{
    run("while [ ! -e $0 ]; do sleep 0.01; done", !waiting);
    const pid_t ended = waitpid(-1, nullptr, WNOHANG);
    test::fill(file, "");
    waitpid(-1, nullptr, 0);
    EXPECT_EQ(ended, 0);
}

TEST_F(Exec, FailedWait_CountsAsSuccess)
{
    std::signal(SIGCHLD, SIG_IGN); // ended children leave no status
    EXPECT_EQ(run("exit 3"), 0);
}

TEST_F(Exec, InterruptedWait_CountsAsSuccess)
{
    struct sigaction interrupting = {};
    interrupting.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupting, nullptr);
    // Again and again, since the first one may come before the wait has begun.
    const itimerval repeated = {{0, 100'000}, {0, 100'000}};
    setitimer(ITIMER_REAL, &repeated, nullptr);
    const int result = run("while [ ! -e $0 ]; do sleep 0.01; done; exit 3");
    const itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    test::fill(file, "");
    waitpid(-1, nullptr, 0);
    EXPECT_EQ(result, 0);
}

TEST_F(Exec, ListOfWords_IsRunAsItStands)
{
    exec_cmd({"/bin/sh", "-c", "printf '[%s]' \"$@\" >$0", file.c_str(), "one", "two"});
    EXPECT_EQ(content(file), "[one][two]");
}

TEST_F(Exec, ListOfWords_EndsAtANull)
{
    exec_cmd({"/bin/sh", "-c", "printf '[%s]' \"$@\" >$0", file.c_str(), "one", nullptr, "two"});
    EXPECT_EQ(content(file), "[one]");
}

TEST_F(Exec, ListOfWords_IsWaitedFor)
{
    EXPECT_EQ(exec_cmd({"/bin/sh", "-c", "sleep 0.1; exit 3"}), 768);
}

} // namespace
} // namespace kex::commands
