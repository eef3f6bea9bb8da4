#include "core/thread_name.hpp"

#include "support/recorded_log.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>

namespace kex
{
namespace
{

constexpr const char* longest = "fifteen-letters";
constexpr const char* too_long = "sixteen--letters";

std::string current_name()
{
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

class ThreadName : public testing::Test
{
  protected:
    ThreadName() { test::forget_log(); }
    ThreadName(const ThreadName&) = delete;
    ThreadName& operator=(const ThreadName&) = delete;
    ~ThreadName() override { pthread_setname_np(pthread_self(), former_.c_str()); }

  private:
    std::string former_ = current_name();
};

TEST_F(ThreadName, SetThreadName_NamesTheCallingThread)
{
    set_thread_name("kex");
    EXPECT_EQ(current_name(), "kex");
}

TEST_F(ThreadName, SetThreadName_LogsNothingOnSuccess)
{
    set_thread_name(longest);
    EXPECT_EQ(test::logged(), test::Lines{});
}

TEST_F(ThreadName, SetThreadName_LogsANameThatTheKernelRefuses)
{
    set_thread_name(too_long);
    EXPECT_EQ(test::logged(), test::Lines{"<2> cul_set_thread_name():# - ERROR - failed to set the "
                                          "thread name [sixteen--letters]\n"});
}

TEST_F(ThreadName, SetThreadName_RefusedNameLeavesTheFormerOne)
{
    set_thread_name("kex");
    set_thread_name(too_long);
    EXPECT_EQ(current_name(), "kex");
}

} // namespace
} // namespace kex
