#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/parse.hpp"
#include "commands/validators/validators.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"
#include "netlink/route.hpp"
#include "netlink/rule.hpp"

#include <linux/rtnetlink.h>

namespace kex::commands
{
namespace
{

using namespace keyword;

constexpr const char* set_route = "set_static_route";
constexpr uint32_t main_table = RT_TABLE_MAIN;

std::optional<uint32_t> table_argument(const std::string& text, const char* function)
{
    const auto table = parse_table(text);
    if (!table) {
        LOG_ERROR_AS(function, __LINE__, "invalid table ID: %s\n", text.c_str());
    }
    return table;
}

/** Puts the address into out. @return false and a log line when the text does not parse */
bool convert(const std::string& text, sa_family_t family, std::optional<netlink::IpAddress>& out)
{
    out = parse_ip(text, family);
    if (!out) {
        LOG_ERROR_AS(set_route, __LINE__, "failed to convert %s to %s\n", text.c_str(),
                     family == AF_INET ? "IPv4" : "IPv6");
    }
    return out.has_value();
}

bool set_destination(netlink::Route& route, const std::string& text)
{
    if (text == route_destination::default_) {
        return true;
    }
    const Destination destination = split_destination(text, route.family);
    route.prefix_length = destination.prefix_length;
    return convert(destination.address, route.family, route.destination);
}

bool set_gateway(netlink::Route& route, const std::string& text)
{
    return text == "0.0.0.0" || convert(text, route.family, route.gateway);
}

uint8_t protocol_of(const std::string& word)
{
    // "dhcp" flushes static routes: the routes of a lease are added as static ones. Intended.
    return word == route_protocol::kernel ? RTPROT_KERNEL : RTPROT_STATIC;
}

void clear_route(const Args& args)
{
    if (!is_keyword(ip_versions, args[1])) {
        LOG_ERROR("invalid protocol parm\n");
        return;
    }
    if (args.size() >= 3 && is_invalid_ifname(args[2])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    if (args.size() >= 4 && !is_keyword(route_protocols, args[3])) {
        LOG_ERROR("invalid route proto\n");
        return;
    }
    const auto table = args.size() >= 5 ? table_argument(args[4], __func__) : main_table;
    if (!table) {
        return;
    }
    const int rc = netlink::flush_routes(
        netlink::netlink_command_socket(), args[1] == ip_version::ipv4 ? AF_INET : AF_INET6,
        args.size() >= 3 ? args[2] : std::string(),
        args.size() >= 4 ? protocol_of(args[3]) : uint8_t{RTPROT_STATIC}, *table);
    if (rc != 0) {
        LOG_ERROR("failed to flush %s routes rc=%d\n", args[1].c_str(), rc);
    }
}

void set_route_rule(const Args& args)
{
    if (args.size() < 4 || !is_keyword(enable_values, args[1]) || is_invalid_ipv4_text(args[2])) {
        LOG_ERROR("invalid parm count\n");
        return;
    }
    const bool add = args[1] == toggle::enable;
    const std::string& selector = args.size() == 5 ? args[4] : rule_direction::from;
    const auto table = table_argument(args[3], __func__);
    if (!table) {
        return;
    }
    // The check above lets no "/" and no ":" through: the address is an IPv4 host.
    const auto address = parse_ip(args[2], AF_INET);
    if (!address) {
        LOG_ERROR("failed to convert %s to IPv6\n", args[2].c_str());
        return;
    }
    const Destination host = split_destination(args[2], AF_INET);
    const int rc = netlink::modify_rule(netlink::netlink_command_socket(), add, selector, *address,
                                        host.prefix_length, *table);
    if (rc != 0) {
        LOG_ERROR("failed to set route rule %s from %s table %d rc=%d\n", args[1].c_str(),
                  args[2].c_str(), static_cast<int>(*table), rc);
    }
}

} // namespace

void CommandHandler::set_static_route(const Args& args)
{
    if (args.size() < 2 || !is_keyword(static_route_modes, args[0])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    if (args[0] == route_mode::routerule) {
        set_route_rule(args);
        return;
    }
    if (args[0] == toggle::disable) {
        clear_route(args);
        return;
    }
    if (args.size() < 5 || is_invalid_route_dest(args[3]) || is_invalid_ip_or_any(args[4])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const bool with_table = args.size() == 6; // surplus arguments select the main table
    if (with_table && is_invalid_text(args[5])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const auto table = with_table ? table_argument(args[5], __func__) : main_table;
    if (!table) {
        return;
    }
    netlink::Route route;
    route.family = args[1] == ip_version::ipv4 ? AF_INET : AF_INET6;
    route.link = args[2];
    route.table = *table;
    // IPv4 replaces, IPv6 appends, and a gateway is always taken as on the link. Intended.
    route.replace = route.family == AF_INET;
    if (!set_destination(route, args[3]) || !set_gateway(route, args[4])) {
        return;
    }
    route.onlink = route.gateway.has_value();
    const int rc = netlink::add_route(netlink::netlink_command_socket(), route);
    if (rc != 0) {
        LOG_ERROR("failed to set static %s routes rc=%d\n", args[1].c_str(), rc);
    }
}

} // namespace kex::commands
