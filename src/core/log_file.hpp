#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

namespace kex
{

/**
 * The daemon's log file: one open, write and close for each message, so that the file can be
 * moved, removed or read by others at any time. No failure is ever reported: a message that
 * cannot be written is dropped.
 */
class LogFile
{
  public:
    /**
     * Creates the file if it is missing.
     * @param path          of the current file; its rotations are path.0 and path.1
     * @param owner         system user who is given the file, if there is one of that name
     * @param max_messages  messages written before the file is rotated
     * @param rotate        false to let the file grow for ever
     */
    LogFile(std::string path, std::string owner, int32_t max_messages, bool rotate);

    /** Appends "[day-month time] " and the formatted message, to which no newline is added. */
    [[gnu::format(printf, 2, 3)]] void write(const char* format, ...);

    /**
     * Leaves rotation to the parent, in a forked child: its count of messages is a copy, and if
     * both rotated the same file, the second would replace what the first has kept.
     */
    void leave_rotation_to_parent() { rotate_ = false; }

  private:
    struct Owner {
        uid_t uid;
        gid_t gid;
    };

    void reopen();
    void rotate_if_full();
    void look_up_owner();
    void refresh_stamp();

    std::string path_;
    std::string owner_;
    int32_t max_messages_;
    bool rotate_;
    int32_t written_ = 0;
    bool first_rotation_ = true;

    std::optional<Owner> owner_ids_;
    time_t stamp_time_ = -1;
    std::array<char, 24> stamp_{};
};

} // namespace kex
