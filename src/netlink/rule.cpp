#include "netlink/rule.hpp"

#include "netlink/log.hpp"
#include "netlink/request.hpp"
#include "netlink/route.hpp"

#include <linux/fib_rules.h>

namespace kex::netlink
{

int modify_rule(NetlinkCommandSocket& sock, bool add, const std::string& selector,
                const IpAddress& address, uint8_t prefix_length, unsigned long table)
{
    const auto table_id = static_cast<uint32_t>(table);
    if (table_id > max_table) {
        LOG_ERROR("invalid table ID: %d\n", static_cast<int>(table_id));
        return -1;
    }
    const bool by_source = selector == "from";
    Request<fib_rule_hdr, large_request> request(sock, add ? RTM_NEWRULE : RTM_DELRULE,
                                                 add ? NLM_F_ACK | NLM_F_EXCL | NLM_F_CREATE
                                                     : NLM_F_ACK);
    fib_rule_hdr& header = request.family();
    header.family = static_cast<uint8_t>(address.family);
    header.table = static_cast<uint8_t>(table_id);
    header.action = FR_ACT_TO_TBL;
    (by_source ? header.src_len : header.dst_len) = prefix_length;
    const uint16_t attribute = by_source ? FRA_SRC : FRA_DST;
    if (!request.add(attribute, address.bytes.data(), address_length(address.family)) ||
        !request.add_u32(FRA_TABLE, table_id)) {
        return -1;
    }
    const int result = request.exchange();
    LOG_OUTCOME(result,
                ("%s rule %s table %d\n", add ? "added" : "deleted", selector.c_str(),
                 static_cast<int>(table_id)),
                ("failed to %s rule\n", add ? "add" : "delete"));
    return result;
}

} // namespace kex::netlink
