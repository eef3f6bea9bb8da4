#include "kexctl/log_files.hpp"

#include "core/log.hpp"
#include "kexctl/failure.hpp"
#include "kexctl/log_journal.hpp"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <tuple>

namespace kex::ctl
{
namespace
{

void drain(int fd, std::string& bytes)
{
    std::array<char, 65536> buffer;
    for (ssize_t length = 0; (length = ::read(fd, buffer.data(), buffer.size())) > 0;) {
        bytes.append(buffer.data(), static_cast<size_t>(length));
    }
}

} // namespace

LogFiles::LogFiles(std::string path) : path_(std::move(path)) {}

void LogFiles::add_file(std::vector<File>& files, const std::string& path, bool current) const
{
    UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (fd && fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode)) {
        files.push_back({std::move(fd), status.st_dev, status.st_ino, status.st_mtim, current});
    }
}

std::vector<LogFiles::File> LogFiles::find_files() const
{
    std::vector<File> files;
    add_file(files, path_ + ".0", false);
    add_file(files, path_ + ".1", false);
    add_file(files, path_, true);
    // Which of the rotated ones is older differs: a daemon that was restarted begins with ".0".
    std::ranges::sort(files, {}, [](const File& file) {
        return std::tuple(file.current, file.modified.tv_sec, file.modified.tv_nsec);
    });
    return files;
}

std::string LogFiles::read_bytes()
{
    // Found before the known ones are read: one that has been moved by then is complete.
    std::vector<File> found = find_files();
    std::string bytes;
    for (const File& file : files_) {
        drain(file.fd.get(), bytes);
    }
    std::erase_if(files_, [&found](const File& file) {
        return std::ranges::find(found, file) == found.end();
    });
    for (File& file : found) {
        if (std::ranges::find(files_, file) == files_.end()) {
            drain(file.fd.get(), bytes);
            files_.push_back(std::move(file));
        }
    }
    return bytes;
}

void LogFiles::skip()
{
    files_ = find_files();
    for (const File& file : files_) {
        lseek(file.fd.get(), 0, SEEK_END);
    }
}

bool LogFiles::empty()
{
    return find_files().empty();
}

std::vector<LogMessage> LogFiles::read()
{
    return parse_log(read_bytes());
}

void LogFiles::wait()
{
    if (!changes_) {
        // The folder: a file is moved and made anew by a rotation. What was written before the
        // watch is read without a wait.
        changes_ = UniqueFd(inotify_init1(IN_CLOEXEC));
        const std::string folder = path_.substr(0, path_.rfind('/'));
        if (inotify_add_watch(changes_.get(), folder.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) <
            0) {
            throw Failure(ExitStatus::command_failed,
                          "cannot watch " + folder + ": " + std::strerror(errno));
        }
        return;
    }
    alignas(inotify_event) std::array<char, sizeof(inotify_event) + NAME_MAX + 1> events;
    if (::read(changes_.get(), events.data(), events.size()) < 0 && errno != EINTR) {
        throw Failure(ExitStatus::command_failed, "cannot watch the log");
    }
}

std::unique_ptr<LogSource> open_log()
{
    auto files = std::make_unique<LogFiles>(log_file_path);
    if (files->empty()) {
        return std::make_unique<LogJournal>(0);
    }
    return files;
}

} // namespace kex::ctl
