#include "kexctl/log_journal.hpp"

#include "kexctl/failure.hpp"

#include <systemd/sd-journal.h>

#include <chrono>
#include <cstring>
#include <string_view>

namespace kex::ctl
{
namespace
{

constexpr uint64_t forever = UINT64_MAX;
constexpr uint64_t usec_per_second = 1'000'000;
constexpr uint64_t settle_usec = 100'000;
constexpr std::chrono::seconds patience{2};

constexpr std::string_view message_field = "MESSAGE=";

void check(int result)
{
    if (result < 0) {
        throw Failure(ExitStatus::command_failed,
                      std::string("cannot read the journal: ") + std::strerror(-result));
    }
}

LogMessage read_entry(sd_journal* journal)
{
    const void* data = nullptr;
    size_t size = 0;
    std::string_view text;
    if (sd_journal_get_data(journal, "MESSAGE", &data, &size) >= 0) {
        text = std::string_view(static_cast<const char*>(data), size).substr(message_field.size());
    }
    uint64_t usec = 0;
    sd_journal_get_realtime_usec(journal, &usec);
    return parse_message(format_stamp(static_cast<time_t>(usec / usec_per_second)), text);
}

} // namespace

void LogJournal::Closer::operator()(sd_journal* journal) const
{
    sd_journal_close(journal);
}

LogJournal::LogJournal(uint64_t since_usec)
{
    sd_journal* journal = nullptr;
    check(sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY));
    journal_.reset(journal);
    // Anybody may write under any identifier; only root's are the daemon's.
    check(sd_journal_add_match(journal, "SYSLOG_IDENTIFIER=kex", 0));
    check(sd_journal_add_match(journal, "_UID=0", 0));
    check(since_usec == 0 ? sd_journal_seek_head(journal)
                          : sd_journal_seek_realtime_usec(journal, since_usec));
}

std::vector<LogMessage> LogJournal::read()
{
    std::vector<LogMessage> messages;
    while (sd_journal_next(journal_.get()) > 0) {
        messages.push_back(read_entry(journal_.get()));
    }
    return messages;
}

void LogJournal::wait()
{
    check(sd_journal_wait(journal_.get(), forever));
}

std::vector<LogMessage>
LogJournal::read_until(const std::function<bool(const std::vector<LogMessage>&)>& enough)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::vector<LogMessage> messages = read();
    while (std::chrono::steady_clock::now() < deadline) {
        check(sd_journal_wait(journal_.get(), settle_usec));
        const std::vector<LogMessage> more = read();
        if (more.empty() && enough(messages)) {
            break;
        }
        messages.insert(messages.end(), more.begin(), more.end());
    }
    return messages;
}

} // namespace kex::ctl
