#pragma once

#include "bus.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace kex::bench
{

/** Where the programs that are timed write, so that nobody has to read along. */
inline constexpr const char* output_file = "/tmp/output";

/** A child process. One that has not been waited for is ended with its owner. */
class Process
{
  public:
    explicit Process(const Words& words)
    {
        std::vector<char*> argv;
        for (const std::string& word : words) {
            argv.push_back(const_cast<char*>(word.c_str()));
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_file,
                                         O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
        const int result = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        check(-result, words.at(0));
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { kill(); }

    /** Waits for a program that ends by itself. @throws std::runtime_error when it failed */
    void wait()
    {
        int status = 0;
        waitpid(pid_, &status, 0);
        pid_ = -1;
        check(-status, "the status of a program");
    }

    void kill()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

  private:
    pid_t pid_ = -1;
};

} // namespace kex::bench
