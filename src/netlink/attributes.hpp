#pragma once

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <cstring>
#include <optional>

namespace kex::netlink
{

/**
 * Visits the attributes behind a family header, up to the first one that does not fit.
 * @param visit  returns false to end the visit
 */
template <typename Family, typename Visit>
void visit_attributes(const nlmsghdr& message, Visit visit)
{
    const char* const begin = reinterpret_cast<const char*>(&message);
    auto remaining = static_cast<int>(message.nlmsg_len) - int{NLMSG_LENGTH(sizeof(Family))};
    const auto* attribute = reinterpret_cast<const rtattr*>(begin + NLMSG_SPACE(sizeof(Family)));
    for (; RTA_OK(attribute, remaining); attribute = RTA_NEXT(attribute, remaining)) {
        if (!visit(*attribute)) {
            return;
        }
    }
}

/** The family header of a message, or nullptr when the message is too short for one. */
template <typename Family>
const Family* family_header(const nlmsghdr& message)
{
    if (message.nlmsg_len < NLMSG_LENGTH(sizeof(Family))) {
        return nullptr;
    }
    return static_cast<const Family*>(NLMSG_DATA(&message));
}

/** A 32-bit payload in host byte order; none when the attribute is shorter. */
inline std::optional<uint32_t> u32_payload(const rtattr& attribute)
{
    uint32_t value = 0;
    if (RTA_PAYLOAD(&attribute) < sizeof(value)) {
        return std::nullopt;
    }
    std::memcpy(&value, RTA_DATA(&attribute), sizeof(value));
    return value;
}

} // namespace kex::netlink
