// The attributes of requests, put together by the command socket.

#include "netlink/command_socket.hpp"

#include "support/scripted_kernel.hpp"

#include <array>

namespace kex::netlink
{
namespace
{

using test::attribute;
using test::Bytes;
using test::dump;
using test::Lines;
using test::nlc_error;
using test::u16;
using test::u32;
using test::zeros;

/** A request in a buffer whose unused part is not zero, so that writes beyond it show. */
class AddRtattr : public testing::Test
{
  protected:
    AddRtattr()
    {
        buffer_.fill('\xee');
        header() = {16, 1, 2, 3, 4};
        test::forget_log();
    }

    nlmsghdr& header() { return *reinterpret_cast<nlmsghdr*>(buffer_.data()); }

    int add(uint16_t type, const Bytes& payload, uint32_t max_len = 512)
    {
        return add_rtattr(sock_, header(), max_len, type, payload.data(),
                          static_cast<uint32_t>(payload.size()));
    }

    rtattr* begin(uint16_t type, uint32_t max_len = 512)
    {
        return begin_nested_rtattr(sock_, header(), max_len, type);
    }

    void end(rtattr* nest) { end_nested_rtattr(sock_, header(), *nest); }

    /** Without the padding's content, which is the caller's: the buffer of a request is zeroed. */
    Bytes bytes(size_t from, size_t count) { return {buffer_.data() + from, count}; }

  private:
    NetlinkCommandSocket sock_;
    alignas(nlmsghdr) std::array<char, 1024> buffer_{};
};

TEST_F(AddRtattr, WritesLengthTypeAndPayload)
{
    add(0x1234, "abcdefgh");
    EXPECT_EQ(dump(bytes(16, 12)), dump(u16(12) + u16(0x1234) + "abcdefgh"));
}

TEST_F(AddRtattr, LengthLeavesThePaddingOut)
{
    add(3, "abcde");
    EXPECT_EQ(dump(bytes(16, 9)), dump(u16(9) + u16(3) + "abcde"));
}

TEST_F(AddRtattr, NextOneFollowsThePadding)
{
    add(3, "abcde");
    add(4, "fg");
    EXPECT_EQ(dump(bytes(28, 6)), dump(u16(6) + u16(4) + "fg"));
}

TEST_F(AddRtattr, StartsAtAMultipleOfFour)
{
    header().nlmsg_len = 17;
    add(3, "ab");
    EXPECT_EQ(dump(bytes(20, 6)), dump(u16(6) + u16(3) + "ab"));
}

TEST_F(AddRtattr, WritesNothingBehindThePadding)
{
    add(3, "abcde");
    EXPECT_EQ(dump(bytes(28, 8)), dump(Bytes(8, '\xee')));
}

TEST_F(AddRtattr, LeavesTheRestOfTheHeaderAlone)
{
    add(3, "abcd");
    EXPECT_EQ(dump(bytes(4, 12)), dump(u16(1) + u16(2) + u32(3) + u32(4)));
}

TEST_F(AddRtattr, WithoutDataIsZeros)
{
    NetlinkCommandSocket sock;
    add_rtattr(sock, header(), 512, 3, nullptr, 8);
    EXPECT_EQ(dump(bytes(16, 12)), dump(u16(12) + u16(3) + Bytes(8, '\0')));
}

TEST_F(AddRtattr, LogsNothingOnSuccess)
{
    add(3, "abcd");
    EXPECT_EQ(test::logged(), Lines{});
}

struct Occupied {
    size_t payload;
    uint32_t message;
};

class AddRtattrOfLength : public AddRtattr, public testing::WithParamInterface<Occupied>
{
};

TEST_P(AddRtattrOfLength, MakesTheMessageEndAtAMultipleOfFour)
{
    add(3, zeros(GetParam().payload));
    EXPECT_EQ(header().nlmsg_len, GetParam().message);
}

TEST_P(AddRtattrOfLength, FillsThePaddingWithZeros)
{
    const size_t length = GetParam().payload;
    add(3, Bytes(length, 'x'));
    const size_t end = 20 + length;
    EXPECT_EQ(dump(bytes(end, GetParam().message - end)),
              dump(Bytes(GetParam().message - end, '\0')));
}

TEST_P(AddRtattrOfLength, PaddingSparesThePayload)
{
    const Bytes payload(GetParam().payload, 'x');
    add(3, payload);
    EXPECT_EQ(dump(bytes(20, payload.size())), dump(payload));
}

INSTANTIATE_TEST_SUITE_P(Payloads, AddRtattrOfLength,
                         testing::Values(Occupied{0, 20}, Occupied{1, 24}, Occupied{2, 24},
                                         Occupied{3, 24}, Occupied{4, 24}, Occupied{5, 28},
                                         Occupied{8, 28}, Occupied{16, 36}),
                         [](const auto& occupied) {
                             return std::to_string(occupied.param.payload) + "Bytes";
                         });

// 16 + 4 + 12 = 32 bytes.
TEST_F(AddRtattr, AcceptsWhatEndsAtTheCapacity)
{
    EXPECT_EQ(add(3, zeros(12), 32), 0);
}

TEST_F(AddRtattr, AcceptsPaddingUpToTheCapacity)
{
    EXPECT_EQ(add(3, zeros(9), 32), 0);
}

TEST_F(AddRtattr, RefusesOneByteMore)
{
    EXPECT_EQ(add(3, zeros(13), 32), -1);
}

TEST_F(AddRtattr, RefusesPaddingBeyondTheCapacity)
{
    EXPECT_EQ(add(3, zeros(12), 31), -1);
}

TEST_F(AddRtattr, RefusesAHeaderBeyondTheCapacity)
{
    EXPECT_EQ(add(3, "", 19), -1);
}

TEST_F(AddRtattr, RefusalLeavesTheRequestAlone)
{
    const Bytes before = bytes(0, 64);
    add(3, zeros(13), 32);
    EXPECT_EQ(dump(bytes(0, 64)), dump(before));
}

TEST_F(AddRtattr, RefusalLogsWhatIsNeededAndWhatThereIs)
{
    add(3, zeros(13), 32);
    EXPECT_EQ(test::logged(), Lines{nlc_error("add_rtattr", "rtattr overflow: need 36, max 32")});
}

TEST_F(AddRtattr, RefusesAMegabyte)
{
    add(3, zeros(1'000'000), 512);
    EXPECT_EQ(test::logged(),
              Lines{nlc_error("add_rtattr", "rtattr overflow: need 1000020, max 512")});
}

TEST_F(AddRtattr, Nest_BeginsAsAnEmptyAttribute)
{
    begin(18);
    EXPECT_EQ(dump(bytes(16, 4)), dump(u16(4) + u16(18)));
}

TEST_F(AddRtattr, Nest_TakesFourBytesOfTheMessage)
{
    begin(18);
    EXPECT_EQ(header().nlmsg_len, 20U);
}

TEST_F(AddRtattr, Nest_CanStayEmpty)
{
    end(begin(18));
    EXPECT_EQ(dump(bytes(16, 4)), dump(u16(4) + u16(18)));
}

TEST_F(AddRtattr, Nest_CoversItsAttributes)
{
    rtattr* nest = begin(18);
    add(1, "abcd");
    add(2, "efgh");
    end(nest);
    EXPECT_EQ(dump(bytes(16, 20)),
              dump(attribute(18, attribute(1, "abcd") + attribute(2, "efgh"))));
}

TEST_F(AddRtattr, Nest_CoversThePaddingOfItsLastAttribute)
{
    rtattr* nest = begin(18);
    add(1, "a");
    end(nest);
    EXPECT_EQ(nest->rta_len, 12);
}

TEST_F(AddRtattr, Nest_InNest)
{
    rtattr* outer = begin(18);
    add(1, "vlan");
    rtattr* inner = begin(2);
    add(1, "abcd");
    end(inner);
    end(outer);
    EXPECT_EQ(dump(bytes(16, 24)),
              dump(attribute(18, attribute(1, "vlan") + attribute(2, attribute(1, "abcd")))));
}

TEST_F(AddRtattr, Nest_StartsAtAMultipleOfFour)
{
    header().nlmsg_len = 18;
    begin(18);
    EXPECT_EQ(dump(bytes(20, 4)), dump(u16(4) + u16(18)));
}

TEST_F(AddRtattr, Nest_CanBeginWhereTheCapacityEnds)
{
    EXPECT_NE(begin(18, 20), nullptr);
}

TEST_F(AddRtattr, Nest_CannotBeginBeyondTheCapacity)
{
    EXPECT_EQ(begin(18, 19), nullptr);
}

TEST_F(AddRtattr, Nest_RefusalIsThatOfAnAttribute)
{
    begin(18, 19);
    EXPECT_EQ(test::logged(), Lines{nlc_error("add_rtattr", "rtattr overflow: need 20, max 19")});
}

} // namespace
} // namespace kex::netlink
