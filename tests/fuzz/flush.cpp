// The three flushes over any dump: they end, and delete what their rules say and nothing else.

#include "netlink/address.hpp"
#include "netlink/neighbor.hpp"
#include "netlink/route.hpp"
#include "support/flush_model.hpp"
#include "support/input.hpp"
#include "support/kernel_end.hpp"
#include "support/recorded_log.hpp"
#include "support/wire.hpp"
#include "support/wrapped.hpp"

namespace
{

using namespace kex;

constexpr uint32_t link_index = 2;
constexpr size_t max_datagrams = 6; // what the socket can hold of the deletes

int run(const fuzz::FlushCase& flush, uint8_t family, netlink::NetlinkCommandSocket& sock)
{
    switch (flush.entry_type) {
    case RTM_NEWADDR:
        return flush_addresses(sock, "eth0", family, flush.scope, flush.permanent_only);
    case RTM_NEWROUTE:
        return flush_routes(sock, family, flush.link == 0 ? "" : "eth0", flush.protocol,
                            flush.table);
    default:
        return flush_neighbors(sock);
    }
}

} // namespace

WRAPPED(unsigned, if_nametoindex, const char* name)
{
    return std::string(name) == "eth0" ? link_index : __real_if_nametoindex(name);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const auto entry_type = static_cast<uint16_t>(RTM_NEWADDR + 4 * (input.byte() % 3));
    const bool any_link = entry_type == RTM_NEWROUTE && input.byte() % 2 == 0;
    const fuzz::FlushCase flush{entry_type,   any_link ? 0 : link_index,
                                input.byte(), input.byte() % 2 == 0,
                                input.byte(), input.byte()};
    fuzz::KernelEnd kernel;
    std::vector<std::string> datagrams;
    while (!input.empty() && datagrams.size() < max_datagrams) {
        datagrams.push_back(fuzz::read_datagram(input));
        REQUIRE(kernel.reply(datagrams.back()));
    }
    netlink::NetlinkCommandSocket sock{kernel.channel(), 41};
    const auto expected = fuzz::expected_flush(flush, 42, datagrams);
    REQUIRE(run(flush, AF_INET, sock) == (expected.ended ? 0 : -1));
    auto requests = kernel.requests();
    REQUIRE(!requests.empty() && fuzz::number_at<uint16_t>(requests[0], 4) == entry_type + 2);
    requests.erase(requests.begin());
    REQUIRE(requests == expected.requests);
    const auto count = "flushed " + std::to_string(requests.size()) + " ";
    REQUIRE(fuzz::count_lines(fuzz::take_log(), count) == (expected.ended ? 1 : 0));
    fuzz::forget_log();
    return 0;
}
