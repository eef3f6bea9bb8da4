#pragma once

#include "core/unique_fd.hpp"
#include "kexctl/log_source.hpp"

#include <string>
#include <vector>

namespace kex::ctl
{

/** The current log file and its rotations, followed through further rotations. */
class LogFiles : public LogSource
{
  public:
    /** Begins with the oldest message that is left. @param path  of the current file */
    explicit LogFiles(std::string path);

    /** Goes to the end: read() gives later messages only. */
    void skip();

    /** True when there is no file that can be read. */
    [[nodiscard]] bool empty();

    std::vector<LogMessage> read() override;
    void wait() override;

  private:
    /** A file that stays open, so that it can be read to its end after it was moved or replaced,
     * and so that no other file can get its inode number meanwhile. */
    struct File {
        UniqueFd fd;
        dev_t device;
        ino_t inode;
        timespec modified;
        bool current;

        bool operator==(const File& other) const
        {
            return device == other.device && inode == other.inode;
        }
    };

    [[nodiscard]] std::vector<File> find_files() const;
    void add_file(std::vector<File>& files, const std::string& path, bool current) const;
    std::string read_bytes();

    std::string path_;
    std::vector<File> files_; /**< known ones, oldest first */
    UniqueFd changes_;        /**< inotify, made by the first wait() */
};

} // namespace kex::ctl
