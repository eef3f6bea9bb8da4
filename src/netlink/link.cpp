#include "netlink/link.hpp"

#include "netlink/log.hpp"
#include "netlink/mac_address.hpp"
#include "netlink/request.hpp"

#include <linux/if_link.h>
#include <net/if.h>

namespace kex::netlink
{
namespace
{

/** A request for one existing link. */
class LinkRequest : public Request<ifinfomsg, small_request>
{
  public:
    LinkRequest(NetlinkCommandSocket& sock, uint16_t type, unsigned index)
        : Request(sock, type, NLM_F_ACK)
    {
        family().ifi_index = static_cast<int>(index);
    }
};

} // namespace

int set_link_state(NetlinkCommandSocket& sock, const std::string& link, bool up)
{
    const char* state = up ? "up" : "down";
    if (sock.fd == -1) {
        LOG_ERROR("netlink command socket not initialized\n");
        return -1;
    }
    const unsigned index = if_nametoindex(link.c_str());
    if (index == 0) {
        LOG_ERROR("interface %s not found\n", link.c_str()); // under this name; intended
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    request.family().ifi_flags = up ? IFF_UP : 0;
    request.family().ifi_change = IFF_UP;

    const int result = request.exchange();
    LOG_OUTCOME(result, ("set %s %s\n", link.c_str(), state),
                ("failed to set %s %s\n", link.c_str(), state));
    return result;
}

int delete_link(NetlinkCommandSocket& sock, const std::string& link)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    LinkRequest request(sock, RTM_DELLINK, index);

    const int result = request.exchange();
    LOG_OUTCOME(result, ("deleted %s\n", link.c_str()), ("failed to delete %s\n", link.c_str()));
    return result;
}

int rename_link(NetlinkCommandSocket& sock, const std::string& link, const std::string& new_name)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    if (!request.add_text(IFLA_IFNAME, new_name)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("renamed %s to %s\n", link.c_str(), new_name.c_str()),
                ("failed to rename %s to %s\n", link.c_str(), new_name.c_str()));
    return result;
}

int set_link_address(NetlinkCommandSocket& sock, const std::string& link, const std::string& mac)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    const auto address = parse_mac(mac);
    if (!address) {
        LOG_ERROR("invalid MAC address %s\n", mac.c_str());
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    if (!request.add(IFLA_ADDRESS, address->data(), mac_length)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("set %s address %s\n", link.c_str(), mac.c_str()),
                ("failed to set %s address %s\n", link.c_str(), mac.c_str()));
    return result;
}

int set_link_mtu(NetlinkCommandSocket& sock, const std::string& link, uint32_t mtu)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    if (!request.add_u32(IFLA_MTU, mtu)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("set %s mtu %u\n", link.c_str(), mtu),
                ("failed to set %s mtu %u\n", link.c_str(), mtu));
    return result;
}

int set_link_boss(NetlinkCommandSocket& sock, const std::string& link, const std::string& boss)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    const unsigned boss_index = resolve_ifindex(boss);
    if (boss_index == 0) {
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    if (!request.add_u32(IFLA_MASTER, boss_index)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("set %s boss %s\n", link.c_str(), boss.c_str()),
                ("failed to set %s boss %s\n", link.c_str(), boss.c_str()));
    return result;
}

int clear_link_boss(NetlinkCommandSocket& sock, const std::string& link)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    LinkRequest request(sock, RTM_SETLINK, index);
    if (!request.add_u32(IFLA_MASTER, 0)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("cleared %s boss\n", link.c_str()),
                ("failed to clear %s boss\n", link.c_str()));
    return result;
}

} // namespace kex::netlink
