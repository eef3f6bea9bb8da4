// The capture of a journal with any entries, times and failures, against what has to be written.

#include "commands/journal/journal_dump.hpp"
#include "support/input.hpp"
#include "support/recorded_files.hpp"
#include "support/recorded_log.hpp"
#include "support/require.hpp"
#include "support/scripted_journal.hpp"

namespace
{

using namespace kex;

constexpr uint64_t million = 1'000'000;

std::string time_text(uint64_t usec)
{
    const std::string fraction = std::to_string(usec % million);
    return "[" + std::to_string(usec / million) + "." + std::string(6 - fraction.size(), '0') +
           fraction + "]";
}

std::string expected_capture(const fuzz::JournalScript& journal, uint32_t seconds)
{
    const uint64_t window = (seconds == 0 ? 1 : seconds) * million;
    const uint64_t start = window < journal.now_usec ? journal.now_usec - window : 0;
    std::string text = time_text(start) + " -> " + time_text(journal.now_usec) + "\n\n";
    for (const fuzz::JournalEntry& entry : journal.entries) {
        if (!journal.seeks_head || (entry.usec && *entry.usec < start)) {
            continue;
        }
        text += entry.usec ? time_text(*entry.usec) + " " : "";
        text += entry.message.value_or("") + "\n";
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const auto seconds = input.number<uint32_t>();
    const uint16_t room = input.number<uint16_t>();
    const std::string path = input.short_block().c_str();
    fuzz::FileScript file{input.byte() % 8 != 7, {}, room == 0 ? std::string::npos : room - 1U};
    fuzz::journal_script = fuzz::read_journal(input);
    fuzz::file_script = [&](const std::string& opened, const std::string& mode) {
        REQUIRE(opened == path && mode == "we");
        return file;
    };
    commands::dump(seconds, path);
    fuzz::file_script = nullptr;

    const auto files = fuzz::take_written_files();
    REQUIRE(files.size() == (file.opens && !path.empty() ? 1 : 0));
    const std::string expected =
        fuzz::journal_script.opens ? expected_capture(fuzz::journal_script, seconds) : "";
    REQUIRE(files.empty() || files[0].content == expected.substr(0, file.room));
    const size_t failures = fuzz::count_lines(fuzz::take_log(), "failed to write data err[");
    REQUIRE(failures <= (file.room < expected.size() ? fuzz::journal_script.entries.size() : 0));
    REQUIRE(fuzz::open_streams() == 0 && fuzz::open_journals() == 0);
    fuzz::forget_log();
    return 0;
}
