// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sdbusplus/bus.hpp>

#include <memory>
#include <string>

namespace sdbusplus::server
{

class interface_t
{
  public:
    interface_t(bus_t& bus_in, const char* path_in, const char* name_in,
                const sd_bus_vtable* vtable, void* context)
        : bus(sd_bus_ref(bus_in._bus.get())), path(path_in), name(name_in)
    {
        sd_bus_slot* added = nullptr;
        int r = sd_bus_add_object_vtable(bus.get(), &added, path_in, name_in, vtable, context);
        if (r < 0) {
            throw exception::SdBusError(-r, "sd_bus_add_object_vtable");
        }
        slot.reset(added);
    }

    void property_changed(const char* property)
    {
        sd_bus_emit_properties_changed(bus.get(), path.c_str(), name.c_str(), property, nullptr);
    }

  private:
    std::unique_ptr<sd_bus, details::Unref> bus;
    std::string path;
    std::string name;
    details::Slot slot;
};

} // namespace sdbusplus::server
