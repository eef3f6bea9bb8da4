#include "core/log.hpp"
#include "core/signals.hpp"
#include "core/thread_name.hpp"
#include "dbus/dbus_manager.hpp"
#include "netlink/command_socket.hpp"

#include <cerrno>
#include <ctime>
#include <exception>

namespace
{

constexpr const char* module_tag = "man";

/** Serves all three signals. Only the stopping ones create the D-Bus manager if it is missing. */
extern "C" void handle_signal(int number)
{
    const kex::SignalHandlerScope scope;
    if (number == SIGCHLD) {
        ++kex::pending_children;
        return;
    }
    kex::stop_requested = true;
    kex::dbus::dbus_manager().stop_event_loop();
}

void sleep_one_second()
{
    timespec rest = {1, 0};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {}
}

} // namespace

int main()
{
    using namespace kex;

    LOG_INFO_AT(98, "%s starting up\n", program_name);
    install_signal_handlers(handle_signal);
    set_thread_name(program_name);
    if (netlink::init_socket(netlink::netlink_command_socket()) != 0) {
        LOG_ERROR_AT(105, "failed to initialize netlink command socket\n");
        block_signals_for_good();
        return 1;
    }

    try {
        dbus::DbusManager& manager = dbus::dbus_manager();
        while (!stop_requested) {
            LOG_INFO_AT(115, "entering event loop\n");
            manager.start_event_loop();
            LOG_WARNING_AT(117, "event loop is ended\n");
            sleep_one_second();
        }
    } catch (const std::exception& error) {
        LOG_ERROR_AT(124, "%s exiting with exception [%s]\n", program_name, error.what());
    } catch (...) {
        LOG_ERROR_AT(130, "%s exiting with unknown exception\n", program_name);
    }

    LOG_INFO_AT(134, "exiting\n");
    // The signal handler uses objects that the exit handlers are about to destroy.
    block_signals_for_good();
    return 0;
}
