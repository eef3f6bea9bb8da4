#include "support/command_test.hpp"

namespace kex::test
{

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RefusedList);

TEST_P(RefusedList, IsLogged)
{
    run();
    EXPECT_EQ(logged(), GetParam().lines);
}

TEST_P(RefusedList, SendsNothing)
{
    run();
    EXPECT_EQ(requests(), std::vector<std::string>{});
}

} // namespace kex::test
