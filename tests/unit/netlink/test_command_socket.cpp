#include "netlink/command_socket.hpp"

#include "support/scripted_kernel.hpp"
#include "support/temp_dir.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <array>

namespace
{

int failing_bind_of = -1;
bool bind_fails = false;

} // namespace

// Fails on request, as the kernel hardly ever does for an address that asks for nothing.
extern "C" int bind(int fd, const sockaddr* address, socklen_t length) noexcept
{
    using Call = int (*)(int, const sockaddr*, socklen_t);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "bind"));
    if (bind_fails) {
        failing_bind_of = fd;
        errno = EADDRINUSE;
        return -1;
    }
    return next(fd, address, length);
}

namespace kex::netlink
{
namespace
{

using test::Lines;
using test::nlc_error;
using test::nlc_info;

/** A command socket of the machine's own kernel; nothing is sent on it. */
class InitSocket : public testing::Test
{
  protected:
    InitSocket() { test::forget_log(); }
    InitSocket(const InitSocket&) = delete;
    InitSocket& operator=(const InitSocket&) = delete;
    ~InitSocket() override
    {
        bind_fails = false;
        if (sock.fd >= 0) {
            close(sock.fd);
        }
    }

    /** With no descriptor left for a socket. */
    int init_without_descriptors()
    {
        rlimit former = {};
        getrlimit(RLIMIT_NOFILE, &former);
        const rlimit none = {0, former.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        const int result = init_socket(sock);
        setrlimit(RLIMIT_NOFILE, &former);
        return result;
    }

    int option(int name) const
    {
        int value = -1;
        socklen_t length = sizeof(value);
        getsockopt(sock.fd, SOL_SOCKET, name, &value, &length);
        return value;
    }

    sockaddr_nl local_address() const
    {
        sockaddr_nl address = {};
        socklen_t length = sizeof(address);
        getsockname(sock.fd, reinterpret_cast<sockaddr*>(&address), &length);
        return address;
    }

    NetlinkCommandSocket sock;
};

TEST_F(InitSocket, ChannelIsClosedAtFirst)
{
    EXPECT_EQ(sock.fd, -1);
}

TEST_F(InitSocket, SequenceStartsAtZero)
{
    EXPECT_EQ(sock.seq, 0U);
}

TEST_F(InitSocket, Succeeds)
{
    EXPECT_EQ(init_socket(sock), 0);
}

TEST_F(InitSocket, LogsBeginAndEnd)
{
    init_socket(sock);
    EXPECT_EQ(test::logged(),
              (Lines{nlc_info("init_socket", "initializing netlink command socket"),
                     nlc_info("init_socket", "netlink command socket initialized")}));
}

TEST_F(InitSocket, SpeaksNetlink)
{
    init_socket(sock);
    EXPECT_EQ(option(SO_DOMAIN), AF_NETLINK);
}

TEST_F(InitSocket, SpeaksTheRoutingProtocol)
{
    init_socket(sock);
    EXPECT_EQ(option(SO_PROTOCOL), NETLINK_ROUTE);
}

TEST_F(InitSocket, IsRaw)
{
    init_socket(sock);
    EXPECT_EQ(option(SO_TYPE), SOCK_RAW);
}

TEST_F(InitSocket, IsClosedOnExec)
{
    init_socket(sock);
    EXPECT_EQ(fcntl(sock.fd, F_GETFD), FD_CLOEXEC);
}

TEST_F(InitSocket, WaitsForReplies)
{
    init_socket(sock);
    EXPECT_EQ(fcntl(sock.fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(InitSocket, IsGivenAPort)
{
    init_socket(sock);
    EXPECT_NE(local_address().nl_pid, 0U);
}

TEST_F(InitSocket, JoinsNoGroup)
{
    init_socket(sock);
    EXPECT_EQ(local_address().nl_groups, 0U);
}

TEST_F(InitSocket, TakesNoSequenceNumber)
{
    init_socket(sock);
    EXPECT_EQ(sock.seq, 0U);
}

TEST_F(InitSocket, SecondCallSucceeds)
{
    init_socket(sock);
    EXPECT_EQ(init_socket(sock), 0);
}

TEST_F(InitSocket, SecondCallKeepsTheSocket)
{
    init_socket(sock);
    const int fd = sock.fd;
    init_socket(sock);
    EXPECT_EQ(sock.fd, fd);
}

TEST_F(InitSocket, SecondCallLogsNothing)
{
    init_socket(sock);
    test::forget_log();
    init_socket(sock);
    EXPECT_EQ(test::logged(), Lines{});
}

TEST_F(InitSocket, WithoutSocket_Fails)
{
    EXPECT_EQ(init_without_descriptors(), -1);
}

TEST_F(InitSocket, WithoutSocket_StaysClosed)
{
    init_without_descriptors();
    EXPECT_EQ(sock.fd, -1);
}

TEST_F(InitSocket, WithoutSocket_SaysSoWithoutAReason)
{
    init_without_descriptors();
    EXPECT_EQ(test::logged(),
              (Lines{nlc_info("init_socket", "initializing netlink command socket"),
                     nlc_error("init_socket", "forbidden by checkmarx to say why unable to open "
                                              "netlink command socket")}));
}

TEST_F(InitSocket, WithoutAddress_Fails)
{
    bind_fails = true;
    EXPECT_EQ(init_socket(sock), -1);
}

TEST_F(InitSocket, WithoutAddress_IsClosedAgain)
{
    bind_fails = true;
    init_socket(sock);
    EXPECT_EQ(sock.fd, -1);
}

TEST_F(InitSocket, WithoutAddress_LeavesNoDescriptor)
{
    bind_fails = true;
    init_socket(sock);
    EXPECT_EQ(fcntl(failing_bind_of, F_GETFD), -1);
}

TEST_F(InitSocket, WithoutAddress_SaysSo)
{
    bind_fails = true;
    init_socket(sock);
    EXPECT_EQ(test::logged(),
              (Lines{nlc_info("init_socket", "initializing netlink command socket"),
                     nlc_error("init_socket", "netlink command socket bind failed")}));
}

TEST(NetlinkCommandSocket, IsOneForTheProcess)
{
    EXPECT_EQ(&netlink_command_socket(), &netlink_command_socket());
}

TEST(NetlinkCommandSocket, OfTheProcessIsClosedAtFirst)
{
    EXPECT_EQ(netlink_command_socket().fd, -1);
}

TEST(ResolveIfindex, GivesTheIndex)
{
    EXPECT_EQ(resolve_ifindex("bond0"), test::bond0_index);
}

TEST(ResolveIfindex, LogsNothingForAKnownName)
{
    test::forget_log();
    resolve_ifindex("eth0");
    EXPECT_EQ(test::logged(), Lines{});
}

TEST(ResolveIfindex, GivesZeroForAnUnknownName)
{
    EXPECT_EQ(resolve_ifindex("eth9"), 0U);
}

TEST(ResolveIfindex, LogsAnUnknownName)
{
    test::forget_log();
    resolve_ifindex("eth9");
    EXPECT_EQ(test::logged(), Lines{nlc_error("resolve_ifindex", "interface eth9 not found")});
}

TEST(ResolveIfindex, LogsAnEmptyName)
{
    test::forget_log();
    resolve_ifindex("");
    EXPECT_EQ(test::logged(), Lines{nlc_error("resolve_ifindex", "interface  not found")});
}

} // namespace
} // namespace kex::netlink
