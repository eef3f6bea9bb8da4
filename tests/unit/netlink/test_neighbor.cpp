#include "netlink/neighbor.hpp"

#include "support/flush_test.hpp"
#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr uint16_t newneigh = 28;
constexpr uint16_t delneigh = 29;
constexpr uint16_t getneigh = 30;
constexpr uint16_t replace_create = 0x0505;

constexpr uint16_t nda_dst = 1;
constexpr uint16_t nda_lladdr = 2;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

constexpr uint16_t reachable = 0x02;
constexpr uint16_t noarp = 0x40;
constexpr uint16_t permanent = 0x80;

const IpAddress address = {AF_INET6, {0xfd, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}};
const Bytes address_bytes("\xfd\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e", 16);

constexpr MacAddress mac = {0x02, 0x1a, 0x2b, 0xff, 0x00, 0x9c};
const Bytes mac_bytes("\x02\x1a\x2b\xff\x00\x9c", 6);

Bytes ndmsg_of(uint8_t family, uint32_t index, uint16_t state)
{
    return u8(family) + zeros(3) + u32(index) + u16(state) + zeros(2);
}

TEST_F(NetlinkTest, ReplaceNeighbor_SendsAddressAndMac)
{
    acknowledge();
    replace_neighbor(sock, "eth0", address, mac);
    EXPECT_EQ(the_request(), dump(message(newneigh, replace_create, 1,
                                          ndmsg_of(inet6, eth0_index, permanent) +
                                              attribute(nda_dst, address_bytes) +
                                              attribute(nda_lladdr, mac_bytes))));
}

TEST_F(NetlinkTest, ReplaceNeighbor_ByteForByte)
{
    acknowledge();
    replace_neighbor(sock, "bond0", address, mac);
    EXPECT_EQ(the_request(), "60 bytes\n"
                             "3c 00 00 00\n1c 00 05 05\n01 00 00 00\n00 00 00 00\n"
                             "0a 00 00 00\n" // family
                             "04 03 02 01\n" // index
                             "80 00 00 00\n" // permanent
                             "14 00 01 00\nfd 00 01 02\n03 04 05 06\n07 08 09 0a\n0b 0c 0d 0e\n"
                             "0a 00 02 00\n02 1a 2b ff\n00 9c 00 00");
}

INSTANTIATE_TEST_SUITE_P(
    Neighbor, Outcome,
    testing::Values(Operation{
        "replace_neighbor", [](Sock& sock) { return replace_neighbor(sock, "eth0", address, mac); },
        "replaced neighbor on eth0", "failed to replace neighbor on eth0"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Neighbor, Refused,
    testing::Values(Refusal{"ReplaceNeighborOnUnknown",
                            [](Sock& sock) { return replace_neighbor(sock, "eth9", address, mac); },
                            "resolve_ifindex", "interface eth9 not found", 0},
                    Refusal{"ReplaceNeighborWithoutName",
                            [](Sock& sock) { return replace_neighbor(sock, "", address, mac); },
                            "resolve_ifindex", "interface  not found", 0}),
    case_name);

Bytes body_of(uint8_t family, uint32_t index, uint16_t state)
{
    return ndmsg_of(family, index, state) + attribute(nda_dst, address_bytes) +
           attribute(nda_lladdr, mac_bytes) + attribute(99, "of a later kernel");
}

const Bytes usual_body = body_of(inet6, eth0_index, permanent);

INSTANTIATE_TEST_SUITE_P(
    Neighbors, Flush,
    testing::Values(FlushOperation{
        "flush_neighbors", [](Sock& sock) { return flush_neighbors(sock); },
        message(getneigh, dump_flags, 1, zeros(12)), dumped(newneigh, usual_body),
        [](uint32_t seq) { return message(delneigh, 0x0005, seq, usual_body); },
        "flush_neighbors: sendto failed",
        "flush_neighbors: forbidden by checkmarx to say way recv failed",
        [](int count) { return "flushed " + std::to_string(count) + " permanent neighbors"; }}),
    case_name);

/** What the flush makes of one dumped neighbour. */
struct Candidate {
    const char* name;
    Bytes body;
    bool deleted;
};

void PrintTo(const Candidate& candidate, std::ostream* out)
{
    *out << candidate.name;
}

class DumpedNeighbor : public NetlinkTest, public testing::WithParamInterface<Candidate>
{
};

TEST_P(DumpedNeighbor, IsDeletedWhenItIsPermanent)
{
    kernel.reply(dumped(newneigh, GetParam().body));
    kernel.reply(end_of_dump());
    flush_neighbors(sock);
    auto requests = kernel.requests();
    requests.push_back({}); // what there is without a delete
    EXPECT_EQ(dump(requests.at(1)),
              dump(GetParam().deleted ? message(delneigh, 0x0005, 2, GetParam().body) : ""));
}

INSTANTIATE_TEST_SUITE_P(
    Entries, DumpedNeighbor,
    testing::Values(Candidate{"Permanent", body_of(inet6, eth0_index, permanent), true},
                    Candidate{"PermanentAmongOthers", body_of(inet6, eth0_index, permanent | noarp),
                              true},
                    Candidate{"Reachable", body_of(inet6, eth0_index, reachable), false},
                    Candidate{"WithoutArp", body_of(inet6, eth0_index, noarp), false},
                    Candidate{"InAHighByte", body_of(inet6, eth0_index, 0x8000), false},
                    Candidate{"WithoutState", body_of(inet6, eth0_index, 0), false},
                    Candidate{"OfAnotherLink", body_of(inet6, bond0_index, permanent), true},
                    Candidate{"OfIpv4", body_of(inet, eth0_index, permanent), true},
                    Candidate{"OfABridge", body_of(7, eth0_index, permanent), true},
                    Candidate{"WithoutAttributes", ndmsg_of(inet6, eth0_index, permanent), true},
                    Candidate{"TooShortForItsHeader",
                              ndmsg_of(inet6, eth0_index, permanent).substr(0, 11), false}),
    case_name);

} // namespace
} // namespace kex::netlink
