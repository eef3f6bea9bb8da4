#include "support/operation_test.hpp"

namespace kex::test
{

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Outcome);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Refused);

TEST_P(Outcome, AcknowledgementIsZero)
{
    acknowledge();
    EXPECT_EQ(run(), 0);
}

TEST_P(Outcome, AcknowledgementIsLoggedAsSuccess)
{
    acknowledge();
    run();
    EXPECT_EQ(logged(), Lines{nlc_info(function(), GetParam().success)});
}

TEST_P(Outcome, RefusalIsTheKernelsErrno)
{
    refuse(-19);
    EXPECT_EQ(run(), -19);
}

TEST_P(Outcome, RefusalIsLoggedAsFailure)
{
    refuse(-19);
    run();
    EXPECT_EQ(logged(), (Lines{nlc_error("send_and_recv_ack", "netlink error response: 19"),
                               nlc_error(function(), GetParam().failure)}));
}

TEST_P(Outcome, LocalFailureIsMinusOne)
{
    EXPECT_EQ(run(), -1); // no reply is queued
}

TEST_P(Outcome, LocalFailureIsLoggedAsFailure)
{
    run();
    EXPECT_EQ(logged(), (Lines{nlc_error("send_and_recv_ack", "netlink recv failed"),
                               nlc_error(function(), GetParam().failure)}));
}

TEST_P(Outcome, TakesTheNextSequenceNumber)
{
    acknowledge();
    sock.seq = 41;
    run();
    EXPECT_EQ(sock.seq, 42U);
}

TEST_P(Outcome, FirstRequestCarriesOne)
{
    acknowledge();
    run();
    EXPECT_EQ(dump(kernel.requests().at(0).substr(8, 4)), dump(u32(1)));
}

TEST_P(Outcome, SequenceNumberWraps)
{
    acknowledge();
    sock.seq = 0xFFFFFFFF;
    run();
    EXPECT_EQ(dump(kernel.requests().at(0).substr(8, 4)), dump(u32(0)));
}

TEST_P(Outcome, SendsOneRequest)
{
    acknowledge();
    run();
    EXPECT_EQ(kernel.requests().size(), 1U);
}

TEST_P(Refused, IsMinusOne)
{
    EXPECT_EQ(run(), -1);
}

TEST_P(Refused, SendsNothing)
{
    run();
    EXPECT_EQ(kernel.requests().size(), 0U);
}

TEST_P(Refused, LogsTheReasonAlone)
{
    run();
    EXPECT_EQ(logged(), Lines{nlc_error(GetParam().function, GetParam().reason)});
}

TEST_P(Refused, HasTakenASequenceNumberOnceItsRequestIsBegun)
{
    run();
    EXPECT_EQ(sock.seq, GetParam().used);
}

} // namespace kex::test
