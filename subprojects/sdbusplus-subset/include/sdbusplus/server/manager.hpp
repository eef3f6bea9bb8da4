// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sdbusplus/bus.hpp>

namespace sdbusplus::server
{

class manager_t
{
  public:
    // Not checked, for the reason given at new_default_system().
    manager_t(bus_t& bus, const char* path)
    {
        sd_bus_slot* added = nullptr;
        sd_bus_add_object_manager(bus._bus.get(), &added, path);
        slot.reset(added);
    }

  private:
    details::Slot slot;
};

} // namespace sdbusplus::server
