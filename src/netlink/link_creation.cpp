#include "netlink/link_creation.hpp"

#include "core/number.hpp"
#include "netlink/log.hpp"
#include "netlink/mac_address.hpp"
#include "netlink/request.hpp"

#include <linux/if_link.h>

#include <algorithm>
#include <array>
#include <optional>

namespace kex::netlink
{
namespace
{

using LinkInfoRequest = Request<ifinfomsg, large_request>;

constexpr uint16_t create_flags = NLM_F_ACK | NLM_F_EXCL | NLM_F_CREATE;

/** In the order of the kernel's numbers. */
constexpr std::array bond_mode_names{
    "balance-rr", "active-backup", "balance-xor", "broadcast",
    "802.3ad",    "balance-tlb",   "balance-alb",
};

std::optional<uint8_t> parse_bond_mode(const std::string& mode)
{
    const auto* name = std::ranges::find(bond_mode_names, mode);
    if (name != bond_mode_names.end()) {
        return static_cast<uint8_t>(name - bond_mode_names.begin());
    }
    if (mode.empty()) {
        return uint8_t{0}; // read to its end without a digit, which is mode 0; intended
    }
    const auto number = whole_number(mode);
    if (!number || *number >= bond_mode_names.size()) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(*number);
}

/** Adds IFLA_ADDRESS. A text that is no MAC address is logged under function and line. */
bool add_mac(LinkInfoRequest& request, const std::string& mac, const char* function, int line)
{
    const auto address = parse_mac(mac);
    if (!address) {
        LOG_ERROR_AS(function, line, "invalid MAC address %s\n", mac.c_str());
        return false;
    }
    return request.add(IFLA_ADDRESS, address->data(), mac_length);
}

/**
 * Adds IFLA_LINKINFO of a kind, with IFLA_INFO_DATA around what add_data adds.
 * @param add_data  returns false when an attribute cannot be added
 */
template <typename AddData>
bool add_link_info(LinkInfoRequest& request, const char* kind, AddData add_data)
{
    rtattr* info = request.begin(IFLA_LINKINFO);
    if (info == nullptr || !request.add_text(IFLA_INFO_KIND, kind)) {
        return false;
    }
    rtattr* data = request.begin(IFLA_INFO_DATA);
    if (data == nullptr || !add_data()) {
        return false;
    }
    request.end(data);
    request.end(info);
    return true;
}

bool add_egress_map(LinkInfoRequest& request, const std::vector<VlanQosMapping>& mappings)
{
    rtattr* egress = request.begin(IFLA_VLAN_EGRESS_QOS);
    if (egress == nullptr) {
        return false;
    }
    for (const VlanQosMapping& mapping : mappings) {
        if (!request.add(IFLA_VLAN_QOS_MAPPING, &mapping, sizeof(mapping))) {
            return false;
        }
    }
    request.end(egress);
    return true;
}

} // namespace

int create_bond(NetlinkCommandSocket& sock, const std::string& name, const std::string& mac,
                const std::string& mode)
{
    LinkInfoRequest request(sock, RTM_NEWLINK, create_flags);
    const bool complete =
        request.add_text(IFLA_IFNAME, name) && add_mac(request, mac, __func__, __LINE__) &&
        add_link_info(request, "bond", [&] {
            const auto number = parse_bond_mode(mode);
            if (!number) {
                LOG_ERROR_AS("create_bond", __LINE__, "invalid bond mode %s\n", mode.c_str());
                return false;
            }
            return request.add_u8(IFLA_BOND_MODE, *number);
        });
    if (!complete) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("bond %s create mode %s\n", name.c_str(), mode.c_str()),
                ("failed to create bond %s\n", name.c_str()));
    return result;
}

int create_vlan(NetlinkCommandSocket& sock, const std::string& name, const std::string& lower,
                unsigned id)
{
    const unsigned lower_index = resolve_ifindex(lower);
    if (lower_index == 0) {
        return -1;
    }
    LinkInfoRequest request(sock, RTM_NEWLINK, create_flags);
    const bool complete =
        request.add_text(IFLA_IFNAME, name) && request.add_u32(IFLA_LINK, lower_index) &&
        add_link_info(request, "vlan",
                      [&] { return request.add_u16(IFLA_VLAN_ID, static_cast<uint16_t>(id)); });
    if (!complete) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("vlan %s lower %s id %u\n", name.c_str(), lower.c_str(), id),
                ("failed to create vlan %s\n", name.c_str()));
    return result;
}

int create_macvlan(NetlinkCommandSocket& sock, const std::string& name, const std::string& lower,
                   const std::string& mac)
{
    const unsigned lower_index = resolve_ifindex(lower);
    if (lower_index == 0) {
        return -1;
    }
    const bool is_private = !mac.empty();
    LinkInfoRequest request(sock, RTM_NEWLINK, create_flags);
    const bool complete = request.add_text(IFLA_IFNAME, name) &&
                          request.add_u32(IFLA_LINK, lower_index) &&
                          (!is_private || add_mac(request, mac, __func__, __LINE__)) &&
                          add_link_info(request, "macvlan", [&] {
                              if (is_private) {
                                  return request.add_u32(IFLA_MACVLAN_MODE, MACVLAN_MODE_PRIVATE);
                              }
                              return request.add_u32(IFLA_MACVLAN_MODE, MACVLAN_MODE_PASSTHRU) &&
                                     request.add_u16(IFLA_MACVLAN_FLAGS, MACVLAN_FLAG_NOPROMISC);
                          });
    if (!complete) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result,
                ("mcvlan %s lower %s mode %s\n", name.c_str(), lower.c_str(),
                 is_private ? "private" : "passthru"),
                ("failed to create mcvlan %s\n", name.c_str()));
    return result;
}

int set_vlan_egress_qos(NetlinkCommandSocket& sock, const std::string& link,
                        const std::vector<VlanQosMapping>& mappings)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    LinkInfoRequest request(sock, RTM_SETLINK, NLM_F_ACK);
    request.family().ifi_index = static_cast<int>(index);
    if (!add_link_info(request, "vlan", [&] { return add_egress_map(request, mappings); })) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("set %s vlan egress qos\n", link.c_str()),
                ("failed to set %s vlan egress qos\n", link.c_str()));
    return result;
}

} // namespace kex::netlink
