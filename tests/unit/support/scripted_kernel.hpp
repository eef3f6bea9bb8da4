#pragma once

#include "core/unique_fd.hpp"
#include "netlink/command_socket.hpp"
#include "support/recorded_log.hpp"
#include "support/wire.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace kex::test
{

/**
 * The kernel's end of a command socket. Replies are queued before the operation runs, which finds
 * them in this order; a read beyond the last of them fails at once.
 */
class ScriptedKernel
{
  public:
    ScriptedKernel();

    /** What an operation sends and receives on; still owned here. */
    [[nodiscard]] int channel() const { return channel_.get(); }

    void reply(const Bytes& datagram);

    /** The requests since the last call. */
    std::vector<Bytes> requests();

  private:
    UniqueFd channel_;
    UniqueFd kernel_;
};

/** A test of operations on a command socket that the scripted kernel answers. */
class NetlinkTest : public testing::Test
{
  protected:
    NetlinkTest()
    {
        sock.fd = kernel.channel();
        forget_log();
    }

    void acknowledge() { kernel.reply(acknowledgement(0)); }
    void refuse(int error) { kernel.reply(acknowledgement(error)); }

    /** The one request, dumped; a text that says so when there is not exactly one. */
    std::string the_request();

    ScriptedKernel kernel;
    netlink::NetlinkCommandSocket sock;
};

// The interfaces that every test program has; no others exist. The last one's index shows the
// order of its bytes.
inline constexpr uint32_t eth0_index = 2;
inline constexpr uint32_t eth1_index = 3;
inline constexpr uint32_t bond0_index = 0x01020304;

} // namespace kex::test
