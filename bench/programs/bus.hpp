#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace kex::bench
{

using Words = std::vector<std::string>;

struct BusRelease {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Bus = std::unique_ptr<sd_bus, BusRelease>;
using Message = std::unique_ptr<sd_bus_message, BusRelease>;
using Slot = std::unique_ptr<sd_bus_slot, BusRelease>;

/** A failure ends the measurement: a number from half of the work would be worse than none. */
inline void check(int result, const std::string& what)
{
    if (result < 0) {
        throw std::runtime_error(what + ": " + std::to_string(result));
    }
}

/** A connection of its own to the system bus. */
Bus connect();

inline const std::string kex_name = "com.orvel.bmc.network.kex";

/** ExecuteCommand, ready to be sent to kex or to a service that takes the same calls. */
Message make_command(sd_bus* bus, const std::string& service, const std::string& command,
                     const Words& arguments);

/** Sends a call and waits for its reply. @throws std::runtime_error for an error reply */
void call(sd_bus* bus, sd_bus_message* request);

} // namespace kex::bench
