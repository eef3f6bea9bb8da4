#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>

namespace kex::test
{

/** The text that work returns in a forked child, whose state the test does not share. */
inline std::string in_child(const std::function<std::string()>& work)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        std::abort();
    }
    const pid_t pid = fork();
    if (pid == 0) {
        const std::string result = work();
        const ssize_t written = write(ends[1], result.data(), result.size());
        _exit(written == static_cast<ssize_t>(result.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string result;
    std::array<char, 4096> buffer{};
    ssize_t size = 0;
    while ((size = read(ends[0], buffer.data(), buffer.size())) > 0) {
        result.append(buffer.data(), static_cast<size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return status == 0 ? result : "child ended with status " + std::to_string(status);
}

} // namespace kex::test
