// Without a bus: what happens on one is for the tests of the running daemon.

#include "dbus/dbus_manager.hpp"

#include "support/forked.hpp"
#include "support/recorded_log.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

namespace kex::dbus
{
namespace
{

using test::Lines;

class WithoutBus : public testing::Test
{
  protected:
    WithoutBus()
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
        test::forget_log();
    }
};

TEST_F(WithoutBus, Creation_LogsTheError)
{
    const DbusManager manager;
    const Lines lines = test::logged();
    const std::regex line("<2> dbs_dbus_manager\\(\\):205 - ERROR - failed to create D-Bus "
                          "\\[sd_bus_request_name: [^\\n]+\\]\\n\\n");
    EXPECT_TRUE(lines.size() == 1 && std::regex_match(lines.front(), line))
        << testing::PrintToString(lines);
}

TEST_F(WithoutBus, StopEventLoop_IsLogged)
{
    DbusManager manager;
    test::forget_log();
    manager.stop_event_loop();
    EXPECT_EQ(test::logged(), Lines{"<4> dbs_stop_event_loop():245 - event loop is exiting\n"});
}

TEST_F(WithoutBus, StartEventLoop_IsLogged)
{
    DbusManager manager;
    manager.stop_event_loop(); // or the loop would not come to an end
    test::forget_log();
    manager.start_event_loop();
    EXPECT_EQ(test::logged(), Lines{"<4> dbs_start_event_loop():237 - event loop is entering\n"});
}

TEST_F(WithoutBus, DbusManager_IsOneForTheProcess)
{
    // In a child, for it would hold the event loop of the tests that come after.
    EXPECT_EQ(test::in_child([] { return &dbus_manager() == &dbus_manager() ? "one" : "another"; }),
              "one");
}

} // namespace
} // namespace kex::dbus
