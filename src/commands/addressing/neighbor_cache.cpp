#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/parse.hpp"
#include "commands/validators/validators.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"
#include "netlink/neighbor.hpp"

namespace kex::commands
{

void CommandHandler::set_ip6_neighbor_cache(const Args& args)
{
    if (args.empty() || !is_keyword(enable_values, args[0])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    netlink::NetlinkCommandSocket& sock = netlink::netlink_command_socket();
    if (args[0] == keyword::toggle::disable) {
        LOG_INFO("neighbor cache flush rc=%d\n", netlink::flush_neighbors(sock));
        return;
    }
    if (args.size() < 4 || is_invalid_ipv6(args[1]) || is_invalid_mac(args[2]) ||
        is_invalid_ifname(args[3])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const auto address = parse_ip(args[1], AF_INET6);
    if (!address) {
        LOG_ERROR("failed to convert %s to IPv6\n", args[1].c_str());
        return;
    }
    const auto mac = netlink::parse_mac(args[2]);
    if (!mac) {
        LOG_ERROR("invalid MAC address %s\n", args[2].c_str());
        return;
    }
    const int rc = netlink::replace_neighbor(sock, args[3], *address, *mac);
    LOG_INFO("update %s %s rc=%d\n", args[1].c_str(), args[3].c_str(), rc);
}

} // namespace kex::commands
