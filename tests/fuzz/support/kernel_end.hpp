#pragma once

#include "core/unique_fd.hpp"
#include "support/require.hpp"

#include <sys/socket.h>

#include <array>
#include <string>
#include <vector>

namespace kex::fuzz
{

/** The kernel's end of a command socket: what is queued comes in this order, then reads fail. */
class KernelEnd
{
  public:
    KernelEnd()
    {
        std::array<int, 2> ends{};
        REQUIRE(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0,
                           ends.data()) == 0);
        channel_ = UniqueFd(ends[0]);
        kernel_ = UniqueFd(ends[1]);
    }

    [[nodiscard]] int channel() const { return channel_.get(); }

    /** False when the queue is full. */
    bool reply(const std::string& datagram)
    {
        return send(kernel_.get(), datagram.data(), datagram.size(), 0) >= 0;
    }

    /** What was sent to the kernel, in order. */
    std::vector<std::string> requests()
    {
        std::vector<std::string> all;
        std::array<char, 16384> buffer{};
        ssize_t size = 0;
        while ((size = recv(kernel_.get(), buffer.data(), buffer.size(), 0)) >= 0) {
            all.emplace_back(buffer.data(), static_cast<size_t>(size));
        }
        return all;
    }

  private:
    UniqueFd channel_;
    UniqueFd kernel_;
};

} // namespace kex::fuzz
