#pragma once

#include "commands/link/exec.hpp"
#include "support/recorded_log.hpp"
#include "support/temp_dir.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <csignal>

namespace kex::test
{

/** Runs programs, mostly shell scripts; restores what is done with signals. */
class Exec : public testing::Test
{
  protected:
    static constexpr bool waiting = true;
    static constexpr bool silent = true;

    Exec() { forget_log(); }
    Exec(const Exec&) = delete;
    Exec& operator=(const Exec&) = delete;
    ~Exec() override
    {
        on_each_message({});
        for (const int number : {SIGINT, SIGTERM, SIGCHLD, SIGALRM}) {
            std::signal(number, SIG_DFL);
        }
    }

    /** Runs a shell's script, which finds the test's file in $0. */
    int run(const char* script, bool wait = waiting, bool silence = silent) const
    {
        const char* const argv[] = {"/bin/sh", "-c", script, file.c_str(), nullptr};
        return commands::exec_cmd(argv, wait, silence);
    }

    static int run_program(const char* program, bool wait = waiting)
    {
        const char* const argv[] = {program, nullptr};
        return commands::exec_cmd(argv, wait, silent);
    }

    /** What the program writes to the descriptor, which is a file meanwhile. */
    std::string output_of(int descriptor, const char* script, bool silence) const
    {
        const int former = dup(descriptor);
        const int sink = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        dup2(sink, descriptor);
        close(sink);
        run(script, waiting, silence);
        dup2(former, descriptor);
        close(former);
        return content(file);
    }

    /** A mask of /proc/self/status of a program that is run. */
    std::string mask_of_program(const std::string& name) const
    {
        run(("grep ^" + name + ": /proc/self/status | cut -f 2 >$0").c_str());
        return content(file);
    }

  private:
    TempDir folder_;

  protected:
    std::string file = folder_.file("file");
};

} // namespace kex::test
