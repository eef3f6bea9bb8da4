#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace kex
{

/** Closes a stream; a failure to write what was still buffered goes unreported. */
struct StreamCloser {
    void operator()(FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, StreamCloser>;

/**
 * Writes value and a line feed over a file, which the kernel sees as one write: it takes each
 * write to a setting as one value.
 * @return the number of bytes formatted; none when the file cannot be opened. A write that the
 *         kernel refuses shows in neither: for a setting, only the open counts. Intended.
 */
std::optional<int> write_setting(const std::string& path, const std::string& value);

/** What came of reading a first line. */
struct FirstLine {
    bool opened;      /**< false when the file cannot be opened */
    bool read;        /**< false when there was nothing to read either */
    bool line_feed;   /**< false when the file ends without one */
    std::string text; /**< up to the line feed, or to the end of the file; may hold NUL bytes */
};

FirstLine read_first_line(const std::string& path);

} // namespace kex
