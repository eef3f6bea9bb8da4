// How the three flushes walk through the datagrams of a dump.

#include "support/flush_test.hpp"

namespace kex::test
{
namespace
{

/** A message that no flush looks at, of this length. */
Bytes other(size_t length)
{
    constexpr uint16_t noop = 1;
    return message(noop, 2, 77, zeros(length - 16));
}

/** The message with another length in its header. */
Bytes claiming(uint32_t length, Bytes bytes)
{
    return bytes.replace(0, 4, u32(length));
}

} // namespace

TEST_P(Flush, EmptyDatagramIsPassedOver)
{
    kernel.reply("");
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, ShortDatagramIsPassedOver)
{
    kernel.reply(end_of_dump().substr(0, 15));
    kernel.reply(entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, LengthBelowAHeaderEndsTheDatagram)
{
    kernel.reply(claiming(15, other(16)) + entry());
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, LengthOfZeroEndsTheDatagram)
{
    kernel.reply(claiming(0, entry()));
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, LengthBeyondTheDatagramEndsIt)
{
    const auto length = static_cast<uint32_t>(entry().size());
    kernel.reply(claiming(length + 1, entry()));
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, LengthFarBeyondTheDatagramEndsIt)
{
    kernel.reply(claiming(0xFFFFFFFF, end_of_dump()) + entry());
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, BadLengthLeavesTheNextDatagramGood)
{
    kernel.reply(claiming(15, other(16)));
    kernel.reply(entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, NextMessageStartsAtAMultipleOfFour)
{
    kernel.reply(padded(other(17)) + entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, LastMessageNeedsNoPadding)
{
    kernel.reply(other(17));
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, RestThatHoldsNoHeaderIsPassedOver)
{
    kernel.reply(entry() + zeros(15));
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, OtherMessagesArePassedOver)
{
    Bytes other_type = entry();
    kernel.reply(other_type.replace(4, 2, u16(999)) + entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, EntryWithoutFamilyHeaderIsPassedOver)
{
    kernel.reply(claiming(16, entry().substr(0, 16)));
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

TEST_P(Flush, ReadsADatagramOf8192Bytes)
{
    kernel.reply(other(8192 - entry().size()) + entry());
    acknowledge();
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(deletions(), deletions_with({2}));
}

TEST_P(Flush, EntryBeyond8192BytesIsCutAndPassedOver)
{
    kernel.reply(other(8192 - entry().size() + 4) + entry());
    kernel.reply(end_of_dump());
    run();
    EXPECT_EQ(logged(), Lines{success(0)});
}

} // namespace kex::test
