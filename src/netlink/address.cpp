#include "netlink/address.hpp"

#include "netlink/attributes.hpp"
#include "netlink/flush.hpp"
#include "netlink/log.hpp"
#include "netlink/request.hpp"

#include <linux/if_addr.h>

namespace kex::netlink
{
namespace
{

constexpr uint32_t for_ever = 0xFFFFFFFF;

/** The first IFA_ADDRESS of a dumped address, or nullptr when it has none of full length. */
const rtattr* find_address(const nlmsghdr& entry, sa_family_t family)
{
    const rtattr* found = nullptr;
    visit_attributes<ifaddrmsg>(entry, [&](const rtattr& attribute) {
        if (attribute.rta_type == IFA_ADDRESS) {
            found = &attribute;
        }
        return found == nullptr;
    });
    if (found == nullptr || RTA_PAYLOAD(found) < address_length(family)) {
        return nullptr;
    }
    return found;
}

void delete_address(NetlinkCommandSocket& sock, const ifaddrmsg& entry, const rtattr& address)
{
    Request<ifaddrmsg, small_request> request(sock, RTM_DELADDR, NLM_F_ACK);
    ifaddrmsg& header = request.family();
    header.ifa_family = entry.ifa_family;
    header.ifa_prefixlen = entry.ifa_prefixlen;
    header.ifa_scope = entry.ifa_scope;
    header.ifa_index = entry.ifa_index;
    if (request.add(IFA_ADDRESS, RTA_DATA(&address), address_length(entry.ifa_family))) {
        request.exchange(); // its result is ignored: the flush goes on with the next entry
    }
}

} // namespace

int add_address(NetlinkCommandSocket& sock, const std::string& link, const IpAddress& address,
                uint8_t prefix_length, const std::optional<IpAddress>& broadcast)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    Request<ifaddrmsg, large_request> request(sock, RTM_NEWADDR,
                                              NLM_F_ACK | NLM_F_REPLACE | NLM_F_CREATE);
    request.family().ifa_family = static_cast<uint8_t>(address.family);
    request.family().ifa_prefixlen = prefix_length;
    request.family().ifa_index = index;

    const uint32_t length = address_length(address.family);
    const bool with_broadcast = broadcast && address.family == AF_INET;
    const ifa_cacheinfo lifetimes = {for_ever, for_ever, 0, 0};
    const bool complete =
        request.add(IFA_LOCAL, address.bytes.data(), length) &&
        request.add(IFA_ADDRESS, address.bytes.data(), length) &&
        (!with_broadcast || request.add(IFA_BROADCAST, broadcast->bytes.data(), length)) &&
        request.add(IFA_CACHEINFO, &lifetimes, sizeof(lifetimes));
    if (!complete) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result, ("added address on %s\n", link.c_str()),
                ("failed to add address on %s\n", link.c_str()));
    return result;
}

int flush_addresses(NetlinkCommandSocket& sock, const std::string& link, sa_family_t family,
                    uint8_t scope, bool permanent_only)
{
    const unsigned index = resolve_ifindex(link);
    if (index == 0) {
        return -1;
    }
    auto delete_if_matching = [&](nlmsghdr& message) {
        const auto* entry = family_header<ifaddrmsg>(message);
        if (entry == nullptr || entry->ifa_index != index) {
            return false;
        }
        const rtattr* address = find_address(message, entry->ifa_family);
        if (address == nullptr || (scope != every_scope && entry->ifa_scope != scope) ||
            (permanent_only && (entry->ifa_flags & IFA_F_PERMANENT) == 0)) {
            return false;
        }
        delete_address(sock, *entry, *address);
        return true;
    };

    Request<ifaddrmsg, small_request> request(sock, RTM_GETADDR, NLM_F_DUMP);
    request.family().ifa_family = static_cast<uint8_t>(family);
    request.family().ifa_index = index;
    const int flushed = flush(sock, request.header(),
                              {__func__, "flush_addresses: sendto failed", RTM_NEWADDR,
                               EntryVisitor(delete_if_matching)});
    if (flushed < 0) {
        return -1;
    }
    LOG_INFO("flushed %d addresses on %s\n", flushed, link.c_str());
    return 0;
}

} // namespace kex::netlink
