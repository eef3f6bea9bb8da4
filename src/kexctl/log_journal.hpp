#pragma once

#include "kexctl/log_source.hpp"

#include <cstdint>
#include <functional>
#include <memory>

struct sd_journal;

namespace kex::ctl
{

/** The daemon's messages in the system journal. */
class LogJournal : public LogSource
{
  public:
    /** @param since_usec  time of the day from which on messages are read; 0 for all */
    explicit LogJournal(uint64_t since_usec);

    std::vector<LogMessage> read() override;
    void wait() override;

    /**
     * Reads until enough says that the messages looked for have come and no more follow: the
     * journal takes them up after the daemon has gone on. Gives up after two seconds.
     */
    std::vector<LogMessage>
    read_until(const std::function<bool(const std::vector<LogMessage>&)>& enough);

  private:
    struct Closer {
        void operator()(sd_journal* journal) const;
    };

    std::unique_ptr<sd_journal, Closer> journal_;
};

} // namespace kex::ctl
