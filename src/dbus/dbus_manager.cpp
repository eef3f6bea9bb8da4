#include "dbus/dbus_manager.hpp"

#include "core/log.hpp"
#include "core/signals.hpp"
#include "dbus/kex_object.hpp"

#include <sdbusplus/bus.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/server/manager.hpp>

#include <exception>

namespace kex::dbus
{
namespace
{

constexpr const char* module_tag = "dbs";
constexpr const char* creation = "dbus_manager";
constexpr const char* service_name = "com.orvel.bmc.network.kex";

} // namespace

/** What exists only while the daemon is on the bus, in the order of its making. */
struct DbusManager::BusPresence {
    explicit BusPresence(EventLoop& loop)
        : bus(sdbusplus::bus::new_default_system()), objects(bus, "/")
    {
        bus.request_name(service_name);
        LOG_INFO_AS(creation, 192, "service name [%s] is requested\n", service_name);
        bus.attach_event(loop.get(), 0);
        LOG_INFO_AS(creation, 195, "event attached\n");
        object = std::make_unique<KEX>(bus, loop);
        LOG_INFO_AS(creation, 201, "interface is created\n");
    }

    sdbusplus::bus_t bus;
    sdbusplus::server::manager_t objects;
    std::unique_ptr<KEX> object;
};

DbusManager::DbusManager()
{
    // The two newlines at the end of these messages are intended.
    try {
        presence_ = std::make_unique<BusPresence>(loop_);
    } catch (const sdbusplus::exception_t& error) {
        LOG_ERROR_AS(creation, 205, "failed to create D-Bus [%s]\n\n", error.what());
    } catch (const std::exception& error) {
        LOG_ERROR_AS(creation, 209, "failed to create D-Bus [%s]\n\n", error.what());
    } catch (...) {
        LOG_ERROR_AS(creation, 213, "failed to create D-Bus\n\n");
    }
}

DbusManager::~DbusManager() = default;

void DbusManager::start_event_loop()
{
    LOG_INFO_AT(237, "event loop is entering\n");
    loop_.run();
}

void DbusManager::stop_event_loop()
{
    LOG_INFO_AT(245, "event loop is exiting\n");
    loop_.request_exit();
}

DbusManager& dbus_manager()
{
    // A signal handler that interrupts the creation would wait for its end for ever.
    const SignalBlock block;
    static DbusManager manager;
    return manager;
}

} // namespace kex::dbus
