#pragma once

#include <cstddef>

// What holds after each command, whatever became of it.
namespace kex::fuzz
{

/**
 * A list that is refused has one line that says so, and no effect. The log file has the messages
 * that the library got.
 * @param effects  of the command on the system
 */
void check_log(size_t effects);

/**
 * Everything that was opened is closed, no signal is held back and every child is reaped.
 * @param lowest_free  descriptor before the command
 */
void check_balance(int lowest_free);

} // namespace kex::fuzz
