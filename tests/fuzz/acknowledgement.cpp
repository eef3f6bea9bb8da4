// The kernel's answer to a request, whatever it is made of.

#include "netlink/command_socket.hpp"
#include "support/input.hpp"
#include "support/kernel_end.hpp"
#include "support/recorded_log.hpp"
#include "support/wire.hpp"

namespace
{

using namespace kex;
using fuzz::number_at;

struct Verdict {
    int result;
    std::string line; /**< empty for none */
};

Verdict verdict(std::string datagram)
{
    datagram.resize(std::min<size_t>(datagram.size(), 4096)); // the rest of it is lost
    if (datagram.size() < 16 || number_at<uint32_t>(datagram, 0) < 16 ||
        number_at<uint32_t>(datagram, 0) > datagram.size()) {
        return {-1, "netlink response invalid\n"};
    }
    datagram.resize(std::max<size_t>(datagram.size(), 20)); // what is not there counts as zeros
    const auto error = number_at<int32_t>(datagram, 16);
    if (number_at<uint16_t>(datagram, 4) != NLMSG_ERROR || error == 0) {
        return {0, ""};
    }
    return {error, "netlink error response: " + std::to_string(-int64_t{error}) + "\n"};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    fuzz::KernelEnd kernel;
    netlink::NetlinkCommandSocket sock{kernel.channel(), 0};
    const nlmsghdr request = {sizeof(nlmsghdr), RTM_GETLINK, NLM_F_REQUEST, 1, 0};
    for (bool last = false; !last;) {
        last = input.empty();
        const std::string datagram = input.block();
        const bool queued = !last && kernel.reply(datagram);
        const Verdict expected = queued ? verdict(datagram) : Verdict{-1, "netlink recv failed\n"};

        REQUIRE(netlink::send_and_recv_ack(sock, request) == expected.result);
        const auto log = fuzz::take_log();
        REQUIRE(log.size() == (expected.line.empty() ? 0 : 1));
        REQUIRE(log.empty() || (log[0].level == 2 && log[0].text.ends_with(expected.line)));
        const auto sent = kernel.requests();
        REQUIRE(sent.size() == 1 &&
                sent[0] == std::string(reinterpret_cast<const char*>(&request), sizeof(request)));
    }
    fuzz::forget_log();
    return 0;
}
