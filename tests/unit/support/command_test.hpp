#pragma once

#include "commands/command_handler.hpp"
#include "support/case_name.hpp"
#include "support/scripted_kernel.hpp"

namespace kex::test
{

/** A test of handlers: the scripted kernel is behind the command socket of the process. */
class CommandTest : public testing::Test
{
  protected:
    CommandTest()
    {
        netlink::netlink_command_socket() = {kernel.channel(), 0};
        forget_log();
    }
    CommandTest(const CommandTest&) = delete;
    CommandTest& operator=(const CommandTest&) = delete;
    ~CommandTest() override { netlink::netlink_command_socket() = {}; }

    void acknowledge(int times = 1)
    {
        for (int i = 0; i < times; ++i) {
            kernel.reply(acknowledgement(0));
        }
    }
    void refuse(int error) { kernel.reply(acknowledgement(error)); }

    /** All requests, dumped. */
    std::vector<std::string> requests()
    {
        std::vector<std::string> all;
        for (const Bytes& request : kernel.requests()) {
            all.push_back(dump(request));
        }
        return all;
    }

    ScriptedKernel kernel;
    commands::CommandHandler handler;
};

/** An argument list that a handler refuses with one line. */
struct RefusedArgs {
    const char* name;
    void (commands::CommandHandler::*handler)(const commands::Args&);
    commands::Args args;
    Lines lines;
};

inline void PrintTo(const RefusedArgs& refused, std::ostream* out)
{
    *out << refused.name;
}

class RefusedList : public CommandTest, public testing::WithParamInterface<RefusedArgs>
{
  protected:
    void run() { (handler.*GetParam().handler)(GetParam().args); }
};

} // namespace kex::test
