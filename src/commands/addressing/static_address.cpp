#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/parse.hpp"
#include "commands/validators/validators.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"
#include "netlink/address.hpp"

#include <linux/rtnetlink.h>

namespace kex::commands
{
namespace
{

using namespace keyword;

constexpr const char* set_address = "set_static_address";

/** An address and, for IPv4, its broadcast address. */
struct AddressPair {
    netlink::IpAddress address;
    std::optional<netlink::IpAddress> broadcast;
};

std::optional<netlink::IpAddress> convert(const std::string& text, sa_family_t family)
{
    const auto address = parse_ip(text, family);
    if (!address) {
        LOG_ERROR_AS(set_address, __LINE__, "failed to convert %s to %s\n", text.c_str(),
                     family == AF_INET ? "IPv4" : "IPv6");
    }
    return address;
}

std::optional<AddressPair> ipv6_address(const Args& args)
{
    if (is_invalid_ipv6(args[1])) {
        LOG_ERROR_AS(set_address, __LINE__, "invalid parm list\n");
        return std::nullopt;
    }
    const auto address = convert(args[1], AF_INET6);
    if (!address) {
        return std::nullopt;
    }
    return AddressPair{*address, std::nullopt};
}

std::optional<AddressPair> ipv4_address(const Args& args)
{
    if (args.size() < 4 || is_invalid_ipv4_text(args[1]) || is_invalid_ipv4_text(args[3])) {
        LOG_ERROR_AS(set_address, __LINE__, "invalid parm list\n");
        return std::nullopt;
    }
    const auto address = convert(args[1], AF_INET);
    if (!address) {
        return std::nullopt;
    }
    const auto broadcast = convert(args[3], AF_INET);
    if (!broadcast) {
        return std::nullopt;
    }
    return AddressPair{*address, broadcast};
}

uint8_t scope_of(const std::string& word)
{
    if (word == addr_scope::global) {
        return RT_SCOPE_UNIVERSE;
    }
    return word == addr_scope::link ? uint8_t{RT_SCOPE_LINK} : netlink::every_scope;
}

} // namespace

void CommandHandler::set_static_address(const Args& args)
{
    if (args.size() < 3 || is_invalid_ifname(args[0])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const bool ipv6 = args[1].find(':') != std::string::npos;
    const auto pair = ipv6 ? ipv6_address(args) : ipv4_address(args);
    if (!pair) {
        return;
    }
    const auto prefix = parse_prefix(args[2], pair->address.family);
    if (!prefix) {
        LOG_ERROR("invalid prefix length or subnet mask: %s\n", args[2].c_str());
        return;
    }
    LOG_INFO("adding %s static IP %s/%u\n", args[0].c_str(), args[1].c_str(), unsigned{*prefix});
    const int rc = netlink::add_address(netlink::netlink_command_socket(), args[0], pair->address,
                                        *prefix, pair->broadcast);
    if (rc != 0) {
        LOG_ERROR("failed to add static IP rc=%d\n", rc);
    }
}

void CommandHandler::addr_flush(const Args& args)
{
    if (args.size() < 4 || is_invalid_ifname(args[0]) || !is_keyword(ip_versions, args[1]) ||
        !is_keyword(addr_scopes, args[2]) || !is_keyword(flush_kinds, args[3])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    LOG_INFO("flushing %s %s %s %s addrs\n", args[0].c_str(), args[1].c_str(), args[2].c_str(),
             args[3].c_str());
    const int rc = netlink::flush_addresses(netlink::netlink_command_socket(), args[0],
                                            args[1] == ip_version::ipv4 ? AF_INET : AF_INET6,
                                            scope_of(args[2]), args[3] == flush_kind::static_);
    if (rc != 0) {
        LOG_ERROR("failed to flush rc=%d\n", rc);
    }
}

} // namespace kex::commands
