#include "commands/system/systemd_client.hpp"

#include "support/recorded_log.hpp"

#include <gtest/gtest.h>

#include <cerrno>

namespace kex::commands
{
namespace
{

using test::Lines;
using test::logged_without_numbers;

struct Name {
    const char* description;
    std::string text;
    bool valid;
};

void PrintTo(const Name& name, std::ostream* out)
{
    *out << name.description;
}

class ServiceName : public testing::TestWithParam<Name>
{
  protected:
    void SetUp() override { test::forget_log(); }
};

TEST_P(ServiceName, IsValidFromOneTo255BytesWithoutNul)
{
    EXPECT_EQ(is_valid_service_name(GetParam().text), GetParam().valid);
}

INSTANTIATE_TEST_SUITE_P(Names, ServiceName,
                         testing::Values(Name{"Empty", "", false}, Name{"OneByte", "a", true},
                                         Name{"Longest", std::string(255, 'a'), true},
                                         Name{"TooLong", std::string(256, 'a'), false},
                                         Name{"WithNul", std::string("a\0b", 3), false}),
                         [](const auto& parameter) {
                             return std::string(parameter.param.description);
                         });

TEST(UnitName, ToUnitName_AppendsService)
{
    EXPECT_EQ(to_unit_name("dhcpcd"), "dhcpcd.service");
}

TEST(UnitName, ToUnitName_KeepsANameWithADot)
{
    EXPECT_EQ(to_unit_name("a.socket"), "a.socket");
}

class InvalidServiceName : public testing::Test
{
  protected:
    void SetUp() override { test::forget_log(); }

    const std::string name = std::string(256, 'n');
};

TEST_F(InvalidServiceName, ResetFailedUnit_IsRefused)
{
    EXPECT_EQ(reset_failed_unit(name), -EINVAL);
}

TEST_F(InvalidServiceName, CallMethod_IsRefused)
{
    EXPECT_EQ(systemd_dbus_call_method("StartUnit", name, true), -EINVAL);
}

TEST_F(InvalidServiceName, ResetFailedUnit_LogsOneLine)
{
    reset_failed_unit(name);
    EXPECT_EQ(
        logged_without_numbers(),
        Lines{"<2> syd_reset_failed_unit():# - ERROR - invalid service name: " + name + "\n"});
}

TEST_F(InvalidServiceName, CallMethod_LogsOneLine)
{
    start_unit(name, false);
    EXPECT_EQ(logged_without_numbers(),
              Lines{"<2> syd_systemd_dbus_call_method():# - ERROR - invalid service name: " + name +
                    "\n"});
}

} // namespace
} // namespace kex::commands
