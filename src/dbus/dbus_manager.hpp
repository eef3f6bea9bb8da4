#pragma once

#include "dbus/event_loop.hpp"

#include <memory>

namespace kex::dbus
{

/** The daemon's place on the system bus: event loop, bus connection, object manager, object. */
class DbusManager
{
  public:
    DbusManager();
    DbusManager(const DbusManager&) = delete;
    DbusManager& operator=(const DbusManager&) = delete;
    ~DbusManager();

    /** Runs the event loop until it exits; an exception of a command leaves it as it was. */
    void start_event_loop();

    /** Asks the event loop to exit. Safe in signal handlers. */
    void stop_event_loop();

  private:
    struct BusPresence;

    EventLoop loop_;
    std::unique_ptr<BusPresence> presence_;
};

/**
 * The one D-Bus manager, created on the first call and destroyed at exit. Should the bus not be
 * had, the manager has no object on it and its event loop serves nothing but signals.
 */
DbusManager& dbus_manager();

} // namespace kex::dbus
