// set_link_tuning, which sends a request or runs a program.

#include "support/command_test.hpp"
#include "support/link_requests.hpp"

#include <unistd.h>

namespace
{

int program_result = 0;

} // namespace

// Stands in for the programs that handlers run: each ends at once.
extern "C" int execv(const char* /*program*/, char* const* /*argv*/) noexcept
{
    _exit(program_result);
}

namespace kex::commands
{
namespace
{

using namespace test;

class LinkTuning : public CommandTest
{
  protected:
    LinkTuning() { program_result = 0; }
};

struct Mtu {
    const char* text;
    uint32_t sent;
};

class MtuText : public LinkTuning, public testing::WithParamInterface<Mtu>
{
};

TEST_P(MtuText, IsReadByStrtoulAndSentUnchecked)
{
    acknowledge();
    handler.set_link_tuning({"eth0", "mtu", GetParam().text});
    EXPECT_EQ(requests(), std::vector<std::string>{dump(message(
                              setlink, request_ack, 1,
                              ifinfomsg(eth0_index) + attribute(ifla_mtu, u32(GetParam().sent))))});
}

INSTANTIATE_TEST_SUITE_P(Texts, MtuText,
                         testing::Values(Mtu{"1500", 1500}, Mtu{"abc", 0}, Mtu{"", 0},
                                         Mtu{"1500x", 1500}, Mtu{" 9000", 9000},
                                         Mtu{"-1", 0xFFFFFFFF}, Mtu{"4294967296", 0}),
                         [](const auto& mtu) { return "Text" + std::to_string(mtu.index); });

TEST_F(LinkTuning, SetLinkTuning_LogsAnMtuThatTheKernelRefuses)
{
    refuse(-22);
    handler.set_link_tuning({"eth0", "mtu", "abc"});
    EXPECT_EQ(logged().back(),
              exe_error("set_link_tuning", 1937, "failed to set link tuning mtu rc=-22"));
}

TEST_F(LinkTuning, SetLinkTuning_LogsNothingElseForAnMtu)
{
    acknowledge();
    handler.set_link_tuning({"eth0", "mtu", "1500", "surplus"});
    EXPECT_EQ(logged(), Lines{nlc_info("set_link_mtu", "set eth0 mtu 1500")});
}

/** Arguments of set_link_tuning, and the program that they run. */
struct Tuning {
    const char* name;
    Args args;
    const char* command;
};

void PrintTo(const Tuning& tuning, std::ostream* out)
{
    *out << tuning.name;
}

class TunedLink : public LinkTuning, public testing::WithParamInterface<Tuning>
{
};

TEST_P(TunedLink, RunsTheTool)
{
    handler.set_link_tuning(GetParam().args);
    EXPECT_EQ(logged(), Lines{exe_info("exec_cmd", 503,
                                       std::string("Executing command: ") + GetParam().command)});
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, TunedLink,
    testing::Values(
        Tuning{"Autonegotiation", {"eth0", "enable"}, "/usr/sbin/ethtool -s eth0 autoneg on "},
        Tuning{"AutonegotiationIgnoresSpeedAndDuplex",
               {"eth0", "enable", "100", "half"},
               "/usr/sbin/ethtool -s eth0 autoneg on "},
        Tuning{"Forced100",
               {"eth0", "disable", "100", "full"},
               "/usr/sbin/ethtool -s eth0 autoneg off speed 100 duplex full "},
        Tuning{"Forced10WithASurplusArgument",
               {"eth0", "disable", "10", "half", "surplus"},
               "/usr/sbin/ethtool -s eth0 autoneg off speed 10 duplex half "},
        // The name is a text here, and not the name of an interface.
        Tuning{"AnyText", {"eth0:$(x)", "enable"}, "/usr/sbin/ethtool -s eth0:$(x) autoneg on "}),
    case_name);

TEST_F(LinkTuning, SetLinkTuning_LogsTheRawStatusOfTheTool)
{
    program_result = 3;
    handler.set_link_tuning({"eth0", "enable"});
    EXPECT_EQ(logged().back(),
              exe_error("set_link_tuning", 1961, "failed to set link tuning rc=768"));
}

Lines set_link_tuning_refusal(int line)
{
    return {exe_error("set_link_tuning", line, "invalid parm list")};
}

RefusedArgs tuning_of(const char* name, const Args& args, int line)
{
    return {name, &CommandHandler::set_link_tuning, args, set_link_tuning_refusal(line)};
}

INSTANTIATE_TEST_SUITE_P(
    SetLinkTuning, RefusedList,
    testing::Values(tuning_of("Empty", {}, 1919), tuning_of("OneArgument", {"eth0"}, 1919),
                    tuning_of("NoName", {"", "enable"}, 1919),
                    tuning_of("BlankInTheName", {"eth 0", "enable"}, 1919),
                    tuning_of("NoWord", {"eth0", ""}, 1924),
                    tuning_of("OtherWord", {"eth0", "on"}, 1924),
                    tuning_of("OtherCase", {"eth0", "Enable"}, 1924),
                    tuning_of("OtherCaseOfMtu", {"eth0", "MTU", "1500"}, 1924),
                    tuning_of("MtuWithoutNumber", {"eth0", "mtu"}, 1931),
                    tuning_of("ForcedWithoutMode", {"eth0", "disable"}, 1946),
                    tuning_of("ForcedWithoutDuplex", {"eth0", "disable", "100"}, 1946),
                    tuning_of("ForcedGigabit", {"eth0", "disable", "1000", "full"}, 1946),
                    tuning_of("ForcedOtherDuplex", {"eth0", "disable", "100", "Full"}, 1946),
                    tuning_of("ForcedInOtherOrder", {"eth0", "disable", "full", "100"}, 1946)),
    case_name);

} // namespace
} // namespace kex::commands
