#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kex::ctl
{

/** What was asked for on the command line. */
struct Options {
    bool help = false;
    bool version = false;
    bool json = false;
    bool dry_run = false;
    bool follow = false;
    bool errors = false;
    std::string verb;               /**< a subcommand or the name of a command */
    std::vector<std::string> words; /**< what follows the verb */
};

/**
 * Reads the command line. What follows the name of a command is left as it is: it may begin with a
 * dash and is the daemon's to judge. What follows a subcommand may hold options.
 * @throws Failure for an option that does not exist or does not belong to the verb
 */
Options parse_options(const std::vector<std::string>& arguments);

/** Every subcommand, for completion. */
const std::vector<std::string>& subcommands();

/** The options that may follow a verb; those of commands for any other text. */
const std::vector<std::string>& options_of(const std::string& verb);

} // namespace kex::ctl
