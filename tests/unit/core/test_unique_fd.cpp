#include "core/unique_fd.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace kex
{
namespace
{

int open_any()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

TEST(UniqueFd, HoldsNothingAtFirst)
{
    EXPECT_FALSE(UniqueFd());
}

TEST(UniqueFd, FailedOpenIsNothing)
{
    EXPECT_FALSE(UniqueFd(-1));
}

TEST(UniqueFd, DescriptorZeroIsOne)
{
    UniqueFd zero(0);
    EXPECT_TRUE(zero);
    const int kept = dup(0);
    zero = UniqueFd();
    dup2(kept, 0);
    close(kept);
}

TEST(UniqueFd, GivesTheDescriptorAway)
{
    const int fd = open_any();
    EXPECT_EQ(UniqueFd(fd).get(), fd);
}

TEST(UniqueFd, ClosesAtTheEndOfItsLife)
{
    const int fd = open_any();
    {
        const UniqueFd owner(fd);
    }
    EXPECT_FALSE(is_open(fd));
}

TEST(UniqueFd, MoveLeavesTheDescriptorOpen)
{
    const int fd = open_any();
    UniqueFd first(fd);
    const UniqueFd second(std::move(first));
    EXPECT_TRUE(is_open(fd));
}

TEST(UniqueFd, MoveTakesTheDescriptor)
{
    UniqueFd first(open_any());
    const UniqueFd second(std::move(first));
    EXPECT_EQ(first.get(), -1); // NOLINT(bugprone-use-after-move): what is left behind is the test
}

TEST(UniqueFd, AssignmentClosesTheFormerDescriptor)
{
    const int former = open_any();
    UniqueFd owner(former);
    owner = UniqueFd(open_any());
    EXPECT_FALSE(is_open(former));
}

TEST(UniqueFd, AssignmentKeepsTheNewDescriptorOpen)
{
    const int fd = open_any();
    UniqueFd owner(open_any());
    owner = UniqueFd(fd);
    EXPECT_TRUE(is_open(fd));
}

} // namespace
} // namespace kex
