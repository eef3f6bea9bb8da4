#pragma once

#include "support/scripted_kernel.hpp"

#include <functional>

namespace kex::test
{

inline constexpr uint16_t dump_flags = 0x0301;

/** An entry of a dump: its flags, sequence number and sender are not those of a request. */
inline Bytes dumped(uint16_t type, const Bytes& body)
{
    constexpr uint16_t multipart = 2;
    constexpr uint32_t sender = 4242;
    Bytes bytes = message(type, multipart, 77, body);
    return bytes.replace(12, 4, u32(sender));
}

inline Bytes end_of_dump()
{
    constexpr uint16_t done = 3;
    return message(done, 2, 77, zeros(4));
}

/** An operation that dumps a table and deletes what matches. */
struct FlushOperation {
    const char* name;
    std::function<int(netlink::NetlinkCommandSocket&)> run;
    Bytes request;                               /**< for the dump, with sequence number 1 */
    Bytes entry;                                 /**< that matches */
    std::function<Bytes(uint32_t seq)> deletion; /**< the request that deletes the entry */
    const char* send_failure;
    const char* receive_failure;
    std::function<std::string(int count)> success;
};

inline void PrintTo(const FlushOperation& operation, std::ostream* out)
{
    *out << operation.name;
}

/** What the three flushes have in common; instantiated by the tests of each. */
class Flush : public NetlinkTest, public testing::WithParamInterface<FlushOperation>
{
  protected:
    int run() { return GetParam().run(sock); }

    [[nodiscard]] Bytes entry() const { return GetParam().entry; }

    /** The dumped requests beside that for the dump. */
    std::vector<std::string> deletions();

    /** The deletions that take these sequence numbers, dumped. */
    [[nodiscard]] std::vector<std::string>
    deletions_with(const std::vector<uint32_t>& sequence_numbers) const;

    [[nodiscard]] std::string success(int count) const
    {
        return nlc_info(GetParam().name, GetParam().success(count));
    }
};

} // namespace kex::test
