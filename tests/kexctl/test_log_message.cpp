#include "kexctl/log_message.hpp"

#include "kexctl/names.hpp"

#include <gtest/gtest.h>

namespace kex::ctl
{
namespace
{

using Texts = std::vector<std::string>;

constexpr const char* stamp = "[20-Nov 21:43:24] ";

/** What the daemon writes for a command. */
std::string header(const std::string& command, const Texts& arguments)
{
    std::string log = std::string(stamp) + "dbs_executeCommand():71 - command[6]=[" +
                      command_string(command) + "]\n";
    for (size_t i = 0; i < arguments.size(); ++i) {
        log += std::string(stamp) + "dbs_executeCommand():76 -    args[" + std::to_string(i) +
               "]=[" + arguments[i] + "]\n";
    }
    return log;
}

std::string message(const std::string& text)
{
    return std::string(stamp) + "exe_f():1 - " + text + "\n";
}

Texts texts_of(const std::string& log, const std::string& command, const Texts& arguments)
{
    Texts texts;
    for (const LogMessage& each : messages_of_command(parse_log(log), command, arguments)) {
        texts.push_back(each.text);
    }
    return texts;
}

TEST(ParseLog, TakesALineApart)
{
    const auto log = parse_log("[20-Nov 21:43:24] dbs_~KEX():51 - destructed\n");
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].stamp, "20-Nov 21:43:24");
    EXPECT_EQ(log[0].origin, "dbs_~KEX");
    EXPECT_EQ(log[0].number, "51");
    EXPECT_EQ(log[0].text, "destructed");
    EXPECT_EQ(log[0].line(), "[20-Nov 21:43:24] dbs_~KEX():51 - destructed");
}

TEST(ParseLog, KeepsNewlinesInsideAMessageOnly)
{
    const auto log =
        parse_log(message("one\n\ntwo [20-Nov 21:43:24] ") + message("three\n") + message(""));
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[0].text, "one\n\ntwo [20-Nov 21:43:24] ");
    EXPECT_EQ(log[1].text, "three");
    EXPECT_EQ(log[2].text, "");
}

TEST(ParseLog, LeavesAsItIsWhatHasNoPrefix)
{
    for (const std::string text : {"", "f", "f():", "f():1", "f():1 -", "f():x - y", "f() - y"}) {
        const LogMessage parsed = parse_message("20-Nov 21:43:24", text);
        EXPECT_EQ(parsed.text, text);
        EXPECT_EQ(parsed.line(), stamp + text);
    }
    EXPECT_EQ(parse_log("no stamp\n")[0].line(), "no stamp");
}

TEST(ParseLog, KnowsErrorsAndWarningsByTheirBeginning)
{
    EXPECT_TRUE(parse_message("", "exe_f():1 - ERROR - x").is_error());
    EXPECT_FALSE(parse_message("", "exe_f():1 - no ERROR - x").is_error());
    EXPECT_FALSE(parse_message("", "exe_f():1 - WARN - x").is_error());
    EXPECT_TRUE(parse_message("", "exe_f():1 - WARN - x").is_warning());
}

TEST(MessagesOfCommand, BeginAtTheCommandAndEndAtTheNext)
{
    const std::string log = message("before") + header("LINK_CTRL", {"up", "a"}) + message("mine") +
                            header("LINK_CTRL", {"up", "b"}) + message("after");
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up", "a"}).back(), "mine");
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up", "a"}).size(), 4U);
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up", "b"}).back(), "after");
}

TEST(MessagesOfCommand, NeedEveryArgument)
{
    const std::string log = header("LINK_CTRL", {"up", "a"});
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up", "c"}), Texts{});
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up", "a", ""}), Texts{});
    EXPECT_EQ(texts_of(log, "LINK_TUNE", {"up", "a"}), Texts{});
    EXPECT_EQ(texts_of("", "LINK_CTRL", {}), Texts{});
}

TEST(MessagesOfCommand, AreNotThoseOfALongerList)
{
    const std::string log = header("LINK_CTRL", {"up", "a"}) + message("other") +
                            header("LINK_CTRL", {"up"}) + message("mine");
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up"}).back(), "mine");
}

TEST(MessagesOfCommand, AreTheFirstOfTwoEqualCalls)
{
    const std::string log = header("LINK_CTRL", {"up"}) + message("first") +
                            header("LINK_CTRL", {"up"}) + message("second");
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"up"}).back(), "first");
}

TEST(MessagesOfCommand, CompareArgumentsWithNewlinesWhole)
{
    const std::string log = header("LINK_CTRL", {"a\nb\n"}) + message("mine");
    EXPECT_EQ(texts_of(log, "LINK_CTRL", {"a\nb\n"}).back(), "mine");
}

} // namespace
} // namespace kex::ctl
