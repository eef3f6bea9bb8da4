#include "commands/command_handler.hpp"
#include "commands/link/exec.hpp"
#include "commands/log.hpp"
#include "core/number.hpp"
#include "core/text_file.hpp"
#include "dbus/constants.hpp"
#include "dbus/keywords.hpp"

#include <csignal>
#include <cstdint>
#include <cstdio>

namespace kex::commands
{
namespace
{

using namespace keyword;
using constant::ostrelagent_pid_file;

constexpr const char* handler = "server_autoconfig";
constexpr const char* agent_marker = "ostrelagent";

/** Reads a process id above 1, so that init is never reported. @return false when there is none */
bool get_pid_from_file(const std::string& path, int32_t& pid)
{
    const FirstLine line = read_first_line(path);
    if (!line.opened) {
        LOG_TRACE("unable to open pidfile %s\n", path.c_str());
        return false;
    }
    const auto number = static_cast<uint32_t>(leading_number(line.text));
    LOG_TRACE("pids:'%s' pid:%u\n", line.text.c_str(), number);
    pid = static_cast<int32_t>(number);
    return pid > 1;
}

/** Kills the process of the pid file if it is the agent. @return the result of kill, or 0 */
int kill_agent()
{
    int32_t pid = 0;
    if (!get_pid_from_file(ostrelagent_pid_file, pid) || pid < 2) {
        LOG_INFO_AS(handler, __LINE__, "couldnt get pid from %s\n", ostrelagent_pid_file.c_str());
        return 0;
    }
    const std::string path = "/proc/" + std::to_string(pid) + "/cmdline";
    const FirstLine cmdline = read_first_line(path);
    if (!cmdline.opened) {
        LOG_INFO_AS(handler, __LINE__, "failed to open %s\n", path.c_str());
        return 0;
    }
    const std::string& text = cmdline.text;
    LOG_INFO_AS(handler, __LINE__, "read %s\n", text.c_str()); // up to its first NUL
    // Found behind the first NUL too: the agent may be a script that an interpreter runs.
    if (text.find(agent_marker) == std::string::npos) {
        LOG_INFO_AS(handler, __LINE__, "wrong pid %u dont kill %s\n", static_cast<unsigned>(pid),
                    text.c_str());
        return 0;
    }
    const int rc = kill(pid, SIGKILL);
    LOG_INFO_AS(handler, __LINE__, "killed ostrelagent pid %u rc=%d\n", static_cast<unsigned>(pid),
                rc);
    return rc;
}

void cancel_autoconfig()
{
    LOG_INFO_AS(handler, __LINE__, "canceling running autoconfig process\n");
    const int kill_rc = kill_agent();
    if (std::remove(ostrelagent_pid_file.c_str()) != 0) {
        // The result shown is that of the kill. Intended.
        LOG_INFO_AS(handler, __LINE__, "failed to remove %s rc=%d\n", ostrelagent_pid_file.c_str(),
                    kill_rc);
    }
}

} // namespace

void CommandHandler::server_autoconfig(const Args& args)
{
    if (args.empty()) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    if (args[0] == toggle::disable) {
        cancel_autoconfig();
        return;
    }
    if (args[0] != toggle::enable) {
        LOG_ERROR("invalid args[0]=%s\n", args[0].c_str());
        return;
    }
    if (args.size() < 2) {
        LOG_ERROR("invalid args, missing command string\n");
        return;
    }
    LOG_INFO("starting server autoconfig\n");
    const int rc = exec_cmd({constant::autoconf_script_path, args[1].c_str()});
    if (rc != 0) {
        LOG_ERROR("failed to start server autoconfig rc=%d\n", rc);
    }
}

} // namespace kex::commands
