#include "support/scripted_kernel.hpp"

#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <map>

// Takes the place of the C library's: no test needs a link of the machine it runs on.
extern "C" unsigned if_nametoindex(const char* name) noexcept
{
    static const std::map<std::string, unsigned> interfaces{
        {"eth0", kex::test::eth0_index},
        {"eth1", kex::test::eth1_index},
        {"bond0", kex::test::bond0_index},
    };
    const auto found = interfaces.find(name);
    return found == interfaces.end() ? 0 : found->second;
}

namespace kex::test
{

ScriptedKernel::ScriptedKernel()
{
    // Keeps the boundaries of datagrams, and ignores the kernel's address in sendto.
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
        std::abort();
    }
    channel_ = UniqueFd(ends[0]);
    kernel_ = UniqueFd(ends[1]);
}

void ScriptedKernel::reply(const Bytes& datagram)
{
    if (send(kernel_.get(), datagram.data(), datagram.size(), 0) < 0) {
        std::abort();
    }
}

std::vector<Bytes> ScriptedKernel::requests()
{
    std::vector<Bytes> all;
    std::array<char, 16384> buffer{};
    ssize_t size = 0;
    while ((size = recv(kernel_.get(), buffer.data(), buffer.size(), 0)) >= 0) {
        all.emplace_back(buffer.data(), static_cast<size_t>(size));
    }
    return all;
}

std::string NetlinkTest::the_request()
{
    const auto requests = kernel.requests();
    return requests.size() == 1 ? dump(requests.front())
                                : std::to_string(requests.size()) + " requests";
}

} // namespace kex::test
