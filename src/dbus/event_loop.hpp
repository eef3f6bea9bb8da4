#pragma once

#include "core/unique_fd.hpp"

#include <sdeventplus/event.hpp>

#include <exception>
#include <memory>

namespace kex::dbus
{

/**
 * The default event loop, with an exit that may be asked for from a signal handler and one that
 * carries an exception out of a D-Bus callback.
 */
class EventLoop
{
  public:
    /** @throws sdeventplus::SdEventError or std::system_error when the system has no resources */
    EventLoop();

    /**
     * Runs until an exit is asked for.
     * @throws what fail() was given, or sdeventplus::SdEventError for a loop that cannot run: a
     *         loop that has ended cannot be run again
     */
    void run();

    /** Asks the loop to exit with code 0. Safe in signal handlers; a loop that has ended stays so.
     */
    void request_exit() noexcept;

    /** Ends the loop and has run() throw failure. The first failure is the one that counts. */
    void fail(std::exception_ptr failure) noexcept;

    /** The loop, still owned here. */
    [[nodiscard]] sd_event* get() const { return event_.get(); }

  private:
    struct SourceRelease {
        void operator()(sd_event_source* source) const;
    };

    sdeventplus::Event event_;
    UniqueFd wake_up_;
    std::unique_ptr<sd_event_source, SourceRelease> wake_up_source_;
    std::exception_ptr failure_;
};

} // namespace kex::dbus
