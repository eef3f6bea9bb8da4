#include "commands/link/sysfs.hpp"

#include "support/case_name.hpp"
#include "support/recorded_log.hpp"
#include "support/temp_dir.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace
{

std::vector<unsigned> pauses;
std::function<void()> during_pause;

} // namespace

// Takes no time. What it was asked for is noted, and the test may change the world meanwhile.
extern "C" int usleep(useconds_t microseconds)
{
    pauses.push_back(microseconds);
    if (during_pause) {
        during_pause();
    }
    return 0;
}

namespace kex::commands
{
namespace
{

using test::content;
using test::exe_error;
using test::exe_info;
using test::fill;
using test::Lines;

/** An interface in a folder of the test, which a name with enough ".." leads to. */
class Sysfs : public testing::Test
{
  protected:
    Sysfs()
    {
        pauses.clear();
        during_pause = {};
        std::filesystem::create_directories(folder_.file("if/bonding"));
        test::forget_log();
    }

    void set_state(const std::string& text) const { fill(operstate, text); }

    bool wait(uint32_t seconds, const char* expected)
    {
        return wait_for_iface_ready(name, seconds, expected);
    }

    [[nodiscard]] std::string cannot_open() const
    {
        return exe_error("wait_for_iface_ready", 990,
                         "Unable to open /sys/class/net/" + name + "/operstate");
    }
    [[nodiscard]] std::string not_ready() const
    {
        return exe_info("wait_for_iface_ready", 991, name + " is not ready");
    }
    [[nodiscard]] std::string ready() const
    {
        return exe_info("wait_for_iface_ready", 978, name + " is up now");
    }

  private:
    test::TempDir folder_;

  protected:
    std::string name = "../../.." + folder_.file("if");
    std::string operstate = folder_.file("if/operstate");
    std::string miimon = folder_.file("if/bonding/miimon");
};

TEST_F(Sysfs, SetBondingConfig_WritesValueAndLineFeed)
{
    set_bonding_config(name, "miimon", "1000");
    EXPECT_EQ(content(miimon), "1000\n");
}

TEST_F(Sysfs, SetBondingConfig_WritesOverTheFormerValue)
{
    fill(miimon, "a former value\n");
    set_bonding_config(name, "miimon", "1");
    EXPECT_EQ(content(miimon), "1\n");
}

TEST_F(Sysfs, SetBondingConfig_LogsPathAndSuccess)
{
    set_bonding_config(name, "miimon", "1000");
    EXPECT_EQ(test::logged(),
              (Lines{exe_info("set_bonding_config", 934,
                              "setting /sys/class/net/" + name + "/bonding/miimon"),
                     exe_info("set_bonding_config", 940, name + " miimon val:1000 OK")}));
}

TEST_F(Sysfs, SetBondingConfig_LogsAFileThatCannotBeOpened)
{
    set_bonding_config("no-such-bond0", "miimon", "1000");
    EXPECT_EQ(test::logged(),
              (Lines{exe_info("set_bonding_config", 934,
                              "setting /sys/class/net/no-such-bond0/bonding/miimon"),
                     exe_error("set_bonding_config", 943, "no-such-bond0 miimon=1000 failed")}));
}

TEST_F(Sysfs, SetBondingConfig_LogsARefusedValueAsSuccess)
{
    std::filesystem::create_symlink("/dev/full", miimon); // refuses every write
    set_bonding_config(name, "miimon", "1000");
    EXPECT_EQ(test::logged().back(),
              exe_info("set_bonding_config", 940, name + " miimon val:1000 OK"));
}

TEST_F(Sysfs, WaitForIfaceReady_FindsTheStateAtOnce)
{
    set_state("up\n");
    EXPECT_TRUE(wait(1, "up"));
}

TEST_F(Sysfs, WaitForIfaceReady_LogsTheStateFound)
{
    set_state("up\n");
    wait(1, "up");
    EXPECT_EQ(test::logged(), Lines{ready()});
}

TEST_F(Sysfs, WaitForIfaceReady_DoesNotPauseForTheStateFound)
{
    set_state("up\n");
    wait(1, "up");
    EXPECT_EQ(pauses, std::vector<unsigned>{});
}

TEST_F(Sysfs, WaitForIfaceReady_FindsAStateThatComesLater)
{
    set_state("down\n");
    during_pause = [&] {
        if (pauses.size() == 2) {
            set_state("up\n");
        }
    };
    wait(1, "up");
    EXPECT_EQ(test::logged(), (Lines{not_ready(), not_ready(), ready()}));
}

TEST_F(Sysfs, WaitForIfaceReady_FindsAFileThatComesLater)
{
    during_pause = [&] { set_state("up\n"); };
    wait(1, "up");
    EXPECT_EQ(test::logged(), (Lines{cannot_open(), not_ready(), ready()}));
}

TEST_F(Sysfs, WaitForIfaceReady_FindsTheStateAtTheLastTry)
{
    set_state("down\n");
    during_pause = [&] {
        if (pauses.size() == 3) {
            set_state("up\n");
        }
    };
    EXPECT_TRUE(wait(1, "up"));
}

TEST_F(Sysfs, WaitForIfaceReady_GivesUp)
{
    set_state("down\n");
    EXPECT_FALSE(wait(1, "up"));
}

TEST_F(Sysfs, WaitForIfaceReady_TriesFourTimesASecond)
{
    set_state("down\n");
    wait(1, "up");
    EXPECT_EQ(test::logged(), Lines(4, not_ready()));
}

TEST_F(Sysfs, WaitForIfaceReady_TriesTwentyTimesInFiveSeconds)
{
    set_state("down\n");
    wait(5, "up");
    EXPECT_EQ(test::logged(), Lines(20, not_ready()));
}

TEST_F(Sysfs, WaitForIfaceReady_PausesHalfASecondAfterEachTry)
{
    set_state("down\n");
    wait(1, "up");
    EXPECT_EQ(pauses, std::vector<unsigned>(4, 500'000));
}

TEST_F(Sysfs, WaitForIfaceReady_LogsEveryFailedOpen)
{
    wait(1, "up");
    EXPECT_EQ(test::logged(), (Lines{cannot_open(), not_ready(), cannot_open(), not_ready(),
                                     cannot_open(), not_ready(), cannot_open(), not_ready()}));
}

TEST_F(Sysfs, WaitForIfaceReady_GivesUpAMissingFile)
{
    EXPECT_FALSE(wait(1, "up"));
}

TEST_F(Sysfs, WaitForIfaceReady_WithoutStateEndsOnceTheFileOpens)
{
    set_state("up\n");
    EXPECT_FALSE(wait(1, nullptr));
}

TEST_F(Sysfs, WaitForIfaceReady_WithoutStateLogsNothingOnceTheFileOpens)
{
    set_state("up\n");
    wait(1, nullptr);
    EXPECT_EQ(test::logged(), Lines{});
}

TEST_F(Sysfs, WaitForIfaceReady_WithoutStateWaitsForTheFile)
{
    during_pause = [&] {
        if (pauses.size() == 2) {
            set_state("down\n");
        }
    };
    wait(1, nullptr);
    EXPECT_EQ(test::logged(), (Lines{cannot_open(), not_ready(), cannot_open(), not_ready()}));
}

TEST_F(Sysfs, WaitForIfaceReady_WithoutStateGivesUpAfterFourOpens)
{
    wait(1, nullptr);
    EXPECT_EQ(pauses.size(), 4U);
}

TEST_F(Sysfs, WaitForIfaceReady_OfNoSecondsGivesUpAtOnce)
{
    set_state("up\n");
    EXPECT_FALSE(wait(0, "up"));
}

TEST_F(Sysfs, WaitForIfaceReady_OfNoSecondsLooksAtNothing)
{
    wait(0, "up");
    EXPECT_EQ(test::logged(), Lines{});
}

TEST_F(Sysfs, WaitForIfaceReady_CountsTriesIn32Bits)
{
    set_state("down\n");
    wait(0x40000001, "up");
    EXPECT_EQ(test::logged(), Lines(4, not_ready()));
}

/** Whether a state's file is taken for the state expected. */
struct Comparison {
    const char* name;
    const char* content;
    const char* expected;
    bool same;
};

void PrintTo(const Comparison& comparison, std::ostream* out)
{
    *out << comparison.name;
}

class OperState : public Sysfs, public testing::WithParamInterface<Comparison>
{
};

TEST_P(OperState, IsComparedByTwoCharacters)
{
    set_state(GetParam().content);
    EXPECT_EQ(wait(1, GetParam().expected), GetParam().same);
}

INSTANTIATE_TEST_SUITE_P(States, OperState,
                         testing::Values(Comparison{"Up", "up\n", "up", true},
                                         Comparison{"UpWithoutLineFeed", "up", "up", true},
                                         Comparison{"LongerExpected", "up\n", "upwards", true},
                                         Comparison{"LongerRead", "upwards\n", "up", true},
                                         Comparison{"Unknown", "unknown\n", "up", false},
                                         Comparison{"Down", "down\n", "up", false},
                                         Comparison{"Dormant", "dormant\n", "up", false},
                                         Comparison{"LowerLayerDown", "lowerlayerdown\n", "up",
                                                    false},
                                         Comparison{"NotPresent", "notpresent\n", "up", false},
                                         Comparison{"Testing", "testing\n", "up", false},
                                         Comparison{"OtherCase", "UP\n", "up", false},
                                         Comparison{"SecondLine", "down\nup\n", "up", false},
                                         Comparison{"EmptyFile", "", "up", false},
                                         Comparison{"EmptyFileAndExpected", "", "", false},
                                         Comparison{"EmptyLine", "\n", "up", false},
                                         Comparison{"DownExpected", "down\n", "down", true},
                                         Comparison{"DownOrDormant", "dormant\n", "do", true},
                                         Comparison{"OneLetterRead", "u\n", "up", false},
                                         // The line feed is a part of the line that is read.
                                         Comparison{"OneLetterOfBoth", "u\n", "u", false},
                                         Comparison{"OneLetterWithoutLineFeed", "u", "u", true},
                                         Comparison{"EmptyLineAndExpected", "\n", "", false}),
                         test::case_name);

} // namespace
} // namespace kex::commands
