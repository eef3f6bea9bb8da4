#include "support/recorded_log.hpp"

#include "core/log.hpp"
#include "support/require.hpp"
#include "support/wrapped.hpp"

#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <utility>

namespace
{

std::vector<kex::fuzz::LogLine>& lines()
{
    static std::vector<kex::fuzz::LogLine> all;
    return all;
}

/** A file without a name; made on first use, which is before main. */
int log_memory()
{
    static const int file = memfd_create("log", MFD_CLOEXEC);
    return file;
}

bool is_log(const std::string& path)
{
    return path.starts_with(kex::log_file_path);
}

} // namespace

extern "C" void qlog_printf(int level, int component, const char* format, ...)
{
    REQUIRE(component == kex::log_component);
    va_list args;
    va_start(args, format);
    char* text = nullptr;
    REQUIRE(vasprintf(&text, format, args) >= 0);
    va_end(args);
    lines().push_back({level, text});
    std::free(text);
}

WRAPPED(int, open64, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    if (is_log(path)) {
        REQUIRE((flags & (O_APPEND | O_CLOEXEC)) == (O_APPEND | O_CLOEXEC));
        return fcntl(log_memory(), F_DUPFD_CLOEXEC, 0);
    }
    return kex::fuzz::opened ? kex::fuzz::opened(path, flags) : __real_open64(path, flags, mode);
}

WRAPPED(int, rename, const char* from, const char* to)
{
    return is_log(from) && is_log(to) ? 0 : __real_rename(from, to);
}

namespace kex::fuzz
{

std::function<int(const std::string&, int)> opened;

std::vector<LogLine> take_log()
{
    return std::exchange(lines(), {});
}

std::string take_log_file()
{
    std::string text(static_cast<size_t>(lseek(log_memory(), 0, SEEK_CUR)), '\0');
    REQUIRE(pread(log_memory(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    REQUIRE(ftruncate(log_memory(), 0) == 0 && lseek(log_memory(), 0, SEEK_SET) == 0);
    return text;
}

void forget_log()
{
    take_log();
    take_log_file();
}

bool is_log_file_of(const std::string& file, const std::vector<LogLine>& log)
{
    constexpr size_t stamp_size = 18; // "[20-Nov 21:43:24] "
    size_t at = 0;
    for (const LogLine& line : log) {
        if (line.level == level_trace) {
            continue;
        }
        if (at + stamp_size > file.size() || file[at] != '[' ||
            file.compare(at + stamp_size, line.text.size(), line.text) != 0) {
            return false;
        }
        at += stamp_size + line.text.size();
    }
    return at == file.size();
}

size_t count_lines(const std::vector<LogLine>& log, const std::string& text)
{
    return static_cast<size_t>(std::ranges::count_if(
        log, [&](const LogLine& line) { return line.body().starts_with(text); }));
}

} // namespace kex::fuzz
