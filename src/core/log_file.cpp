#include "core/log_file.hpp"

#include "core/formatted_text.hpp"
#include "core/signals.hpp"
#include "core/unique_fd.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <utility>

namespace kex
{
namespace
{

/** What fopen(3) does for "ae"; never waits should the path have become a FIFO. */
UniqueFd open_for_append(const char* path)
{
    return UniqueFd(open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK,
                         S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH));
}

} // namespace

LogFile::LogFile(std::string path, std::string owner, int32_t max_messages, bool rotate)
    : path_(std::move(path)), owner_(std::move(owner)), max_messages_(max_messages), rotate_(rotate)
{
    reopen();
}

void LogFile::reopen()
{
    const UniqueFd file = open_for_append(path_.c_str());
    if (!file) {
        return;
    }
    struct stat status = {};
    if (fstat(file.get(), &status) == 0) {
        fchmod(file.get(), (status.st_mode & 07777U) | 0664U);
    }
    look_up_owner();
    if (owner_ids_ && fchown(file.get(), owner_ids_->uid, owner_ids_->gid) != 0) {
        return; // a file that keeps its former owner is still a usable log
    }
}

void LogFile::look_up_owner()
{
    // A signal would end the look-up's waiting for a name service.
    const SignalBlock block;
    // getpwnam allocates memory, which a signal handler must not do: it uses what is known.
    if (in_signal_handler()) {
        return;
    }
    owner_ids_.reset();
    if (const passwd* user = getpwnam(owner_.c_str())) {
        owner_ids_ = Owner{user->pw_uid, user->pw_gid};
    }
}

void LogFile::rotate_if_full()
{
    if (written_ <= max_messages_) {
        return;
    }
    // The first file, which tells of the start-up, is kept as ".0" for the life of the process;
    // every later one replaces ".1". Intended.
    const char* suffix = first_rotation_ ? ".0" : ".1";
    first_rotation_ = false;

    std::array<char, PATH_MAX> target{};
    std::snprintf(target.data(), target.size(), "%s%s", path_.c_str(), suffix);
    std::rename(path_.c_str(), target.data());
    reopen();
    written_ = 0;
}

void LogFile::refresh_stamp()
{
    const time_t now = time(nullptr);
    if (now == stamp_time_) {
        return;
    }
    // Follow a changed time zone, except in a signal handler: tzset allocates memory.
    if (!in_signal_handler()) {
        tzset();
    }
    struct tm local = {};
    localtime_r(&now, &local);
    std::array<char, 20> text{};
    std::strftime(text.data(), text.size(), "%d-%b %T", &local);
    std::snprintf(stamp_.data(), stamp_.size(), "[%s] ", text.data());
    stamp_time_ = now;
}

void LogFile::write(const char* format, ...)
{
    if (rotate_) {
        rotate_if_full();
    }
    const UniqueFd file = open_for_append(path_.c_str());
    if (!file) {
        return;
    }
    refresh_stamp();

    va_list args;
    va_start(args, format);
    const FormattedText line(stamp_.data(), format, args);
    va_end(args);

    // One write, so that the line stays whole beside other writers. A failure has nowhere to be
    // told and counts as a message all the same.
    [[maybe_unused]] const ssize_t ignored =
        ::write(file.get(), line.view().data(), line.view().size());
    ++written_;
}

} // namespace kex
