#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/text_file.hpp"

#include <unistd.h>

namespace kex::commands
{
namespace
{

bool is_one_text(const Args& args)
{
    return args.size() == 1 && !is_invalid_text(args[0]);
}

} // namespace

void CommandHandler::set_host_name(const Args& args)
{
    if (!is_one_text(args)) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const int rc = sethostname(args[0].data(), args[0].size());
    LOG_INFO("setting hostname:%s rc=%d\n", args[0].c_str(), rc);
}

void CommandHandler::set_domain_name(const Args& args)
{
    if (!is_one_text(args)) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const int rc = setdomainname(args[0].data(), args[0].size());
    LOG_INFO("setting domainname:%s rc=%d\n", args[0].c_str(), rc);
}

void CommandHandler::update_hosts_file(const Args& args)
{
    if (!is_one_text(args)) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    // Overwritten in place and without a word about a failure. Intended.
    write_setting("/etc/hosts", "# Do not remove the following line, or various programs\n"
                                "# that require network functionality will fail.\n"
                                "127.0.0.1\tlocalhost wpcm450\n"
                                "127.0.0.1\t" +
                                    args[0]);
}

} // namespace kex::commands
