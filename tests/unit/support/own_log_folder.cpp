#include "support/own_log_folder.hpp"

#include "core/log.hpp"
#include "support/temp_dir.hpp"

#include <fcntl.h>

#include <cstdarg>
#include <cstdio>

namespace
{

std::string replaced(const char* path)
{
    const std::string former = kex::log_file_path;
    const std::string text = path;
    return text.starts_with(former) ? kex::test::own_log_file() + text.substr(former.size()) : text;
}

} // namespace

extern "C" int open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return openat(AT_FDCWD, replaced(path).c_str(), flags, mode);
}

extern "C" int rename(const char* from, const char* to) noexcept
{
    return renameat(AT_FDCWD, replaced(from).c_str(), AT_FDCWD, replaced(to).c_str());
}

namespace kex::test
{

std::string own_log_file()
{
    // Made on first use, which is the construction of the log file before main.
    static const TempDir folder;
    return folder.file("kex.log");
}

} // namespace kex::test
