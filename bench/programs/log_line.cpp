// One log line beside the same bytes written barely. Built twice: with a debug-log library that
// does nothing, which leaves the log file, and with the journal as the debug-log library.

#include "log_line.hpp"
#include "cases.hpp"
#include "core/log.hpp"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string_view>

namespace
{

constexpr const char* module_tag = "dbs";
constexpr const char* command = "com.orvel.bmc.network.KEX.CmdID.LINK_CTRL";

// What the call below makes of it; the time of day has the same length always.
constexpr std::string_view finished_line =
    "[20-Nov 21:43:24] dbs_executeCommand():71 - "
    "command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]\n";
constexpr std::string_view finished_entry =
    "SYSLOG_IDENTIFIER=kex\nPRIORITY=4\nQLOG_COMPONENT=320\nMESSAGE\n\x4f\0\0\0\0\0\0\0"
    "dbs_executeCommand():71 - command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]\n";

void write_with_kex()
{
    LOG_INFO_AS("executeCommand", 71, "command[%d]=[%s]\n", 6, command);
}

void write_barely()
{
    if (kex::bench::with_journal) {
        static const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        static const sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
        sendto(journal, finished_entry.data(), finished_entry.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }
    const int file = open("/run/tirvad/bare.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    [[maybe_unused]] const ssize_t ignored =
        write(file, finished_line.data(), finished_line.size());
    close(file);
}

} // namespace

int main(int argc, char** argv)
{
    return kex::bench::run_cases(argc, argv, {{"kex", write_with_kex}, {"bare", write_barely}});
}
