#include "support/recorded_files.hpp"

#include "support/require.hpp"
#include "support/wrapped.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

namespace kex::fuzz
{

std::function<FileScript(const std::string&, const std::string&)> file_script;

namespace
{

std::vector<WrittenFile> written;
int streams = 0;

struct OpenFile {
    FileScript script;
    size_t at;     /**< next byte to be read */
    size_t number; /**< among the written files */
};

OpenFile& file_of(void* cookie)
{
    return *static_cast<OpenFile*>(cookie);
}

ssize_t read_some(void* cookie, char* buffer, size_t size)
{
    OpenFile& file = file_of(cookie);
    const size_t taken = file.script.content.copy(buffer, size, file.at);
    file.at += taken;
    return static_cast<ssize_t>(taken);
}

ssize_t write_some(void* cookie, const char* data, size_t size)
{
    OpenFile& file = file_of(cookie);
    const size_t taken = std::min(size, file.script.room);
    file.script.room -= taken;
    written.at(file.number).content.append(data, taken);
    if (taken < size) {
        errno = ENOSPC;
        return 0; // how a cookie's stream is told of an error
    }
    return static_cast<ssize_t>(taken);
}

int close_file(void* cookie)
{
    delete &file_of(cookie);
    --streams;
    return 0;
}

} // namespace

std::vector<WrittenFile> take_written_files()
{
    return std::exchange(written, {});
}

int open_streams()
{
    return streams;
}

} // namespace kex::fuzz

WRAPPED(FILE*, fopen64, const char* path, const char* mode)
{
    using namespace kex::fuzz;
    if (!file_script) {
        return __real_fopen64(path, mode);
    }
    const bool for_writing = std::strcmp(mode, "we") == 0;
    REQUIRE(for_writing || std::strcmp(mode, "re") == 0);
    const FileScript script = file_script(path, mode);
    if (!script.opens) {
        errno = ENOENT;
        return nullptr;
    }
    if (for_writing) {
        written.push_back({path, {}});
    }
    auto file = std::make_unique<OpenFile>(OpenFile{script, 0, written.size() - 1});
    FILE* stream = fopencookie(file.release(), mode, {read_some, write_some, nullptr, close_file});
    REQUIRE(stream != nullptr);
    ++streams;
    return stream;
}
