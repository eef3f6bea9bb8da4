// The table agrees with the daemon's enumeration and keyword sets.

#include "dbus/keyword_sets.hpp"
#include "kexctl/command_table.hpp"
#include "kexctl/failure.hpp"
#include "kexctl/names.hpp"

#include <com/orvel/bmc/network/KEX/common.hpp>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace kex::ctl
{
namespace
{

using Binding = sdbusplus::common::com::orvel::bmc::network::KEX;

const std::map<std::string_view, const KeywordSet*>& sets_of_daemon()
{
    static const std::map<std::string_view, const KeywordSet*> all{
        {"addr_gen_modes", &addr_gen_modes},   {"addr_scopes", &addr_scopes},
        {"arping_options", &arping_options},   {"bond_modes", &bond_modes},
        {"bool_values", &bool_values},         {"duplex_modes", &duplex_modes},
        {"enable_values", &enable_values},     {"firewall_features", &firewall_features},
        {"flush_kinds", &flush_kinds},         {"interface_kinds", &interface_kinds},
        {"ip_versions", &ip_versions},         {"link_speeds", &link_speeds},
        {"link_states", &link_states},         {"route_protocols", &route_protocols},
        {"rule_directions", &rule_directions}, {"service_actions", &service_actions},
        {"service_names", &service_names},     {"static_route_modes", &static_route_modes},
        {"usbnic_actions", &usbnic_actions},
    };
    return all;
}

TEST(CommandTable, HasTheCommandsOfTheEnumeration)
{
    int value = 0;
    for (const Command& command : commands()) {
        EXPECT_EQ(command.value, value);
        EXPECT_EQ(command_string(std::string(command.name)),
                  Binding::convertCmdIDToString(static_cast<Binding::CmdID>(value)));
        ++value;
    }
    EXPECT_THROW(Binding::convertCmdIDToString(static_cast<Binding::CmdID>(value)),
                 std::invalid_argument);
}

TEST(CommandTable, HasTheWordsOfTheKeywordSets)
{
    EXPECT_EQ(word_sets().size(), sets_of_daemon().size());
    for (const WordSet& set : word_sets()) {
        KeywordSet words;
        for (const std::string_view word : set.words) {
            words.emplace(word);
        }
        ASSERT_TRUE(sets_of_daemon().contains(set.name)) << set.name;
        EXPECT_EQ(words, *sets_of_daemon().at(set.name)) << set.name;
        EXPECT_EQ(words.size(), set.words.size()) << set.name << " names a word twice";
    }
}

TEST(CommandTable, FindsACommandInAnyCase)
{
    ASSERT_NE(find_command("link_Ctrl"), nullptr);
    EXPECT_EQ(find_command("link_Ctrl")->name, "LINK_CTRL");
    EXPECT_EQ(find_command(""), nullptr);
    EXPECT_EQ(find_command("LINK_CTRL "), nullptr);
}

TEST(CommandTable, NamesTheNearestOfAMistypedName)
{
    try {
        named_command("LNIK_CTRL");
        FAIL() << "a command was found";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::wrong_usage);
        EXPECT_STREQ(failure.what(), "unknown command LNIK_CTRL; did you mean LINK_CTRL?");
    }
}

TEST(CommandTable, RepeatsTheLastSlotOnlyWhereItMayBe)
{
    const Command& arping = named_command("SENDARPING");
    const Command& link = named_command("LINK_CTRL");
    EXPECT_EQ(slot_at(arping.forms[0], 9), &arping.forms[0].slots[0]);
    EXPECT_EQ(slot_at(link.forms[0], 1), &link.forms[0].slots[1]);
    EXPECT_EQ(slot_at(link.forms[0], 2), nullptr);
}

} // namespace
} // namespace kex::ctl
