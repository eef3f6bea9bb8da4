// A bare walk through the kernel's entries of the runtime journal, reading what JOURNAL_CTRL reads:
// the time of every entry and the message of those in the window.
// With a file, each message is written to it by itself.
// usage: journal_loop SECONDS [FILE]

#include <fcntl.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <systemd/sd-journal.h>
#include <time.h>
#include <unistd.h>

static uint64_t window_start(uint64_t seconds)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const uint64_t usec = (uint64_t)now.tv_sec * 1000000 + (uint64_t)now.tv_nsec / 1000;
    return seconds * 1000000 < usec ? usec - seconds * 1000000 : 0;
}

int main(int argc, char** argv)
{
    static const char match[] = "_TRANSPORT=kernel";
    sd_journal* journal = NULL;
    const int file = argc == 3 ? open(argv[2], O_WRONLY | O_CREAT | O_TRUNC, 0644) : -1;
    if (argc < 2 ||
        sd_journal_open(&journal,
                        SD_JOURNAL_LOCAL_ONLY | SD_JOURNAL_RUNTIME_ONLY | SD_JOURNAL_SYSTEM) < 0 ||
        sd_journal_add_match(journal, match, sizeof(match) - 1) < 0 ||
        sd_journal_seek_head(journal) < 0) {
        return 1;
    }
    const uint64_t start = window_start(strtoull(argv[1], NULL, 10));
    uint64_t entries = 0;
    uint64_t bytes = 0;
    while (sd_journal_next(journal) > 0) {
        uint64_t usec = 0;
        const void* data = NULL;
        size_t size = 0;
        if (sd_journal_get_monotonic_usec(journal, &usec, NULL) < 0 || usec < start ||
            sd_journal_get_data(journal, "MESSAGE", &data, &size) < 0) {
            continue;
        }
        if (file >= 0 && write(file, data, size) < 0) {
            return 1;
        }
        ++entries;
        bytes += size;
    }
    sd_journal_close(journal);
    printf("%" PRIu64 " entries, %" PRIu64 " bytes\n", entries, bytes);
    return 0;
}
