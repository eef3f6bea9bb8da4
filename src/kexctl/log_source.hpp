#pragma once

#include "kexctl/log_message.hpp"

#include <memory>
#include <vector>

namespace kex::ctl
{

/** Where the daemon's messages are read from. */
class LogSource
{
  public:
    LogSource() = default;
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;
    virtual ~LogSource() = default;

    /** The messages since the last call, oldest first. */
    virtual std::vector<LogMessage> read() = 0;

    /** Returns once there may be more messages. */
    virtual void wait() = 0;
};

/** The daemon's whole log: its files, or the journal when there are none. */
std::unique_ptr<LogSource> open_log();

} // namespace kex::ctl
