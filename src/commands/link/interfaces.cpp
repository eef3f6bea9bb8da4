#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "dbus/keywords.hpp"
#include "netlink/link.hpp"

namespace kex::commands
{

void CommandHandler::delete_network_interface(const Args& args)
{
    if (args.size() != 1 || is_invalid_ifname(args[0])) {
        LOG_ERROR_AT(877, "invalid parm list\n");
        return;
    }
    LOG_INFO_AT(880, "deleting interface %s\n", args[0].c_str());
    const int rc = netlink::delete_link(netlink::netlink_command_socket(), args[0]);
    if (rc != 0) {
        LOG_WARNING_AT(883, "failed to delete %s rc=%d\n", args[0].c_str(), rc);
    }
}

void CommandHandler::rename_network_interface(const Args& args)
{
    if (args.size() < 2 || is_invalid_ifname(args[0]) || is_invalid_ifname(args[1])) {
        LOG_ERROR_AT(1241, "invalid parm list\n");
        return;
    }
    LOG_INFO_AT(1244, "renaming %s to %s\n", args[0].c_str(), args[1].c_str());
    // The kernel does not rename a running link. It stays down: bringing it up is the caller's
    // business.
    link_control({keyword::link_state::down, args[0]});
    const int rc = netlink::rename_link(netlink::netlink_command_socket(), args[0], args[1]);
    if (rc != 0) {
        LOG_ERROR_AT(1251, "failed to rename %s to %s rc=%d\n", args[0].c_str(), args[1].c_str(),
                     rc);
    }
}

void CommandHandler::conjoin_in_an_inclusive_fashion(const Args& args)
{
    if (args.empty() || is_invalid_ifname(args[0])) {
        LOG_ERROR_AT(1322, "invalid parm list\n");
        return;
    }
    int rc = 0;
    if (args.size() == 1) {
        LOG_INFO_AT(1328, "disjoining %s\n", args[0].c_str());
        rc = netlink::clear_link_boss(netlink::netlink_command_socket(), args[0]);
    } else {
        if (is_invalid_ifname(args[1])) {
            LOG_ERROR_AT(1333, "invalid parm list\n");
            return;
        }
        LOG_INFO_AT(1338, "conjoining %s to %s\n", args[0].c_str(), args[1].c_str());
        rc = netlink::set_link_boss(netlink::netlink_command_socket(), args[0], args[1]);
    }
    if (rc != 0) {
        LOG_ERROR_AT(1342, "failed to conjoin rc=%d\n", rc);
    }
}

} // namespace kex::commands
