// Running an empty program beside a bare fork, exec and wait, both from this process.

#include "cases.hpp"
#include "commands/link/exec.hpp"
#include "core/log.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace
{

constexpr const char* module_tag = "bch";
constexpr const char* program = "/run/sandbox/bench/empty";

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/** A command is logged before its program runs, so the log's time zone and socket are at hand. */
void log_command()
{
    LOG_INFO("command\n");
}

void exec_with_kex()
{
    log_command();
    require(kex::commands::exec_cmd({program}) == 0);
}

void exec_barely()
{
    log_command();
    const pid_t pid = fork();
    if (pid == 0) {
        char* const argv[] = {const_cast<char*>(program), nullptr};
        execv(program, argv);
        _exit(1);
    }
    int status = -1;
    require(waitpid(pid, &status, 0) == pid && status == 0);
}

} // namespace

int main(int argc, char** argv)
{
    return kex::bench::run_cases(argc, argv, {{"kex", exec_with_kex}, {"bare", exec_barely}});
}
