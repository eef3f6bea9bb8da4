// send_and_recv_ack of the command socket: what is sent, and what each reply amounts to.

#include "core/unique_fd.hpp"
#include "support/case_name.hpp"
#include "support/scripted_kernel.hpp"

#include <fcntl.h>

namespace kex::netlink
{
namespace
{

using test::acknowledgement;
using test::Bytes;
using test::dump;
using test::host_order;
using test::Lines;
using test::message;
using test::nlc_error;
using test::zeros;

constexpr uint16_t newlink = 16;
constexpr uint16_t error = 2;

class Exchange : public test::NetlinkTest
{
  protected:
    /** Sends a plain request. */
    int exchange()
    {
        nlmsghdr request = {};
        request.nlmsg_len = sizeof(request);
        request.nlmsg_type = newlink;
        request.nlmsg_flags = 5;
        request.nlmsg_seq = 0x01020304;
        return send_and_recv_ack(sock, request);
    }

    int exchange(const Bytes& reply)
    {
        kernel.reply(reply);
        return exchange();
    }
};

TEST_F(Exchange, SendsTheRequestAsItIs)
{
    acknowledge();
    exchange();
    EXPECT_EQ(the_request(), dump(message(newlink, 5, 0x01020304, "")));
}

TEST_F(Exchange, SendsAsManyBytesAsTheRequestSays)
{
    acknowledge();
    struct {
        nlmsghdr header;
        char body[8];
        char beyond[8];
    } request = {{24, newlink, 5, 1, 0}, {"payload"}, {"no part"}};
    send_and_recv_ack(sock, request.header);
    EXPECT_EQ(the_request(), dump(message(newlink, 5, 1, test::text("payload"))));
}

TEST_F(Exchange, TakesNoSequenceNumber)
{
    acknowledge();
    sock.seq = 7;
    exchange();
    EXPECT_EQ(sock.seq, 7U);
}

TEST_F(Exchange, ReadsOneDatagramOnly)
{
    kernel.reply(acknowledgement(0));
    kernel.reply(acknowledgement(-17));
    exchange();
    EXPECT_EQ(exchange(), -17);
}

struct Reply {
    const char* name;
    Bytes datagram;
    int result;
    Lines lines;
};

void PrintTo(const Reply& reply, std::ostream* out)
{
    *out << reply.name;
}

class ExchangeOf : public Exchange, public testing::WithParamInterface<Reply>
{
};

TEST_P(ExchangeOf, HasTheResult)
{
    EXPECT_EQ(exchange(GetParam().datagram), GetParam().result);
}

TEST_P(ExchangeOf, Logs)
{
    exchange(GetParam().datagram);
    EXPECT_EQ(test::logged(), GetParam().lines);
}

Lines invalid()
{
    return {nlc_error("send_and_recv_ack", "netlink response invalid")};
}

Lines refused(long number)
{
    return {nlc_error("send_and_recv_ack", "netlink error response: " + std::to_string(number))};
}

/** A message whose header gives this length, whatever its true one is. */
Bytes claiming(uint32_t length, uint16_t type, const Bytes& body)
{
    return host_order(length) + message(type, 0, 1, body).substr(4);
}

constexpr uint16_t noop = 1;
constexpr uint16_t done = 3;

INSTANTIATE_TEST_SUITE_P(
    Replies, ExchangeOf,
    testing::Values(
        Reply{"Acknowledgement", acknowledgement(0), 0, {}},
        Reply{"ObjectExists", acknowledgement(-17), -17, refused(17)},
        Reply{"NoSuchDevice", acknowledgement(-19), -19, refused(19)},
        Reply{"NotPermitted", acknowledgement(-1), -1, refused(1)},
        Reply{"PositiveError", acknowledgement(5), 5, refused(-5)},
        Reply{"SmallestError", acknowledgement(INT32_MIN), INT32_MIN, refused(2147483648)},
        // Neither the sequence number nor the sender is compared.
        Reply{"OtherSequenceNumber", message(error, 0, 99, zeros(20)), 0, {}},
        Reply{"ErrorOfAnotherRequest", message(error, 0, 99, host_order(-22) + zeros(16)), -22,
              refused(22)},
        // Any message but an error counts as success.
        Reply{"ErrorThatEndsBeforeItsNumber", message(error, 0, 99, ""), 0, {}},
        Reply{"DumpedLink", message(newlink, 2, 1, zeros(16)), 0, {}},
        Reply{"EndOfADump", message(done, 2, 1, host_order(-5)), 0, {}},
        Reply{"Noop", message(noop, 0, 1, ""), 0, {}},
        Reply{"TypeZero", message(0, 0, 1, ""), 0, {}},
        // Only the first message counts.
        Reply{
            "ErrorBehindAnotherMessage", message(newlink, 2, 1, "") + acknowledgement(-17), 0, {}},
        Reply{"ErrorBehindAnAcknowledgement", acknowledgement(0) + acknowledgement(-17), 0, {}},
        Reply{"AcknowledgementBehindAnError", acknowledgement(-17) + acknowledgement(0), -17,
              refused(17)},
        // The length is checked from both sides.
        Reply{"Nothing", "", -1, invalid()},
        Reply{"OneByteShortOfAHeader", message(noop, 0, 1, "").substr(0, 15), -1, invalid()},
        Reply{"LengthZero", claiming(0, noop, ""), -1, invalid()},
        Reply{"LengthBelowAHeader", claiming(15, noop, ""), -1, invalid()},
        Reply{"LengthOfAHeader", claiming(16, noop, zeros(8)), 0, {}},
        Reply{"LengthBeyondTheDatagram", claiming(17, noop, ""), -1, invalid()},
        Reply{"LengthFarBeyondTheDatagram", claiming(0xFFFFFFFF, noop, ""), -1, invalid()},
        Reply{"ErrorBeyondTheDatagram", acknowledgement(-17).substr(0, 35), -1, invalid()},
        // The kernel's shortest answers, and the longest that is read.
        Reply{"ErrorWithoutTheRequest", message(error, 0, 1, host_order(-17)), -17, refused(17)},
        Reply{"OfTheBuffersSize", message(newlink, 2, 1, zeros(4080)), 0, {}},
        Reply{"CutByTheBuffer", message(newlink, 2, 1, zeros(4081)), -1, invalid()}),
    test::case_name);

TEST_F(Exchange, WithoutSocket_Fails)
{
    sock.fd = -1;
    EXPECT_EQ(exchange(), -1);
}

TEST_F(Exchange, WithoutSocket_SaysSo)
{
    sock.fd = -1;
    exchange();
    EXPECT_EQ(test::logged(),
              Lines{nlc_error("send_and_recv_ack", "netlink command socket not initialized")});
}

TEST_F(Exchange, SendFailure_Fails)
{
    const UniqueFd no_socket(open("/dev/null", O_RDWR | O_CLOEXEC));
    sock.fd = no_socket.get();
    EXPECT_EQ(exchange(), -1);
}

TEST_F(Exchange, SendFailure_SaysSo)
{
    const UniqueFd no_socket(open("/dev/null", O_RDWR | O_CLOEXEC));
    sock.fd = no_socket.get();
    exchange();
    EXPECT_EQ(test::logged(), Lines{nlc_error("send_and_recv_ack", "netlink sendto failed")});
}

TEST_F(Exchange, ReceiveFailure_Fails)
{
    EXPECT_EQ(exchange(), -1); // nothing is queued
}

TEST_F(Exchange, ReceiveFailure_SaysSo)
{
    exchange();
    EXPECT_EQ(test::logged(), Lines{nlc_error("send_and_recv_ack", "netlink recv failed")});
}

TEST_F(Exchange, ReceiveFailure_HasSentTheRequest)
{
    exchange();
    EXPECT_EQ(kernel.requests().size(), 1U);
}

} // namespace
} // namespace kex::netlink
