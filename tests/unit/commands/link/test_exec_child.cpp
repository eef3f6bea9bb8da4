// What the child of exec_cmd has of its parent: descriptors and signals.

#include "commands/link/exec.hpp"

#include "core/signals.hpp"
#include "support/exec_test.hpp"
#include "support/forked.hpp"

#include <sys/resource.h>

namespace kex::commands
{
namespace
{

using test::Exec;

TEST_F(Exec, Silence_KeepsStandardOutputBack)
{
    EXPECT_EQ(output_of(STDOUT_FILENO, "echo out", silent), "");
}

TEST_F(Exec, Silence_KeepsStandardErrorBack)
{
    EXPECT_EQ(output_of(STDERR_FILENO, "echo err >&2", silent), "");
}

TEST_F(Exec, Silence_BeginsBeforeTheChildLogs)
{
    test::on_each_message([] {
        if (write(STDOUT_FILENO, "logging", 7) != 7) {
            _exit(1);
        }
    });
    EXPECT_EQ(output_of(STDOUT_FILENO, "exit 0", silent), "");
}

TEST_F(Exec, WithoutSilence_StandardOutputIsTheParents)
{
    EXPECT_EQ(output_of(STDOUT_FILENO, "echo out", !silent), "out\n");
}

TEST_F(Exec, WithoutSilence_StandardErrorIsTheParents)
{
    EXPECT_EQ(output_of(STDERR_FILENO, "echo err >&2", !silent), "err\n");
}

TEST_F(Exec, Signals_NoneIsHeldBackFromTheProgram)
{
    const SignalBlock held;
    EXPECT_EQ(mask_of_program("SigBlk"), "0000000000000000\n");
}

TEST_F(Exec, Signals_TheProgramDoesNotIgnoreWhatTheDaemonHandles)
{
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGTERM, SIG_IGN);
    EXPECT_EQ(std::stoull(mask_of_program("SigIgn"), nullptr, 16) & 0x14002ULL, 0U);
}

std::string noted_end;
volatile std::sig_atomic_t seen_at_signal = -1;

extern "C" void note_whether_ended(int)
{
    seen_at_signal = access(noted_end.c_str(), F_OK) == 0 ? 1 : 0;
}

TEST_F(Exec, Signals_OneDuringTheCommandIsServedAfterIt)
{
    noted_end = file;
    seen_at_signal = -1;
    std::signal(SIGTERM, note_whether_ended);
    run("kill -TERM $PPID; sleep 0.1; : >$0");
    EXPECT_EQ(seen_at_signal, 1);
}

TEST_F(Exec, Signals_OneDuringTheCommandLeavesItsResult)
{
    std::signal(SIGTERM, note_whether_ended);
    EXPECT_EQ(run("kill -TERM $PPID; sleep 0.1; exit 3"), 768);
}

TEST_F(Exec, Signals_HandlerOfTheDaemonDoesNotRunInTheChild)
{
    std::signal(SIGTERM, note_whether_ended);
    const pid_t parent = getpid();
    test::on_each_message([&] {
        if (getpid() != parent) {
            std::raise(SIGTERM); // held back while the message is written, served right after
        }
    });
    EXPECT_EQ(run("exit 3"), SIGTERM);
}

/** What a descriptor of this process stands for. */
std::string target_of(int descriptor)
{
    std::error_code none;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none);
}

TEST(SilenceChildOutput, ReturnsZero)
{
    EXPECT_EQ(test::in_child([] { return std::to_string(silence_child_output()); }), "0");
}

TEST(SilenceChildOutput, DivertsStandardOutput)
{
    EXPECT_EQ(test::in_child([] {
                  silence_child_output();
                  return target_of(STDOUT_FILENO);
              }),
              "/dev/null");
}

TEST(SilenceChildOutput, DivertsStandardError)
{
    EXPECT_EQ(test::in_child([] {
                  silence_child_output();
                  return target_of(STDERR_FILENO);
              }),
              "/dev/null");
}

TEST(SilenceChildOutput, LeavesStandardInputAlone)
{
    EXPECT_EQ(test::in_child([] {
                  const int zero = open("/dev/zero", O_RDONLY | O_CLOEXEC);
                  dup2(zero, STDIN_FILENO);
                  silence_child_output();
                  return target_of(STDIN_FILENO);
              }),
              "/dev/zero");
}

TEST(SilenceChildOutput, LeavesNoFurtherDescriptor)
{
    EXPECT_EQ(test::in_child([] {
                  const auto before = test::open_descriptors();
                  silence_child_output();
                  return std::to_string(test::open_descriptors() - before);
              }),
              "0");
}

TEST(SilenceChildOutput, WithoutDescriptorIsNegative)
{
    EXPECT_EQ(test::in_child([] {
                  const rlimit none = {0, 0};
                  setrlimit(RLIMIT_NOFILE, &none);
                  return std::to_string(silence_child_output());
              }),
              "-1");
}

TEST(SilenceChildOutput, WithoutDescriptorChangesNothing)
{
    EXPECT_EQ(test::in_child([] {
                  const int zero = open("/dev/zero", O_WRONLY | O_CLOEXEC);
                  dup2(zero, STDOUT_FILENO);
                  rlimit limit = {};
                  getrlimit(RLIMIT_NOFILE, &limit);
                  const rlimit none = {0, limit.rlim_max};
                  setrlimit(RLIMIT_NOFILE, &none);
                  silence_child_output();
                  setrlimit(RLIMIT_NOFILE, &limit);
                  return target_of(STDOUT_FILENO);
              }),
              "/dev/zero");
}

} // namespace
} // namespace kex::commands
