#include "commands/journal/journal_dump.hpp"

#include "core/log.hpp"
#include "core/text_file.hpp"

#include <systemd/sd-journal.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

namespace kex::commands
{
namespace
{

constexpr const char* module_tag = "cjn";
constexpr const char* function = "dump";

constexpr std::string_view kernel_match = "_TRANSPORT=kernel";
constexpr std::string_view message_field = "MESSAGE";
constexpr uint64_t usec_per_second = 1'000'000;

struct JournalCloser {
    void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using Journal = std::unique_ptr<sd_journal, JournalCloser>;

Journal open_journal()
{
    sd_journal* journal = nullptr;
    const int result = sd_journal_open(&journal, SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_RUNTIME_ONLY |
                                                     SD_JOURNAL_SYSTEM);
    if (result < 0) {
        LOG_ERROR_AS(function, 102, "failed to open journal - %d\n", result);
        return nullptr;
    }
    return Journal(journal);
}

void keep_kernel_entries(sd_journal* journal)
{
    const int result = sd_journal_add_match(journal, kernel_match.data(), kernel_match.size());
    if (result < 0) {
        LOG_ERROR_AS(function, 116, "failed to add filter for kernel logs - %d\n", result);
    }
}

uint64_t monotonic_usec()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::nanoseconds(now).count()) / 1000;
}

/** Goes to the oldest entry. The seek of the tail is without effect; it is made all the same. */
bool rewind(sd_journal* journal)
{
    const int result = sd_journal_seek_tail(journal);
    if (result < 0) {
        LOG_ERROR_AS(function, 152, "failed to seek the tail - %d\n", result);
    }
    return sd_journal_seek_head(journal) >= 0;
}

void write_text(FILE* file, std::string_view text)
{
    fwrite_unlocked(text.data(), 1, text.size(), file);
}

/** True, and a log line under line, once a write to the file has failed. */
bool has_failed(FILE* file, int line)
{
    if (std::ferror(file) == 0) {
        return false;
    }
    LOG_INFO_AS(function, line, "failed to write data err[%s]\n", std::strerror(errno));
    return true;
}

/** The text of the entry's message; none when the entry has no message. */
std::optional<std::string_view> read_message(sd_journal* journal)
{
    const void* data = nullptr;
    size_t size = 0;
    if (sd_journal_get_data(journal, message_field.data(), &data, &size) < 0) {
        return std::nullopt;
    }
    std::string_view field(static_cast<const char*>(data), size);
    field.remove_prefix(message_field.size() + 1); // the name and "="
    return field;
}

void dump_entry(sd_journal* journal, FILE* file, uint64_t start_usec)
{
    uint64_t usec = 0;
    if (sd_journal_get_monotonic_usec(journal, &usec, nullptr) >= 0) {
        if (usec < start_usec) {
            return;
        }
        write_text(file, "[");
        write_text(file, format_timestamp(usec));
        write_text(file, "] ");
        if (has_failed(file, 181)) {
            return;
        }
    }
    const auto message = read_message(journal);
    if (!message) {
        write_text(file, "\n");
        return;
    }
    write_text(file, *message);
    write_text(file, "\n");
    fflush_unlocked(file);
    has_failed(file, 196);
}

} // namespace

std::string format_timestamp(uint64_t usec)
{
    constexpr size_t digits = 6;
    std::string text = std::to_string(usec / usec_per_second);
    const std::string fraction = std::to_string(usec % usec_per_second);
    text += '.';
    text.append(digits - fraction.size(), '0');
    return text + fraction;
}

void dump(uint32_t seconds, const std::string& path)
{
    if (path.empty()) {
        LOG_ERROR_AT(70, "file_path is empty\n");
        return;
    }
    const Stream file(std::fopen(path.c_str(), "we"));
    if (!file) {
        LOG_ERROR_AT(78, "failed to open [%s]\n", path.c_str());
        return;
    }
    const Journal journal = open_journal();
    if (!journal) {
        return;
    }
    const uint32_t window = seconds == 0 ? 1 : seconds;
    LOG_INFO_AT(109, "%d second%s\n", static_cast<int>(window), seconds >= 2 ? "s" : "");
    keep_kernel_entries(journal.get());

    const uint64_t now_usec = monotonic_usec();
    const uint64_t window_usec = window * usec_per_second;
    const uint64_t start_usec = window_usec < now_usec ? now_usec - window_usec : 0;
    std::fprintf(file.get(), "[%s] -> [%s]\n\n", format_timestamp(start_usec).c_str(),
                 format_timestamp(now_usec).c_str());
    if (!rewind(journal.get())) {
        return;
    }
    while (sd_journal_next(journal.get()) >= 1) {
        dump_entry(journal.get(), file.get(), start_usec);
    }
}

} // namespace kex::commands
