#pragma once

#include "kexctl/failure.hpp"
#include "kexctl/options.hpp"

/** What kexctl can be asked to do, a function for each. They throw Failure. */
namespace kex::ctl
{

/** Sends the command that the verb names, or shows the call. */
ExitStatus run_command(const Options& options);

/** Describes kexctl, or the commands that are named. */
ExitStatus show_help(const Options& options);

/** Names every command. */
ExitStatus show_list(const Options& options);

/** Shows the daemon's log and follows it if asked to. */
ExitStatus show_log(const Options& options);

/** Shows who serves the commands. */
ExitStatus show_status(const Options& options);

/** Shows what may stand in place of the last word, for the completion of a shell. */
ExitStatus show_completions(const Options& options);

} // namespace kex::ctl
