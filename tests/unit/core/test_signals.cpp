#include "core/signals.hpp"

#include "support/forked.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace
{

int refused_signal = 0;

} // namespace

// Refuses one signal, as the kernel never does for these.
extern "C" int sigaction(int number, const struct sigaction* action,
                         struct sigaction* former) noexcept
{
    using Call = int (*)(int, const struct sigaction*, struct sigaction*);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "sigaction"));
    if (number == refused_signal) {
        errno = EINVAL;
        return -1;
    }
    return next(number, action, former);
}

namespace kex
{
namespace
{

sigset_t current_mask()
{
    sigset_t mask;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

/** The numbers of the signals held back, each followed by a blank. */
std::string blocked()
{
    const sigset_t mask = current_mask();
    std::string numbers;
    for (int number = 1; number < SIGRTMIN; ++number) {
        if (sigismember(&mask, number) == 1) {
            numbers += std::to_string(number) + " ";
        }
    }
    return numbers;
}

constexpr const char* handled_three = "2 15 17 "; // SIGINT, SIGTERM, SIGCHLD

volatile std::sig_atomic_t handled = 0;

extern "C" void note_signal(int number)
{
    handled = number;
}

/** Restores the mask and what is done with the signals. */
class Signals : public testing::Test
{
  protected:
    Signals() { handled = 0; }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;
    ~Signals() override
    {
        refused_signal = 0;
        for (const int number : {SIGINT, SIGTERM, SIGCHLD, SIGUSR1}) {
            std::signal(number, SIG_DFL);
        }
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
    }

    static void block(int number)
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, nullptr);
    }

  private:
    sigset_t mask_ = current_mask();
};

TEST_F(Signals, SignalBlock_HoldsTheThreeSignalsBack)
{
    const SignalBlock held;
    EXPECT_EQ(blocked(), handled_three);
}

TEST_F(Signals, SignalBlock_AddsToTheMask)
{
    block(SIGHUP);
    const SignalBlock held;
    EXPECT_EQ(blocked(), std::string("1 ") + handled_three);
}

TEST_F(Signals, SignalBlock_RestoresAnEmptyMask)
{
    {
        const SignalBlock held;
    }
    EXPECT_EQ(blocked(), "");
}

TEST_F(Signals, SignalBlock_RestoresASignalHeldBackBefore)
{
    block(SIGTERM);
    {
        const SignalBlock held;
    }
    EXPECT_EQ(blocked(), "15 ");
}

TEST_F(Signals, SignalBlock_InnerOneLeavesTheOuterInForce)
{
    const SignalBlock outer;
    {
        const SignalBlock inner;
    }
    EXPECT_EQ(blocked(), handled_three);
}

TEST_F(Signals, SignalBlock_HoldsASignalWhileItLives)
{
    std::signal(SIGTERM, note_signal);
    const SignalBlock held;
    std::raise(SIGTERM);
    EXPECT_EQ(handled, 0);
}

TEST_F(Signals, SignalBlock_DeliversTheSignalAtItsEnd)
{
    std::signal(SIGTERM, note_signal);
    {
        const SignalBlock held;
        std::raise(SIGTERM);
    }
    EXPECT_EQ(handled, SIGTERM);
}

TEST_F(Signals, BlockSignalsForGood_HoldsTheThreeSignalsBack)
{
    block_signals_for_good();
    EXPECT_EQ(blocked(), handled_three);
}

TEST_F(Signals, BlockSignalsForGood_AddsToTheMask)
{
    block(SIGHUP);
    block_signals_for_good();
    EXPECT_EQ(blocked(), std::string("1 ") + handled_three);
}

TEST_F(Signals, ResetSignalsInChild_EmptiesTheMask)
{
    block(SIGHUP);
    block(SIGTERM);
    EXPECT_EQ(test::in_child([] {
                  reset_signals_in_child();
                  return "mask " + blocked();
              }),
              "mask ");
}

class HandledSignal : public Signals, public testing::WithParamInterface<int>
{
  protected:
    static struct sigaction current()
    {
        struct sigaction action = {};
        sigaction(GetParam(), nullptr, &action);
        return action;
    }
};

TEST_P(HandledSignal, ResetSignalsInChild_RestoresTheDefault)
{
    std::signal(GetParam(), note_signal);
    EXPECT_EQ(test::in_child([] {
                  reset_signals_in_child();
                  return current().sa_handler == SIG_DFL ? "default" : "handled";
              }),
              "default");
}

TEST_P(HandledSignal, ResetSignalsInChild_NoLongerIgnores)
{
    std::signal(GetParam(), SIG_IGN);
    EXPECT_EQ(test::in_child([] {
                  reset_signals_in_child();
                  return current().sa_handler == SIG_DFL ? "default" : "ignored";
              }),
              "default");
}

TEST_P(HandledSignal, InstallSignalHandlers_HasTheHandlerServeIt)
{
    install_signal_handlers(note_signal);
    std::raise(GetParam());
    EXPECT_EQ(handled, GetParam());
}

TEST_P(HandledSignal, InstallSignalHandlers_SetsNoFlags)
{
    install_signal_handlers(note_signal);
    constexpr unsigned none_of = SA_RESTART | SA_NOCLDSTOP | SA_NODEFER | SA_RESETHAND;
    EXPECT_EQ(static_cast<unsigned>(current().sa_flags) & none_of, 0U);
}

TEST_P(HandledSignal, InstallSignalHandlers_HoldsNoOtherSignalBackMeanwhile)
{
    install_signal_handlers(note_signal);
    const struct sigaction action = current();
    std::string held;
    for (int number = 1; number < SIGRTMIN; ++number) {
        held += sigismember(&action.sa_mask, number) == 1 ? std::to_string(number) + " " : "";
    }
    EXPECT_EQ(held, "");
}

INSTANTIATE_TEST_SUITE_P(Three, HandledSignal, testing::Values(SIGINT, SIGTERM, SIGCHLD));

TEST_F(Signals, InstallSignalHandlers_LeavesOtherSignalsAlone)
{
    install_signal_handlers(note_signal);
    struct sigaction action = {};
    sigaction(SIGUSR1, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
}

struct Refusal {
    int number;
    const char* text;
};

class RefusedSignal : public Signals, public testing::WithParamInterface<Refusal>
{
};

TEST_P(RefusedSignal, IsReportedOnStandardError)
{
    refused_signal = GetParam().number;
    testing::internal::CaptureStderr();
    install_signal_handlers(note_signal);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), GetParam().text);
}

TEST_P(RefusedSignal, LeavesTheOthersServed)
{
    refused_signal = GetParam().number;
    testing::internal::CaptureStderr();
    install_signal_handlers(note_signal);
    testing::internal::GetCapturedStderr();
    const int other = GetParam().number == SIGTERM ? SIGINT : SIGTERM;
    std::raise(other);
    EXPECT_EQ(handled, other);
}

INSTANTIATE_TEST_SUITE_P(Three, RefusedSignal,
                         testing::Values(Refusal{SIGINT, "sigaction sigint: Invalid argument\n"},
                                         Refusal{SIGTERM, "sigaction sigterm: Invalid argument\n"},
                                         Refusal{SIGCHLD, "sigaction sigchld: Invalid argument\n"}),
                         [](const auto& refusal) {
                             return "Signal" + std::to_string(refusal.param.number);
                         });

class Deferred : public Signals, public testing::WithParamInterface<int>
{
  protected:
    Deferred() { install_signal_handlers(note_signal); }
};

TEST_P(Deferred, SignalIsNotServedMeanwhile)
{
    const SignalDeferral deferral;
    std::raise(GetParam());
    EXPECT_EQ(handled, 0);
}

TEST_P(Deferred, SignalIsServedAtTheEnd)
{
    {
        const SignalDeferral deferral;
        std::raise(GetParam());
    }
    EXPECT_EQ(handled, GetParam());
}

TEST_P(Deferred, SignalIsNotServedAtTheEndOfAnInnerDeferral)
{
    const SignalDeferral outer;
    {
        const SignalDeferral inner;
        std::raise(GetParam());
    }
    EXPECT_EQ(handled, 0);
}

TEST_P(Deferred, SignalIsServedOnceOnly)
{
    {
        const SignalDeferral deferral;
        std::raise(GetParam());
    }
    handled = 0;
    {
        const SignalDeferral deferral;
    }
    EXPECT_EQ(handled, 0);
}

TEST_P(Deferred, SignalAfterADeferralIsServedAtOnce)
{
    {
        const SignalDeferral deferral;
    }
    std::raise(GetParam());
    EXPECT_EQ(handled, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Three, Deferred, testing::Values(SIGINT, SIGTERM, SIGCHLD));

int served = 0;

extern "C" void count_signal(int /*number*/)
{
    ++served;
}

TEST_F(Signals, SignalDeferral_KeepsSignalsOfDifferentNumbersApart)
{
    install_signal_handlers(count_signal);
    served = 0;
    {
        const SignalDeferral deferral;
        std::raise(SIGINT);
        std::raise(SIGTERM);
        std::raise(SIGCHLD);
    }
    EXPECT_EQ(served, 3);
}

TEST_F(Signals, SignalDeferral_ServesSignalsOfOneNumberOnce)
{
    install_signal_handlers(count_signal);
    served = 0;
    {
        const SignalDeferral deferral;
        std::raise(SIGCHLD);
        std::raise(SIGCHLD);
    }
    EXPECT_EQ(served, 1);
}

TEST_F(Signals, InSignalHandler_IsFalseOutside)
{
    EXPECT_FALSE(in_signal_handler());
}

TEST_F(Signals, InSignalHandler_IsTrueInAScope)
{
    const SignalHandlerScope scope;
    EXPECT_TRUE(in_signal_handler());
}

TEST_F(Signals, InSignalHandler_IsFalseAfterAScope)
{
    {
        const SignalHandlerScope scope;
    }
    EXPECT_FALSE(in_signal_handler());
}

TEST_F(Signals, InSignalHandler_IsTrueAfterAHandlerThatInterruptedOne)
{
    const SignalHandlerScope outer;
    {
        const SignalHandlerScope inner;
    }
    EXPECT_TRUE(in_signal_handler());
}

TEST_F(Signals, SignalHandlerScope_KeepsErrno)
{
    errno = ENOENT;
    {
        const SignalHandlerScope scope;
        errno = EIO;
    }
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Signals, StopIsNotRequestedAtFirst)
{
    EXPECT_FALSE(stop_requested);
}

TEST_F(Signals, NoChildrenArePendingAtFirst)
{
    EXPECT_EQ(pending_children, 0);
}

} // namespace
} // namespace kex
