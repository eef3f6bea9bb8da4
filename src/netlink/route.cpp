#include "netlink/route.hpp"

#include "netlink/attributes.hpp"
#include "netlink/flush.hpp"
#include "netlink/log.hpp"
#include "netlink/request.hpp"

namespace kex::netlink
{
namespace
{

/** The index of a link that may be unnamed: 0 then, none for an unknown name. */
std::optional<uint32_t> optional_ifindex(const std::string& link)
{
    if (link.empty()) {
        return 0;
    }
    const unsigned index = resolve_ifindex(link);
    return index == 0 ? std::nullopt : std::optional<uint32_t>(index);
}

/** Where a dumped route stands and where it leads. */
struct RouteKey {
    uint32_t table;
    uint32_t oif;
};

RouteKey route_key(const nlmsghdr& entry, const rtmsg& header)
{
    RouteKey key = {header.rtm_table, 0};
    visit_attributes<rtmsg>(entry, [&](const rtattr& attribute) {
        if (attribute.rta_type == RTA_TABLE) {
            key.table = u32_payload(attribute).value_or(key.table);
        } else if (attribute.rta_type == RTA_OIF) {
            key.oif = u32_payload(attribute).value_or(key.oif);
        }
        return true;
    });
    return key;
}

using RouteRequest = Request<rtmsg, large_request>;

bool add_attributes(RouteRequest& request, const Route& route, uint32_t oif)
{
    const uint32_t length = address_length(route.family);
    const bool with_destination = route.destination && route.prefix_length != 0;
    return (!with_destination || request.add(RTA_DST, route.destination->bytes.data(), length)) &&
           (!route.gateway || request.add(RTA_GATEWAY, route.gateway->bytes.data(), length)) &&
           (oif == 0 || request.add_u32(RTA_OIF, oif)) && request.add_u32(RTA_TABLE, route.table);
}

} // namespace

int add_route(NetlinkCommandSocket& sock, const Route& route)
{
    const auto oif = optional_ifindex(route.link);
    if (!oif) {
        return -1;
    }
    if (route.table > max_table) {
        LOG_ERROR("invalid table ID: %d\n", static_cast<int>(route.table));
        return -1;
    }
    const uint16_t mode = route.replace ? NLM_F_REPLACE : NLM_F_APPEND;
    RouteRequest request(sock, RTM_NEWROUTE,
                         static_cast<uint16_t>(NLM_F_ACK | NLM_F_CREATE | mode));
    rtmsg& header = request.family();
    header.rtm_family = static_cast<uint8_t>(route.family);
    header.rtm_dst_len = route.prefix_length;
    header.rtm_table = static_cast<uint8_t>(route.table);
    header.rtm_protocol = RTPROT_STATIC;
    header.rtm_scope = RT_SCOPE_UNIVERSE;
    header.rtm_type = RTN_UNICAST;
    header.rtm_flags = route.gateway && route.onlink ? RTNH_F_ONLINK : 0;
    if (!add_attributes(request, route, *oif)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("added route on %s\n", route.link.c_str()),
                ("failed to add route on %s\n", route.link.c_str()));
    return result;
}

int flush_routes(NetlinkCommandSocket& sock, sa_family_t family, const std::string& link,
                 uint8_t protocol, uint32_t table)
{
    const auto oif = optional_ifindex(link);
    if (!oif) {
        return -1;
    }
    if (table > max_table) {
        LOG_ERROR("invalid table ID: %d\n", static_cast<int>(table));
        return -1;
    }
    auto delete_if_matching = [&](nlmsghdr& message) {
        const auto* entry = family_header<rtmsg>(message);
        if (entry == nullptr || (protocol != 0 && entry->rtm_protocol != protocol)) {
            return false;
        }
        const RouteKey key = route_key(message, *entry);
        if (key.table != table || (*oif != 0 && key.oif != *oif)) {
            return false;
        }
        delete_dumped(sock, message, RTM_DELROUTE);
        return true;
    };

    Request<rtmsg, small_request> request(sock, RTM_GETROUTE, NLM_F_DUMP);
    request.family().rtm_family = static_cast<uint8_t>(family);
    const int flushed =
        flush(sock, request.header(),
              {__func__, "flush_routes: forbidden by checkmarx to say way sendto failed",
               RTM_NEWROUTE, EntryVisitor(delete_if_matching)});
    if (flushed < 0) {
        return -1;
    }
    LOG_INFO("flushed %d routes\n", flushed);
    return 0;
}

} // namespace kex::netlink
