// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <sdbusplus/exception.hpp>

#include <exception>
#include <memory>
#include <utility>

namespace sdbusplus
{

namespace details
{
struct Unref {
    void operator()(sd_bus* bus) const { sd_bus_unref(bus); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, Unref>;
} // namespace details

namespace server
{
class manager_t;
class interface_t;
} // namespace server

class bus_t;

namespace bus
{
bus_t new_default_system();
} // namespace bus

class bus_t
{
  public:
    void request_name(const char* service)
    {
        int r = sd_bus_request_name(_bus.get(), service,
                                    SD_BUS_NAME_REPLACE_EXISTING | SD_BUS_NAME_ALLOW_REPLACEMENT);
        if (r < 0) {
            throw exception::SdBusError(-r, "sd_bus_request_name");
        }
    }

    void attach_event(sd_event* event, int priority)
    {
        sd_bus_attach_event(_bus.get(), event, priority);
    }

    void set_current_exception(std::exception_ptr exception)
    {
        current_exception = std::move(exception);
    }

  private:
    // As in the library, nobody else gets at the sd_bus.
    friend class server::manager_t;
    friend class server::interface_t;
    friend bus_t bus::new_default_system();

    explicit bus_t(sd_bus* owned) : _bus(owned) {}

    std::unique_ptr<sd_bus, details::Unref> _bus;
    std::exception_ptr current_exception;
};

// The library leaves a bus that cannot be opened empty, and the name request is the first call to
// report it; kex is to log the same error with either.
inline bus_t bus::new_default_system()
{
    sd_bus* opened = nullptr;
    sd_bus_default_system(&opened);
    return bus_t(opened);
}

} // namespace sdbusplus
