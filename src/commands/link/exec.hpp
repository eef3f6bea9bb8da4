#pragma once

#include <initializer_list>

namespace kex::commands
{

/**
 * Runs a program without a shell: argv[0] is its absolute path, a null pointer ends argv. SIGINT
 * and SIGTERM are held back from the daemon until the child has ended, so that a command is
 * complete before the daemon stops.
 * @param wait     wait for the child, however long it takes
 * @param silence  send the child's standard output and standard error to /dev/null
 * @return without wait 0; with it the raw wait status, never decoded; the negative result of a
 *         fork that failed
 */
int exec_cmd(const char* const* argv, bool wait, bool silence);

/**
 * Runs a program as every command does: waited for and silent.
 * @param words  the program's absolute path and its arguments; a nullptr ends the list early
 * @return as above
 */
int exec_cmd(std::initializer_list<const char*> words);

/**
 * Sends standard output and standard error of the calling process to /dev/null.
 * @return 0, or a negative number when nothing was changed
 */
int silence_child_output();

} // namespace kex::commands
