#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>

namespace kex
{

/** Set by SIGINT and SIGTERM; the main loop ends once it is true. */
extern std::atomic<bool> stop_requested;

/** SIGCHLD signals that the dispatcher has not answered with a waitpid yet. */
extern std::atomic<int32_t> pending_children;

// Both are shared with a signal handler, which must never wait for a lock.
static_assert(std::atomic<bool>::is_always_lock_free);
static_assert(std::atomic<int32_t>::is_always_lock_free);

/** True while a signal handler runs: code that allocates memory has to hold back then. */
bool in_signal_handler();

/** Marks a signal handler's run for in_signal_handler and keeps errno for the interrupted code. */
class SignalHandlerScope
{
  public:
    SignalHandlerScope();
    SignalHandlerScope(const SignalHandlerScope&) = delete;
    SignalHandlerScope& operator=(const SignalHandlerScope&) = delete;
    ~SignalHandlerScope();

  private:
    int errno_;
};

/**
 * Holds SIGINT, SIGTERM and SIGCHLD back while it lives and restores the former mask then.
 * Their handler logs; it must not interrupt code that holds a lock of the C library.
 */
class SignalBlock
{
  public:
    SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;
    ~SignalBlock();

  private:
    sigset_t former_;
};

/**
 * Puts off what the handler of the three signals does until the outermost of these ends. Cheaper
 * than a SignalBlock, for it takes no system call: the signal is delivered and noted. Those of one
 * number that arrive meanwhile are handled once, as they are when they are held back.
 */
class SignalDeferral
{
  public:
    SignalDeferral();
    SignalDeferral(const SignalDeferral&) = delete;
    SignalDeferral& operator=(const SignalDeferral&) = delete;
    ~SignalDeferral();
};

/** Holds the three signals back for the rest of the process's life. */
void block_signals_for_good();

/**
 * For a child between fork and exec: gives the three signals their default action, so that the
 * parent's handler never runs in the child, and then opens the signal mask.
 */
void reset_signals_in_child();

/**
 * Lets handler serve SIGINT, SIGTERM and SIGCHLD, without SA_RESTART. A signal that cannot be
 * served is reported on standard error and left as it is.
 */
void install_signal_handlers(void (*handler)(int));

} // namespace kex
