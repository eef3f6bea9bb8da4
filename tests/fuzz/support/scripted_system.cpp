#include "support/scripted_system.hpp"

#include "core/signals.hpp"
#include "support/allowed_paths.hpp"
#include "support/require.hpp"
#include "support/scripted_journal.hpp"
#include "support/throwing_exec.hpp"
#include "support/wrapped.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

namespace
{

using kex::fuzz::scripted_system;

kex::fuzz::ScriptedSystem* current = nullptr;
sigset_t held_back; // what sigprocmask has made of the signal mask
timespec clock_now = {1000, 0};

constexpr int child = 4242;
constexpr size_t most_sleeps = 2000; // more than any wait takes that has an end
constexpr size_t longest_text = 257;

/** Fails for an odd outcome. */
bool fails(int error)
{
    if (scripted_system()->next() % 2 == 0) {
        return false;
    }
    errno = error;
    return true;
}

int set_name(const char* name, size_t length)
{
    REQUIRE(length >= 1 && length <= longest_text && std::string(name, length).size() == length);
    ++current->observed.effects;
    return fails(EPERM) ? -1 : 0;
}

} // namespace

namespace kex::fuzz
{

ScriptedSystem* scripted_system()
{
    return current;
}

bool signals_are_open()
{
    return sigisemptyset(&held_back) == 1;
}

int lowest_free_descriptor()
{
    const int lowest = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    close(lowest);
    return lowest;
}

ScriptedSystem::ScriptedSystem(std::string outcomes, bool in_child, std::string free_path)
    : outcomes_(std::move(outcomes)), in_child_(in_child), free_path_(std::move(free_path))
{
    current = this;
    sigemptyset(&held_back);
    opened = [this](const std::string& path, int flags) { return open_path(path, flags); };
    file_script = [this](const std::string& path, const std::string& mode) {
        return open_stream(path, mode);
    };
}

ScriptedSystem::~ScriptedSystem()
{
    opened = nullptr;
    file_script = nullptr;
    take_written_files();
    current = nullptr;
}

uint8_t ScriptedSystem::next()
{
    return at_ < outcomes_.size() ? static_cast<uint8_t>(outcomes_[at_++]) : uint8_t{0};
}

std::string ScriptedSystem::content()
{
    const size_t length = next();
    const std::string text = outcomes_.substr(at_, length);
    at_ += text.size();
    return text;
}

int ScriptedSystem::open_path(const std::string& path, int flags)
{
    REQUIRE((flags & O_CLOEXEC) != 0);
    if (path == "/dev/null") {
        REQUIRE(in_child_ && (flags & O_ACCMODE) == O_WRONLY);
        return fails(EMFILE) ? -1 : fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    }
    REQUIRE(is_frame_file(path) && (flags & O_ACCMODE) == O_RDONLY);
    if (fails(ENOENT)) {
        return -1;
    }
    constexpr size_t step = 12; // so that one byte of the script reaches beyond the longest frame
    const std::string frame(next() * step, 'f');
    const int file = memfd_create("frame", MFD_CLOEXEC);
    REQUIRE(write(file, frame.data(), frame.size()) == static_cast<ssize_t>(frame.size()));
    return file;
}

FileScript ScriptedSystem::open_stream(const std::string& path, const std::string& mode)
{
    FileScript script;
    const uint8_t outcome = next();
    script.opens = outcome % 2 == 0;
    script.room = (outcome & 2) == 0 ? std::string::npos : 0;
    if (mode == "we") {
        REQUIRE(may_be_written(path) || (!free_path_.empty() && path == free_path_));
        ++observed.effects;
        return script;
    }
    REQUIRE(may_be_read(path));
    script.content = (outcome & 2) == 0 ? "1\n" : content();
    return script;
}

int execute(const char* path, char* const* argv)
{
    REQUIRE(current->in_child());
    REQUIRE(is_allowed_program(path) && std::string(argv[0]) == path);
    size_t count = 0;
    while (argv[count] != nullptr) {
        ++count;
    }
    REQUIRE(count <= 12);
    REQUIRE(signals_are_open());
    throw Executed();
}

} // namespace kex::fuzz

WRAPPED(unsigned, if_nametoindex, const char* name)
{
    return current == nullptr ? __real_if_nametoindex(name) : (fails(ENODEV) ? 0 : 2);
}

WRAPPED(pid_t, fork, void)
{
    if (current == nullptr) {
        return __real_fork();
    }
    if (fails(EAGAIN)) {
        return -1;
    }
    ++current->observed.effects;
    current->observed.forked = true;
    if (!current->in_child()) {
        ++kex::pending_children; // the signal of its end
    }
    return current->in_child() ? 0 : child;
}

WRAPPED(pid_t, waitpid, pid_t pid, int* status, int options)
{
    if (current == nullptr) {
        return __real_waitpid(pid, status, options);
    }
    const bool reaping = pid == -1 && options == WNOHANG;
    REQUIRE(reaping || (pid == child && options == 0));
    if (fails(ECHILD)) {
        return -1;
    }
    *status = current->next() << 8;
    if (!reaping) {
        current->observed.status = *status;
    }
    return child;
}

WRAPPED(int, kill, pid_t pid, int number)
{
    if (current == nullptr) {
        return __real_kill(pid, number);
    }
    REQUIRE(pid > 1 && number == SIGKILL);
    ++current->observed.effects;
    return fails(ESRCH) ? -1 : 0;
}

WRAPPED(int, remove, const char* path)
{
    if (current == nullptr) {
        return __real_remove(path);
    }
    REQUIRE(std::string(path) == "/run/tirvad/ostrelagent.pid");
    ++current->observed.effects;
    return fails(ENOENT) ? -1 : 0;
}

// No engine uses these two: they are always scripted.
extern "C" int sethostname(const char* name, size_t length) noexcept
{
    return set_name(name, length);
}

extern "C" int setdomainname(const char* name, size_t length) noexcept
{
    return set_name(name, length);
}

WRAPPED(int, usleep, useconds_t usec)
{
    if (current == nullptr) {
        return __real_usleep(usec);
    }
    REQUIRE(++current->observed.sleeps <= most_sleeps);
    const long nanoseconds = clock_now.tv_nsec + static_cast<long>(usec) * 1000;
    clock_now = {clock_now.tv_sec + nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    return 0;
}

WRAPPED(int, clock_gettime, clockid_t clock, timespec* now)
{
    if (current == nullptr || clock != CLOCK_MONOTONIC) {
        return __real_clock_gettime(clock, now);
    }
    *now = clock_now;
    return 0;
}

WRAPPED(int, sigprocmask, int how, const sigset_t* set, sigset_t* former)
{
    if (current == nullptr) {
        return __real_sigprocmask(how, set, former);
    }
    if (former != nullptr) {
        *former = held_back;
    }
    REQUIRE(how == SIG_BLOCK || how == SIG_SETMASK);
    how == SIG_BLOCK ? sigorset(&held_back, &held_back, set) : (held_back = *set, 0);
    return 0;
}

WRAPPED(sighandler_t, signal, int number, sighandler_t handler)
{
    if (current == nullptr) {
        return __real_signal(number, handler);
    }
    REQUIRE(current->in_child() && handler == SIG_DFL);
    return SIG_DFL;
}

WRAPPED(int, dup2, int from, int to)
{
    if (current == nullptr) {
        return __real_dup2(from, to);
    }
    REQUIRE(current->in_child() && (to == STDOUT_FILENO || to == STDERR_FILENO));
    return to;
}
