#pragma once

#include "support/input.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The system journal from a script; it checks the order of the calls too.
namespace kex::fuzz
{

struct JournalEntry {
    std::optional<uint64_t> usec;       /**< none when its time cannot be read */
    std::optional<std::string> message; /**< none when it has none */
};

struct JournalScript {
    bool opens = true;
    bool filters = true;
    bool seeks_tail = true;
    bool seeks_head = true;
    std::vector<JournalEntry> entries;
    uint64_t now_usec = 0; /**< what the monotonic clock shows */
};

/** A script of what is left of an input; the times lie around now for the most part. */
JournalScript read_journal(Input& input);

extern JournalScript journal_script;

/** Journals that are open now. */
int open_journals();

} // namespace kex::fuzz
