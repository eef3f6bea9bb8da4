#include "commands/link/exec.hpp"

#include "commands/log.hpp"
#include "core/signals.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace kex::commands
{
namespace
{

/** The elements, each followed by a blank. */
std::string join(const char* const* argv)
{
    std::string text;
    for (; *argv != nullptr; ++argv) {
        text += *argv;
        text += ' ';
    }
    return text;
}

/** A lack of memory ends the child here: an exception must not take it into the event loop. */
void log_execution(const char* const* argv) noexcept
{
    LOG_INFO_AS("exec_cmd", 503, "Executing command: %s\n", join(argv).c_str());
}

[[noreturn]] void run_child(const char* const* argv, bool silence)
{
    reset_signals_in_child();
    log_file().leave_rotation_to_parent();
    if (silence) {
        silence_child_output();
    }
    log_execution(argv);
    // execv leaves the texts alone; it takes pointers to char for the sake of old programs.
    const int result = execv(argv[0], const_cast<char* const*>(argv));
    LOG_ERROR_AS("exec_cmd", 505, "failed to execv\n");
    std::exit(result);
}

} // namespace

int exec_cmd(const char* const* argv, bool wait, bool silence)
{
    const SignalBlock block;
    const pid_t pid = fork();
    if (pid < 0) {
        LOG_ERROR_AT(511, "failed to fork\n");
        return pid;
    }
    if (pid == 0) {
        run_child(argv, silence);
    }
    if (!wait) {
        return 0;
    }
    int status = 0;
    // A wait that fails leaves 0, success. Intended.
    waitpid(pid, &status, 0);
    return status;
}

int exec_cmd(std::initializer_list<const char*> words)
{
    std::vector<const char*> argv(words);
    argv.push_back(nullptr);
    return exec_cmd(argv.data(), true, true);
}

int silence_child_output()
{
    const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (sink < 0) {
        return sink;
    }
    dup2(sink, STDOUT_FILENO);
    dup2(sink, STDERR_FILENO);
    return close(sink);
}

} // namespace kex::commands
