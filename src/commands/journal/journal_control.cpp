#include "commands/command_handler.hpp"
#include "commands/journal/journal_dump.hpp"
#include "commands/log.hpp"

namespace kex::commands
{

void CommandHandler::journal_ctrl(const Args& args)
{
    if (args.size() < 3) {
        LOG_ERROR_AT(2011, "invalid parm list\n");
        return;
    }
    if (args[0] != "kernel") {
        LOG_ERROR_AT(2017, "invalid args[0]=%s\n", args[0].c_str());
        return;
    }
    // A number that does not convert throws, which ends the process. Intended.
    dump(static_cast<uint32_t>(std::stoul(args[1])), args[2]);
}

} // namespace kex::commands
