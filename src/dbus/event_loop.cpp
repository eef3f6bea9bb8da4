#include "dbus/event_loop.hpp"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace kex::dbus
{
namespace
{

int drain_wake_up(sd_event_source*, int fd, uint32_t, void*)
{
    eventfd_t count = 0;
    eventfd_read(fd, &count);
    return 0;
}

void check(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(-result, std::system_category(), what);
    }
}

} // namespace

void EventLoop::SourceRelease::operator()(sd_event_source* source) const
{
    sd_event_source_unref(source);
}

EventLoop::EventLoop()
    : event_(sdeventplus::Event::get_default()), wake_up_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    check(wake_up_ ? 0 : -errno, "eventfd");
    sd_event_source* source = nullptr;
    check(sd_event_add_io(event_.get(), &source, wake_up_.get(), EPOLLIN, drain_wake_up, nullptr),
          "sd_event_add_io");
    wake_up_source_.reset(source);
}

void EventLoop::run()
{
    event_.loop();
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

void EventLoop::request_exit() noexcept
{
    // Not Event::exit: it throws once the loop has ended, which a signal handler must not.
    sd_event_exit(event_.get(), 0);
    // A loop that has looked for exit requests and is about to sleep needs a reason to wake up.
    eventfd_write(wake_up_.get(), 1);
}

void EventLoop::fail(std::exception_ptr failure) noexcept
{
    if (!failure_) {
        failure_ = std::move(failure);
    }
    request_exit();
}

} // namespace kex::dbus
