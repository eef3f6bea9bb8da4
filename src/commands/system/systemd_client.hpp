#pragma once

#include <string>

// Calls of the systemd manager on the system bus. Every exchange has a connection of its own,
// opened for it and closed behind it, so that a blocking call leaves the daemon's own connection
// and its event loop alone. A result below 0 is a negative errno.
namespace kex::commands
{

/** True for a name of 1 to 255 bytes without NUL. */
bool is_valid_service_name(const std::string& name);

/** The unit of a service: the name, with ".service" unless it has a dot already. */
std::string to_unit_name(const std::string& name);

/** Clears a unit's failed state. @return -EINVAL for an invalid name, or the call's result */
int reset_failed_unit(const std::string& service);

/**
 * Calls a method of the manager that makes a job, in the mode "replace".
 * @param wait  wait until the job is gone, for 30 seconds at most; it is left to run then
 * @return 0, -EINVAL for an invalid name, -ETIMEDOUT, or the negative result of a connection or
 *         a call that failed
 */
int systemd_dbus_call_method(const char* method, const std::string& service, bool wait);

int start_unit(const std::string& service, bool wait);
int stop_unit(const std::string& service, bool wait);
int restart_unit(const std::string& service, bool wait);

} // namespace kex::commands
