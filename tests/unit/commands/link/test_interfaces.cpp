#include "support/command_test.hpp"
#include "support/link_requests.hpp"

namespace kex::commands
{
namespace
{

using namespace test;

using Requests = std::vector<std::string>;

std::string change(uint32_t seq, const Bytes& body)
{
    return dump(message(setlink, request_ack, seq, body));
}

class Interfaces : public CommandTest
{
};

TEST_F(Interfaces, Delete_SendsTheDeletion)
{
    acknowledge();
    handler.delete_network_interface({"eth0"});
    EXPECT_EQ(requests(), Requests{dump(message(dellink, request_ack, 1, ifinfomsg(eth0_index)))});
}

TEST_F(Interfaces, Delete_LogsItsStep)
{
    acknowledge();
    handler.delete_network_interface({"eth0"});
    EXPECT_EQ(logged(), (Lines{exe_info("delete_network_interface", 880, "deleting interface eth0"),
                               nlc_info("delete_link", "deleted eth0")}));
}

TEST_F(Interfaces, Delete_WarnsOfAFailure)
{
    handler.delete_network_interface({"eth9"});
    EXPECT_EQ(logged().back(),
              "<3> exe_delete_network_interface():883 - WARN - failed to delete eth9 rc=-1\n");
}

TEST_F(Interfaces, Rename_SetsTheLinkDownFirstAndLeavesItDown)
{
    acknowledge(2);
    handler.rename_network_interface({"eth0", "lan"});
    EXPECT_EQ(requests(),
              (Requests{change(1, ifinfomsg(eth0_index, 0, 1)),
                        change(2, ifinfomsg(eth0_index) + attribute(ifla_ifname, text("lan")))}));
}

TEST_F(Interfaces, Rename_LogsItsSteps)
{
    acknowledge(2);
    handler.rename_network_interface({"eth0", "lan", "surplus"});
    EXPECT_EQ(logged(),
              (Lines{exe_info("rename_network_interface", 1244, "renaming eth0 to lan"),
                     exe_info("link_control", 686, ""), nlc_info("set_link_state", "set eth0 down"),
                     exe_info("link_control", 697, "set eth0 down rc=0"),
                     nlc_info("rename_link", "renamed eth0 to lan")}));
}

TEST_F(Interfaces, Rename_LogsAFailure)
{
    acknowledge();
    refuse(-17);
    handler.rename_network_interface({"eth0", "lan"});
    EXPECT_EQ(logged().back(),
              exe_error("rename_network_interface", 1251, "failed to rename eth0 to lan rc=-17"));
}

TEST_F(Interfaces, Conjoin_SendsTheIndexOfTheBoss)
{
    acknowledge();
    handler.conjoin_in_an_inclusive_fashion({"eth0", "bond0"});
    EXPECT_EQ(requests(), Requests{change(1, ifinfomsg(eth0_index) +
                                                 attribute(ifla_master, u32(bond0_index)))});
}

TEST_F(Interfaces, Conjoin_LogsItsStep)
{
    acknowledge();
    handler.conjoin_in_an_inclusive_fashion({"eth0", "bond0", "surplus"});
    EXPECT_EQ(logged(),
              (Lines{exe_info("conjoin_in_an_inclusive_fashion", 1338, "conjoining eth0 to bond0"),
                     nlc_info("set_link_boss", "set eth0 boss bond0")}));
}

TEST_F(Interfaces, Conjoin_LogsAFailure)
{
    refuse(-16);
    handler.conjoin_in_an_inclusive_fashion({"eth0", "bond0"});
    EXPECT_EQ(logged().back(),
              exe_error("conjoin_in_an_inclusive_fashion", 1342, "failed to conjoin rc=-16"));
}

TEST_F(Interfaces, Disjoin_SendsIndexZero)
{
    acknowledge();
    handler.conjoin_in_an_inclusive_fashion({"eth1"});
    EXPECT_EQ(requests(),
              Requests{change(1, ifinfomsg(eth1_index) + attribute(ifla_master, u32(0)))});
}

TEST_F(Interfaces, Disjoin_LogsItsStep)
{
    acknowledge();
    handler.conjoin_in_an_inclusive_fashion({"eth1"});
    EXPECT_EQ(logged(), (Lines{exe_info("conjoin_in_an_inclusive_fashion", 1328, "disjoining eth1"),
                               nlc_info("clear_link_boss", "cleared eth1 boss")}));
}

TEST_F(Interfaces, Disjoin_LogsAFailure)
{
    handler.conjoin_in_an_inclusive_fashion({"eth9"});
    EXPECT_EQ(logged().back(),
              exe_error("conjoin_in_an_inclusive_fashion", 1342, "failed to conjoin rc=-1"));
}

RefusedArgs deletion_of(const char* name, const Args& args)
{
    return {name,
            &CommandHandler::delete_network_interface,
            args,
            {exe_error("delete_network_interface", 877, "invalid parm list")}};
}

INSTANTIATE_TEST_SUITE_P(Delete, RefusedList,
                         testing::Values(deletion_of("Empty", {}), deletion_of("NoName", {""}),
                                         deletion_of("TwoArguments", {"eth0", "eth1"}),
                                         deletion_of("SlashInTheName", {"../eth0"})),
                         case_name);

RefusedArgs renaming_of(const char* name, const Args& args)
{
    return {name,
            &CommandHandler::rename_network_interface,
            args,
            {exe_error("rename_network_interface", 1241, "invalid parm list")}};
}

INSTANTIATE_TEST_SUITE_P(Rename, RefusedList,
                         testing::Values(renaming_of("Empty", {}),
                                         renaming_of("OneArgument", {"eth0"}),
                                         renaming_of("BadOldName", {"eth0:1", "lan"}),
                                         renaming_of("BadNewName", {"eth0", "la n"}),
                                         renaming_of("NoNewName", {"eth0", ""})),
                         case_name);

RefusedArgs conjoining_of(const char* name, const Args& args, int line)
{
    return {name,
            &CommandHandler::conjoin_in_an_inclusive_fashion,
            args,
            {exe_error("conjoin_in_an_inclusive_fashion", line, "invalid parm list")}};
}

INSTANTIATE_TEST_SUITE_P(Conjoin, RefusedList,
                         testing::Values(conjoining_of("Empty", {}, 1322),
                                         conjoining_of("NoName", {""}, 1322),
                                         conjoining_of("BadName", {"eth0;", "bond0"}, 1322),
                                         conjoining_of("BadBoss", {"eth0", "bond 0"}, 1333),
                                         conjoining_of("NoBoss", {"eth0", ""}, 1333)),
                         case_name);

} // namespace
} // namespace kex::commands
