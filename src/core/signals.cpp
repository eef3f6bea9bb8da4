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
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    for (const HandledSignal& signal : handled_signals) {
        if (sigaction(signal.number, &action, nullptr) != 0) {
            std::perror(signal.failure);
        }
    }
}

} // namespace kex
