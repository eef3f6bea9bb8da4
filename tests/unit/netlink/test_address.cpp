#include "netlink/address.hpp"

#include "support/flush_test.hpp"
#include "support/operation_test.hpp"

namespace kex::netlink
{
namespace
{

using namespace test;

using Sock = NetlinkCommandSocket;

constexpr uint16_t newaddr = 20;
constexpr uint16_t deladdr = 21;
constexpr uint16_t getaddr = 22;
constexpr uint16_t replace_create = 0x0505;

constexpr uint16_t ifa_address = 1;
constexpr uint16_t ifa_local = 2;
constexpr uint16_t ifa_label = 3;
constexpr uint16_t ifa_broadcast = 4;
constexpr uint16_t ifa_cacheinfo = 6;

constexpr uint8_t inet = 2;
constexpr uint8_t inet6 = 10;

constexpr uint8_t universe = 0;
constexpr uint8_t link_scope = 253;
constexpr uint8_t host_scope = 254;

constexpr uint8_t permanent = 0x80;

const IpAddress ipv4 = {AF_INET, {192, 168, 0, 5}};
const IpAddress ipv4_broadcast = {AF_INET, {192, 168, 0, 255}};
const IpAddress ipv6 = {AF_INET6, {0xfd, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}};

const Bytes ipv4_bytes("\xc0\xa8\x00\x05", 4);
const Bytes broadcast_bytes("\xc0\xa8\x00\xff", 4);
const Bytes ipv6_bytes("\xfd\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e", 16);

const Bytes infinite = attribute(ifa_cacheinfo, Bytes(8, '\xff') + zeros(8));

Bytes ifaddrmsg_of(uint8_t family, uint8_t prefix, uint8_t flags, uint8_t scope, uint32_t index)
{
    return u8(family) + u8(prefix) + u8(flags) + u8(scope) + u32(index);
}

class Address : public NetlinkTest
{
  protected:
    Address() { acknowledge(); }
};

TEST_F(Address, AddAddress_SendsLocalAddressBroadcastAndLifetimes)
{
    add_address(sock, "eth0", ipv4, 24, ipv4_broadcast);
    EXPECT_EQ(
        the_request(),
        dump(message(newaddr, replace_create, 1,
                     ifaddrmsg_of(inet, 24, 0, universe, eth0_index) +
                         attribute(ifa_local, ipv4_bytes) + attribute(ifa_address, ipv4_bytes) +
                         attribute(ifa_broadcast, broadcast_bytes) + infinite)));
}

TEST_F(Address, AddAddress_ByteForByte)
{
    add_address(sock, "bond0", ipv4, 32, ipv4_broadcast);
    EXPECT_EQ(the_request(), "68 bytes\n"
                             "44 00 00 00\n14 00 05 05\n01 00 00 00\n00 00 00 00\n"
                             "02 20 00 00\n"              // family, prefix, flags, scope
                             "04 03 02 01\n"              // index
                             "08 00 02 00\nc0 a8 00 05\n" // local
                             "08 00 01 00\nc0 a8 00 05\n" // address
                             "08 00 04 00\nc0 a8 00 ff\n" // broadcast
                             "14 00 06 00\nff ff ff ff\nff ff ff ff\n00 00 00 00\n00 00 00 00");
}

TEST_F(Address, AddAddress_WithoutBroadcast)
{
    add_address(sock, "eth0", ipv4, 0, std::nullopt);
    EXPECT_EQ(the_request(), dump(message(newaddr, replace_create, 1,
                                          ifaddrmsg_of(inet, 0, 0, universe, eth0_index) +
                                              attribute(ifa_local, ipv4_bytes) +
                                              attribute(ifa_address, ipv4_bytes) + infinite)));
}

TEST_F(Address, AddAddress_SendsSixteenBytesOfIpv6)
{
    add_address(sock, "eth0", ipv6, 64, std::nullopt);
    EXPECT_EQ(the_request(), dump(message(newaddr, replace_create, 1,
                                          ifaddrmsg_of(inet6, 64, 0, universe, eth0_index) +
                                              attribute(ifa_local, ipv6_bytes) +
                                              attribute(ifa_address, ipv6_bytes) + infinite)));
}

TEST_F(Address, AddAddress_SendsNoBroadcastForIpv6)
{
    add_address(sock, "eth0", ipv6, 128, ipv6);
    EXPECT_EQ(the_request(), dump(message(newaddr, replace_create, 1,
                                          ifaddrmsg_of(inet6, 128, 0, universe, eth0_index) +
                                              attribute(ifa_local, ipv6_bytes) +
                                              attribute(ifa_address, ipv6_bytes) + infinite)));
}

INSTANTIATE_TEST_SUITE_P(Address, Outcome,
                         testing::Values(Operation{
                             "add_address",
                             [](Sock& sock) {
                                 return add_address(sock, "eth0", ipv4, 24, ipv4_broadcast);
                             },
                             "added address on eth0", "failed to add address on eth0"}),
                         case_name);

INSTANTIATE_TEST_SUITE_P(
    Address, Refused,
    testing::Values(
        Refusal{"AddAddressOnUnknown",
                [](Sock& sock) { return add_address(sock, "eth9", ipv4, 24, std::nullopt); },
                "resolve_ifindex", "interface eth9 not found", 0},
        Refusal{"FlushAddressesOfUnknown",
                [](Sock& sock) { return flush_addresses(sock, "eth9", AF_INET, 1, false); },
                "resolve_ifindex", "interface eth9 not found", 0},
        Refusal{"FlushAddressesWithoutName",
                [](Sock& sock) { return flush_addresses(sock, "", AF_INET, 1, false); },
                "resolve_ifindex", "interface  not found", 0}),
    case_name);

// An entry of the kernel's table as it is dumped, and the request that deletes it.
Bytes entry_of(uint8_t family, uint8_t flags, uint8_t scope, uint32_t index,
               const Bytes& attributes)
{
    return dumped(newaddr, ifaddrmsg_of(family, 24, flags, scope, index) + attributes);
}

const Bytes usual_entry =
    entry_of(inet, permanent, universe, eth0_index,
             attribute(ifa_local, ipv4_bytes) + attribute(ifa_address, ipv4_bytes));

Bytes deletion(uint8_t family, uint8_t scope, const Bytes& address, uint32_t seq)
{
    return message(deladdr, 0x0005, seq,
                   ifaddrmsg_of(family, 24, 0, scope, eth0_index) +
                       attribute(ifa_address, address));
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, Flush,
    testing::Values(FlushOperation{
        "flush_addresses",
        [](Sock& sock) { return flush_addresses(sock, "eth0", AF_INET, universe, true); },
        message(getaddr, dump_flags, 1, ifaddrmsg_of(inet, 0, 0, 0, eth0_index)), usual_entry,
        [](uint32_t seq) { return deletion(inet, universe, ipv4_bytes, seq); },
        "flush_addresses: sendto failed",
        "flush_addresses: forbidden by checkmarx to say way recv failed",
        [](int count) { return "flushed " + std::to_string(count) + " addresses on eth0"; }}),
    case_name);

TEST_F(NetlinkTest, FlushAddresses_AsksForTheFamilyGiven)
{
    kernel.reply(end_of_dump());
    flush_addresses(sock, "bond0", AF_INET6, universe, false);
    EXPECT_EQ(the_request(),
              dump(message(getaddr, dump_flags, 1, ifaddrmsg_of(inet6, 0, 0, 0, bond0_index))));
}

/** What a flush makes of one dumped address. */
struct Candidate {
    const char* name;
    uint8_t scope;
    bool permanent_only;
    Bytes entry;
    Bytes deleted; /**< the request; empty for none */
};

void PrintTo(const Candidate& candidate, std::ostream* out)
{
    *out << candidate.name;
}

class DumpedAddress : public NetlinkTest, public testing::WithParamInterface<Candidate>
{
};

TEST_P(DumpedAddress, IsDeletedWhenItMatches)
{
    kernel.reply(GetParam().entry);
    kernel.reply(end_of_dump());
    flush_addresses(sock, "eth0", AF_INET, GetParam().scope, GetParam().permanent_only);
    auto requests = kernel.requests();
    requests.push_back({}); // what there is without a delete
    EXPECT_EQ(dump(requests.at(1)), dump(GetParam().deleted));
}

const Bytes with_address = attribute(ifa_address, ipv4_bytes);
const Bytes with_ipv6 = attribute(ifa_address, ipv6_bytes);

Candidate scoped(const char* name, uint8_t asked, uint8_t scope, bool matches)
{
    return {name, asked, false, entry_of(inet, permanent, scope, eth0_index, with_address),
            matches ? deletion(inet, scope, ipv4_bytes, 2) : ""};
}

INSTANTIATE_TEST_SUITE_P(
    Scopes, DumpedAddress,
    testing::Values(scoped("UniverseAsked", universe, universe, true),
                    scoped("LinkWhenUniverseAsked", universe, link_scope, false),
                    scoped("LinkAsked", link_scope, link_scope, true),
                    scoped("UniverseWhenLinkAsked", link_scope, universe, false),
                    scoped("HostWhenLinkAsked", link_scope, host_scope, false),
                    scoped("UniverseWhenEveryAsked", 1, universe, true),
                    scoped("LinkWhenEveryAsked", 1, link_scope, true),
                    scoped("HostWhenEveryAsked", 1, host_scope, true)),
    case_name);

Candidate flagged(const char* name, uint8_t flags, bool permanent_only, bool matches)
{
    return {name, universe, permanent_only,
            entry_of(inet, flags, universe, eth0_index, with_address),
            matches ? deletion(inet, universe, ipv4_bytes, 2) : ""};
}

INSTANTIATE_TEST_SUITE_P(Flags, DumpedAddress,
                         testing::Values(flagged("PermanentAsked", permanent, true, true),
                                         flagged("PermanentAmongOthers", 0xC1, true, true),
                                         flagged("LimitedWhenPermanentAsked", 0, true, false),
                                         flagged("OtherFlagsWhenPermanentAsked", 0x7F, true, false),
                                         flagged("LimitedWhenAllAsked", 0, false, true),
                                         flagged("PermanentWhenAllAsked", permanent, false, true)),
                         case_name);

Candidate with_attributes(const char* name, const Bytes& attributes, const Bytes& address)
{
    return {name, universe, false, entry_of(inet, permanent, universe, eth0_index, attributes),
            address.empty() ? "" : deletion(inet, universe, address, 2)};
}

INSTANTIATE_TEST_SUITE_P(
    Attributes, DumpedAddress,
    testing::Values(
        with_attributes("AddressBehindOthers",
                        attribute(ifa_label, text("eth0")) + attribute(ifa_local, "abcd") +
                            with_address,
                        ipv4_bytes),
        with_attributes("FirstOfTwoAddresses", with_address + attribute(ifa_address, "abcd"),
                        ipv4_bytes),
        with_attributes("NoAttributes", "", ""),
        with_attributes("NoAddress", attribute(ifa_local, ipv4_bytes), ""),
        with_attributes("BehindALengthOfZero", u16(0) + u16(ifa_label) + with_address, ""),
        with_attributes("BehindALengthOfThree", u16(3) + u16(ifa_label) + with_address, ""),
        with_attributes("BehindALengthBeyondTheMessage", u16(100) + u16(ifa_label) + with_address,
                        ""),
        with_attributes("BeforeATruncatedOne", with_address + u16(100) + u16(ifa_label),
                        ipv4_bytes),
        with_attributes("TruncatedAddress", u16(9) + u16(ifa_address) + ipv4_bytes, ""),
        // More than the address is not sent, and less could not be.
        with_attributes("LongAddress", attribute(ifa_address, ipv4_bytes + "more"), ipv4_bytes),
        with_attributes("ShortAddress", attribute(ifa_address, "abc"), "")),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Entries, DumpedAddress,
    testing::Values(
        Candidate{"OfAnotherLink", universe, false,
                  entry_of(inet, permanent, universe, eth1_index, with_address), ""},
        Candidate{"OfAnotherFamily", universe, false,
                  entry_of(inet6, permanent, universe, eth0_index, with_ipv6),
                  deletion(inet6, universe, ipv6_bytes, 2)},
        Candidate{"OfAFamilyThatIsNeither", universe, false,
                  entry_of(1, permanent, universe, eth0_index, with_ipv6),
                  deletion(1, universe, ipv6_bytes, 2)},
        Candidate{"OfIpv6WithAShortAddress", universe, false,
                  entry_of(inet6, permanent, universe, eth0_index, with_address), ""},
        Candidate{
            "TooShortForItsHeader", universe, false,
            dumped(newaddr, ifaddrmsg_of(inet, 24, permanent, universe, eth0_index).substr(0, 7)),
            ""}),
    case_name);

} // namespace
} // namespace kex::netlink
