#include "dbus/kex_object.hpp"

#include "core/log.hpp"
#include "dbus/dispatch.hpp"

#include <sdbusplus/exception.hpp>

#include <exception>
#include <stdexcept>

namespace kex::dbus
{
namespace
{

constexpr const char* module_tag = "dbs";

constexpr int binding_level = 9;
constexpr int binding_component = 128;

} // namespace

KEX::KEX(sdbusplus::bus_t& bus, EventLoop& loop)
    : sdbusplus::server::com::orvel::bmc::network::KEX(bus, object_path), loop_(loop)
{
    state(0, true);
    LOG_INFO_AT(44, "constructed\n");
}

KEX::~KEX()
{
    LOG_INFO_AT(51, "destructed\n");
}

KEX::BindingFarewell::~BindingFarewell()
{
    const LogScope scope;
    qlog_printf(binding_level, binding_component, "%s.%d.%s: destructor called, DAL true", "server",
                65, "~KEX");
}

int32_t KEX::executeCommand(CmdID cmd, std::vector<std::string> args)
{
    try {
        return dbus::executeCommand(handler_, cmd, args);
    } catch (const sdbusplus::internal_exception_t&) {
        throw; // becomes an error reply
    } catch (const std::exception&) {
        // Ends the process. It must not unwind through the C frames of the bus and the event loop,
        // so it is carried around them; the binding sees it too and sends no reply.
        loop_.fail(std::current_exception());
        throw;
    } catch (...) {
        // A binding need not catch what is no std::exception: it gets one in its place.
        loop_.fail(std::current_exception());
        throw std::runtime_error("unknown exception");
    }
}

} // namespace kex::dbus
