#pragma once

#include <string>

namespace kex::test
{

/**
 * Where the process's log file is in a test program: its folder is replaced, so that no test
 * writes into the log of a daemon that runs on the same machine.
 */
std::string own_log_file();

} // namespace kex::test
