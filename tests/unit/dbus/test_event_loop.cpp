#include "dbus/event_loop.hpp"

#include <gtest/gtest.h>
#include <sdeventplus/exception.hpp>
#include <sys/time.h>

#include <csignal>
#include <stdexcept>
#include <thread>

namespace kex::dbus
{
namespace
{

/** What a run of the loop throws; empty when it returns. */
std::string thrown_by(EventLoop& loop)
{
    try {
        loop.run();
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

EventLoop* interrupted_loop = nullptr;

extern "C" void request_exit_of_the_loop(int)
{
    interrupted_loop->request_exit();
}

TEST(EventLoop, Run_EndsWithARequestMadeBefore)
{
    EventLoop loop;
    loop.request_exit();
    EXPECT_EQ(thrown_by(loop), "");
}

TEST(EventLoop, Run_EndsWithARequestOfASignalHandler)
{
    EventLoop loop;
    interrupted_loop = &loop;
    std::signal(SIGALRM, request_exit_of_the_loop);
    itimerval soon = {};
    soon.it_value.tv_usec = 20'000;
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_EQ(thrown_by(loop), "");
    std::signal(SIGALRM, SIG_DFL);
}

// From another thread, since a signal would interrupt the sleep by itself.
TEST(EventLoop, Run_IsWokenByARequest)
{
    EventLoop loop;
    std::thread requester([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        loop.request_exit();
    });
    EXPECT_EQ(thrown_by(loop), "");
    requester.join();
}

TEST(EventLoop, Run_EndsWithCodeZero)
{
    EventLoop loop;
    loop.request_exit();
    int code = -1;
    sd_event_get_exit_code(loop.get(), &code);
    EXPECT_EQ(code, 0);
}

TEST(EventLoop, Run_CannotBeRepeated)
{
    EventLoop loop;
    loop.request_exit();
    loop.run();
    EXPECT_THROW(loop.run(), sdeventplus::SdEventError);
}

TEST(EventLoop, RequestExit_DoesNothingOnceTheLoopHasEnded)
{
    EventLoop loop;
    loop.request_exit();
    loop.run();
    loop.request_exit(); // an exception would end the process
    EXPECT_EQ(sd_event_get_state(loop.get()), SD_EVENT_FINISHED);
}

TEST(EventLoop, RequestExit_CanBeRepeated)
{
    EventLoop loop;
    for (int i = 0; i < 1000; ++i) {
        loop.request_exit();
    }
    EXPECT_EQ(thrown_by(loop), "");
}

TEST(EventLoop, Fail_HasRunThrow)
{
    EventLoop loop;
    loop.fail(std::make_exception_ptr(std::out_of_range("of the command")));
    EXPECT_EQ(thrown_by(loop), "of the command");
}

TEST(EventLoop, Fail_KeepsTheTypeOfTheException)
{
    EventLoop loop;
    loop.fail(std::make_exception_ptr(42));
    EXPECT_THROW(loop.run(), int);
}

TEST(EventLoop, Fail_CountsTheFirstOne)
{
    EventLoop loop;
    loop.fail(std::make_exception_ptr(std::out_of_range("first")));
    loop.fail(std::make_exception_ptr(std::out_of_range("second")));
    EXPECT_EQ(thrown_by(loop), "first");
}

TEST(EventLoop, Fail_IsThrownOnce)
{
    EventLoop loop;
    loop.fail(std::make_exception_ptr(std::out_of_range("of the command")));
    thrown_by(loop);
    EXPECT_THROW(loop.run(), sdeventplus::SdEventError);
}

TEST(EventLoop, IsTheDefaultOne)
{
    const EventLoop loop;
    const EventLoop same;
    EXPECT_EQ(loop.get(), same.get());
}

} // namespace
} // namespace kex::dbus
