#include "support/scripted_journal.hpp"

#include "support/require.hpp"
#include "support/wrapped.hpp"

#include <systemd/sd-journal.h>

#include <cerrno>
#include <memory>

struct sd_journal {
    bool filtered = false;
    bool at_head = false;
    size_t next = 0;
    std::unique_ptr<char[]> data; // of the one message; ends where the message ends
};

namespace
{

constexpr uint64_t million = 1'000'000;
constexpr uint64_t longest_uptime = million * million * 1000; // what the clock can hold

int open_now = 0;

const kex::fuzz::JournalEntry& current(const sd_journal* journal)
{
    REQUIRE(journal->at_head && journal->next > 0);
    return kex::fuzz::journal_script.entries.at(journal->next - 1);
}

} // namespace

namespace kex::fuzz
{

JournalScript journal_script;

JournalScript read_journal(Input& input)
{
    const uint8_t failures = input.byte();
    JournalScript journal{
        (failures & 1) == 0, (failures & 2) == 0, (failures & 4) == 0, (failures & 8) == 0, {}, 0};
    journal.now_usec = input.number<uint64_t>() % longest_uptime;
    while (!input.empty()) {
        const uint8_t lacks = input.byte();
        JournalEntry entry;
        if ((lacks & 1) == 0) {
            const auto usec = input.number<uint64_t>();
            entry.usec = (lacks & 4) == 0 ? journal.now_usec - usec % (100 * million) : usec;
        }
        if ((lacks & 2) == 0) {
            entry.message = input.block();
        }
        journal.entries.push_back(entry);
    }
    return journal;
}

int open_journals()
{
    return open_now;
}

} // namespace kex::fuzz

using kex::fuzz::journal_script;

extern "C" int sd_journal_open(sd_journal** journal, int flags)
{
    REQUIRE(flags == 7);
    if (!journal_script.opens) {
        return -EMFILE;
    }
    *journal = new sd_journal;
    ++open_now;
    return 0;
}

extern "C" void sd_journal_close(sd_journal* journal)
{
    delete journal;
    --open_now;
}

extern "C" int sd_journal_add_match(sd_journal* journal, const void* data, size_t size)
{
    REQUIRE(std::string(static_cast<const char*>(data), size) == "_TRANSPORT=kernel");
    journal->filtered = true;
    return journal_script.filters ? 0 : -ENOMEM;
}

extern "C" int sd_journal_seek_tail(sd_journal* journal)
{
    REQUIRE(!journal->at_head);
    return journal_script.seeks_tail ? 0 : -EIO;
}

extern "C" int sd_journal_seek_head(sd_journal* journal)
{
    REQUIRE(journal->filtered);
    journal->at_head = true;
    return journal_script.seeks_head ? 0 : -EIO;
}

extern "C" int sd_journal_next(sd_journal* journal)
{
    REQUIRE(journal->at_head && journal_script.seeks_head);
    journal->data.reset();
    return journal->next++ < journal_script.entries.size() ? 1 : 0;
}

extern "C" int sd_journal_get_monotonic_usec(sd_journal* journal, uint64_t* usec, sd_id128_t*)
{
    const auto& entry = current(journal);
    if (!entry.usec) {
        return -ESTALE;
    }
    *usec = *entry.usec;
    return 1;
}

extern "C" int sd_journal_get_data(sd_journal* journal, const char* field, const void** data,
                                   size_t* size)
{
    REQUIRE(std::string(field) == "MESSAGE");
    const auto& entry = current(journal);
    if (!entry.message) {
        return -ENOENT;
    }
    const std::string whole = std::string(field) + "=" + *entry.message;
    journal->data = std::make_unique<char[]>(whole.size());
    whole.copy(journal->data.get(), whole.size());
    *data = journal->data.get();
    *size = whole.size();
    return 0;
}

/** The monotonic clock as the C++ library has it, in nanoseconds. */
WRAPPED(int64_t, _ZNSt6chrono3_V212steady_clock3nowEv)
{
    return static_cast<int64_t>(journal_script.now_usec * 1000);
}
