#pragma once

#include <cstdint>
#include <string>

namespace kex::commands
{

/** A time in microseconds as seconds, a point and six digits. */
std::string format_timestamp(uint64_t usec);

/**
 * Writes the kernel messages of the journal's last seconds to a file, which is created or
 * overwritten. Failures are logged and end the capture; entries that cannot be written are
 * logged one by one.
 * @param seconds  length of the window; 0 counts as 1
 * @param path     of the file; not checked in any way
 */
void dump(uint32_t seconds, const std::string& path);

} // namespace kex::commands
