#include "support/flush_test.hpp"

#include "core/unique_fd.hpp"

#include <fcntl.h>

namespace kex::test
{

using Texts = std::vector<std::string>;

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Flush);

Texts Flush::deletions()
{
    Texts all;
    for (const Bytes& request : kernel.requests()) {
        all.push_back(dump(request));
    }
    if (!all.empty()) {
        all.erase(all.begin());
    }
    return all;
}

Texts Flush::deletions_with(const std::vector<uint32_t>& sequence_numbers) const
{
    Texts all;
    for (const uint32_t seq : sequence_numbers) {
        all.push_back(dump(GetParam().deletion(seq)));
    }
    return all;
}

TEST_P(Flush, AsksForTheDump)
{
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(the_request(), dump(GetParam().request));
}

TEST_P(Flush, AsksWithTheNextSequenceNumber)
{
    kernel.reply(end_of_dump());
    sock.seq = 41;
    run();
    EXPECT_EQ(dump(kernel.requests().at(0).substr(8, 4)), dump(u32(42)));
}

TEST_P(Flush, OfAnEmptyTable_Succeeds)
{
    kernel.reply(end_of_dump());
    EXPECT_EQ(run(), 0);
}

TEST_P(Flush, OfAnEmptyTable_LogsNone)
{
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, DeletesAMatch)
{
    kernel.reply(entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, CountsAMatch)
{
    kernel.reply(entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(1)});
}

TEST_P(Flush, DeletesEveryMatchOfADatagram)
{
    kernel.reply(entry() + entry() + entry());
    acknowledge();
    acknowledge();
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2, 3, 4}));
}

TEST_P(Flush, DeletesTheMatchesOfSeveralDatagrams)
{
    kernel.reply(entry());
    acknowledge();
    kernel.reply(entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2, 3}));
}

TEST_P(Flush, TakesASequenceNumberForEachDelete)
{
    kernel.reply(entry() + entry());
    acknowledge();
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(sock.seq, 3U);
}

TEST_P(Flush, EndsWithTheDatagramThatHasTheEnd)
{
    kernel.reply(entry() + end_of_dump() + entry());
    acknowledge();
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, ReadsNothingBehindTheEnd)
{
    kernel.reply(end_of_dump());
    kernel.reply(acknowledgement(-17));
    run();
    EXPECT_EQ(netlink::send_and_recv_ack(sock, *reinterpret_cast<const nlmsghdr*>(entry().data())),
              -17);
}

// A delete's acknowledgement is whatever comes next, and the dump goes on meanwhile.
TEST_P(Flush, TakesTheNextPartOfTheDumpAsAnAcknowledgement)
{
    kernel.reply(entry() + entry());
    kernel.reply(entry()); // of which nothing is deleted
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2, 3}));
}

TEST_P(Flush, TakesTheEndOfTheDumpAsAnAcknowledgement)
{
    kernel.reply(entry());
    kernel.reply(end_of_dump());
    acknowledge();
    run();
    EXPECT_EQ(logged(), Lines{success(1)});
}

TEST_P(Flush, EndsWithAnAcknowledgementThatWasLeftOver)
{
    kernel.reply(entry());
    kernel.reply(entry()); // taken as the acknowledgement
    acknowledge();         // ends the flush
    kernel.reply(entry());
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, EndsWithAnErrorAmongTheEntries)
{
    kernel.reply(entry() + acknowledgement(-16) + entry());
    acknowledge();
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, EndsWithAnErrorAsWithSuccess)
{
    kernel.reply(acknowledgement(-16));
    EXPECT_EQ(run(), 0);
}

TEST_P(Flush, EndsWithAnErrorLoggingTheCount)
{
    kernel.reply(acknowledgement(-16));
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, DeleteThatIsRefused_DoesNotStopIt)
{
    kernel.reply(entry() + entry());
    refuse(-3);
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2, 3}));
}

TEST_P(Flush, DeleteThatIsRefused_CountsAllTheSame)
{
    kernel.reply(entry());
    refuse(-3);
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(),
              (Lines{nlc_error("send_and_recv_ack", "netlink error response: 3"), success(1)}));
}

TEST_P(Flush, DeleteThatIsRefused_DoesNotShowInTheResult)
{
    kernel.reply(entry());
    refuse(-3);
    kernel.reply(end_of_dump());
    EXPECT_EQ(run(), 0);
}

TEST_P(Flush, SendFailure_Fails)
{
    const UniqueFd no_socket(open("/dev/null", O_RDWR | O_CLOEXEC));
    sock.fd = no_socket.get();
    EXPECT_EQ(run(), -1);
}

TEST_P(Flush, SendFailure_SaysSo)
{
    const UniqueFd no_socket(open("/dev/null", O_RDWR | O_CLOEXEC));
    sock.fd = no_socket.get();
    run();
    EXPECT_EQ(logged(), Lines{nlc_error(GetParam().name, GetParam().send_failure)});
}

TEST_P(Flush, WithoutSocket_IsASendFailure)
{
    sock.fd = -1;
    run();
    EXPECT_EQ(logged(), Lines{nlc_error(GetParam().name, GetParam().send_failure)});
}

TEST_P(Flush, ReceiveFailure_Fails)
{
    EXPECT_EQ(run(), -1);
}

TEST_P(Flush, ReceiveFailure_SaysSo)
{
    run();
    EXPECT_EQ(logged(), Lines{nlc_error(GetParam().name, GetParam().receive_failure)});
}

TEST_P(Flush, ReceiveFailure_LeavesWhatIsDeletedDeleted)
{
    kernel.reply(entry());
    acknowledge();
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, ReceiveFailure_LogsNoCount)
{
    kernel.reply(entry());
    acknowledge();
    run();
    EXPECT_EQ(logged(), Lines{nlc_error(GetParam().name, GetParam().receive_failure)});
}

} // namespace kex::test
