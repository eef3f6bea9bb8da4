#include "dbus/dispatch.hpp"

#include "core/log.hpp"
#include "core/signals.hpp"
#include "dbus/command_table.hpp"

#include <sys/wait.h>

#include <string>

namespace kex::dbus
{
namespace
{

constexpr const char* module_tag = "dbs";
constexpr const char* dispatch = "executeCommand";

/** One waitpid for each counted signal, whether or not it finds a child. */
void reap_children()
{
    // A further SIGCHLD may raise the counter meanwhile; its child is reaped in the same run.
    while (pending_children >= 1) {
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) > 0) {
            KEX_LOG(log_message, level_reaping, dispatch, 172, "reaped a zombie child. status=%d\n",
                    status);
        }
        --pending_children;
    }
}

int32_t run_handler(commands::CommandHandler& handler, CmdID cmd, const commands::Args& args)
{
    const CommandAction action = find_action(cmd);
    if (action == nullptr) {
        LOG_INFO_AS(dispatch, 164, "unknown\n");
        return 0;
    }
    return action(handler, args);
}

} // namespace

int32_t executeCommand(commands::CommandHandler& handler, CmdID cmd, const commands::Args& args)
{
    const std::string name = KEXBinding::convertCmdIDToString(cmd);
    LOG_INFO_AT(71, "command[%d]=[%s]\n", static_cast<int>(cmd), name.c_str());
    for (size_t i = 0; i < args.size(); ++i) {
        LOG_INFO_AT(76, "   args[%zu]=[%s]\n", i, args[i].c_str());
    }
    const int32_t result = run_handler(handler, cmd, args);
    reap_children();
    return result;
}

} // namespace kex::dbus
