#include "support/flush_model.hpp"

#include "support/wire.hpp"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <optional>

namespace kex::fuzz
{
namespace
{

constexpr size_t header = 16;
constexpr size_t read_size = 8192;

using Delete = std::optional<std::string>;

/** The entry itself as the request for its deletion. */
std::string turned_into_delete(std::string entry, uint16_t type, uint32_t seq)
{
    const std::string head = message(type, NLM_F_REQUEST | NLM_F_ACK, seq, {}).substr(4);
    return entry.replace(4, head.size(), head);
}

Delete delete_address(const FlushCase& flush, const std::string& entry, uint32_t seq)
{
    const bool ipv4 = entry[header] == AF_INET;
    const size_t length = ipv4 ? 4 : 16;
    const auto all = attributes(entry, header + 8);
    const auto address = std::ranges::find(all, uint16_t{IFA_ADDRESS}, &Attribute::type);
    const auto scope = number_at<uint8_t>(entry, header + 3);
    const bool permanent = (number_at<uint8_t>(entry, header + 2) & IFA_F_PERMANENT) != 0;
    if (number_at<uint32_t>(entry, header + 4) != flush.link || address == all.end() ||
        address->payload.size() < length || (flush.scope != 1 && scope != flush.scope) ||
        (flush.permanent_only && !permanent)) {
        return std::nullopt;
    }
    return message(RTM_DELADDR, NLM_F_REQUEST | NLM_F_ACK, seq,
                   entry.substr(header, 2) + '\0' + entry.substr(header + 3, 5) +
                       bytes_of(static_cast<uint16_t>(4 + length)) +
                       bytes_of(uint16_t{IFA_ADDRESS}) + address->payload.substr(0, length));
}

Delete delete_route(const FlushCase& flush, const std::string& entry, uint32_t seq)
{
    uint32_t table = number_at<uint8_t>(entry, header + 4);
    uint32_t link = 0;
    for (const Attribute& attribute : attributes(entry, header + 12)) {
        if (attribute.payload.size() >= 4 && attribute.type == RTA_TABLE) {
            table = number_at<uint32_t>(attribute.payload, 0);
        } else if (attribute.payload.size() >= 4 && attribute.type == RTA_OIF) {
            link = number_at<uint32_t>(attribute.payload, 0);
        }
    }
    const auto protocol = number_at<uint8_t>(entry, header + 5);
    if ((flush.protocol != 0 && protocol != flush.protocol) || table != flush.table ||
        (flush.link != 0 && link != flush.link)) {
        return std::nullopt;
    }
    return turned_into_delete(entry, RTM_DELROUTE, seq);
}

/** The request that deletes an entry; none when the flush leaves it alone. */
Delete deletion(const FlushCase& flush, const std::string& entry, uint32_t seq)
{
    if (entry.size() < header + (flush.entry_type == RTM_NEWADDR ? 8 : 12)) {
        return std::nullopt;
    }
    if (flush.entry_type == RTM_NEWADDR) {
        return delete_address(flush, entry, seq);
    }
    if (flush.entry_type == RTM_NEWROUTE) {
        return delete_route(flush, entry, seq);
    }
    constexpr uint16_t permanent = 0x80;
    return (number_at<uint16_t>(entry, header + 8) & permanent) == 0
               ? Delete()
               : turned_into_delete(entry, RTM_DELNEIGH, seq);
}

} // namespace

std::string read_datagram(Input& input)
{
    constexpr std::array<uint16_t, 6> types{RTM_NEWADDR, RTM_NEWROUTE, RTM_NEWNEIGH,
                                            NLMSG_DONE,  NLMSG_ERROR,  NLMSG_NOOP};
    std::string all;
    for (size_t count = input.byte() % 4; count > 0; --count) {
        const uint8_t choice = input.byte();
        const std::string body = input.short_block();
        if (choice >= 0x80) {
            all += body;
            continue;
        }
        all += message(types[choice % types.size()], NLM_F_MULTI, 77, body);
        all.resize(aligned(all.size()));
    }
    return all;
}

FlushOutcome expected_flush(const FlushCase& flush, uint32_t seq,
                            const std::vector<std::string>& datagrams)
{
    FlushOutcome outcome;
    for (size_t next = 0; next < datagrams.size();) {
        const std::string datagram = datagrams[next++].substr(0, read_size);
        for (size_t at = 0; at + header <= datagram.size();) {
            const size_t length = number_at<uint32_t>(datagram, at);
            const auto type = number_at<uint16_t>(datagram, at + 4);
            if (length < header || at + length > datagram.size()) {
                break;
            }
            if (type == NLMSG_ERROR || type == NLMSG_DONE) {
                outcome.ended = true;
                return outcome;
            }
            const auto request = type == flush.entry_type
                                     ? deletion(flush, datagram.substr(at, length), seq + 1)
                                     : Delete();
            if (request) {
                ++seq;
                ++next; // whatever comes next is its acknowledgement
                outcome.requests.push_back(*request);
            }
            at += aligned(length);
        }
    }
    return outcome;
}

} // namespace kex::fuzz
