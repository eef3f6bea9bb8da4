#include "core/signals.hpp"

#include <array>
#include <cerrno>
#include <cstdio>

namespace kex
{

std::atomic<bool> stop_requested{false};
std::atomic<int32_t> pending_children{0};

namespace
{

std::atomic<int> handler_depth{0};

struct HandledSignal {
    int number;
    const char* failure;
};

constexpr std::array<HandledSignal, 3> handled_signals{{
    {SIGINT, "sigaction sigint"},
    {SIGTERM, "sigaction sigterm"},
    {SIGCHLD, "sigaction sigchld"},
}};

void (*signal_handler)(int) = nullptr;
std::atomic<int> deferral_depth{0};
std::atomic<uint32_t> deferred_signals{0};

constexpr uint32_t bit_of(int number)
{
    return 1U << static_cast<unsigned>(number);
}

extern "C" void take_signal(int number)
{
    if (deferral_depth > 0) {
        deferred_signals |= bit_of(number);
        return;
    }
    signal_handler(number);
}

sigset_t handled_signal_set()
{
    sigset_t set;
    sigemptyset(&set);
    for (const HandledSignal& signal : handled_signals) {
        sigaddset(&set, signal.number);
    }
    return set;
}

} // namespace

bool in_signal_handler()
{
    return handler_depth.load() > 0;
}

SignalHandlerScope::SignalHandlerScope() : errno_(errno)
{
    ++handler_depth;
}

SignalHandlerScope::~SignalHandlerScope()
{
    --handler_depth;
    errno = errno_;
}

SignalBlock::SignalBlock() : former_()
{
    const sigset_t set = handled_signal_set();
    sigprocmask(SIG_BLOCK, &set, &former_);
}

SignalBlock::~SignalBlock()
{
    sigprocmask(SIG_SETMASK, &former_, nullptr);
}

SignalDeferral::SignalDeferral()
{
    ++deferral_depth;
}

SignalDeferral::~SignalDeferral()
{
    // From here on a signal is served at once again, so that none is noted unseen.
    if (--deferral_depth > 0 || deferred_signals == 0) {
        return;
    }
    for (const HandledSignal& signal : handled_signals) {
        if ((deferred_signals.fetch_and(~bit_of(signal.number)) & bit_of(signal.number)) != 0) {
            signal_handler(signal.number);
        }
    }
}

void block_signals_for_good()
{
    const sigset_t set = handled_signal_set();
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

void reset_signals_in_child()
{
    for (const HandledSignal& signal : handled_signals) {
        std::signal(signal.number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void install_signal_handlers(void (*handler)(int))
{
    signal_handler = handler;
    struct sigaction action = {};
    action.sa_handler = take_signal;
    sigemptyset(&action.sa_mask);
    for (const HandledSignal& signal : handled_signals) {
        if (sigaction(signal.number, &action, nullptr) != 0) {
            std::perror(signal.failure);
        }
    }
}

} // namespace kex
