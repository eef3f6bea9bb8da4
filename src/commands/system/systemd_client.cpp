#include "commands/system/systemd_client.hpp"

#include "core/log.hpp"

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>

namespace kex::commands
{
namespace
{

constexpr const char* module_tag = "syd";

constexpr const char* systemd = "org.freedesktop.systemd1";
constexpr const char* manager_path = "/org/freedesktop/systemd1";
constexpr const char* manager_interface = "org.freedesktop.systemd1.Manager";
constexpr const char* job_interface = "org.freedesktop.systemd1.Job";

constexpr size_t max_name_length = 255;
constexpr int32_t max_wait_s = 29;
constexpr useconds_t poll_interval_us = 200'000;

struct ConnectionCloser {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Connection = std::unique_ptr<sd_bus, ConnectionCloser>;

struct MessageRelease {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageRelease>;

/** The error of one call, freed at its end. */
struct BusError {
    sd_bus_error error = SD_BUS_ERROR_NULL;

    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&error); }

    [[nodiscard]] const char* message() const
    {
        return error.message != nullptr ? error.message : "";
    }
};

/** @return the connection, or none with the negative error in result */
Connection open_connection(int& result)
{
    sd_bus* bus = nullptr;
    result = sd_bus_open_system(&bus);
    return Connection(bus);
}

/**
 * A connection for a call that concerns a service.
 * @return none, with a log line under function and the negative error in result, when the name is
 *         invalid or there is no bus
 */
Connection connect_for(const std::string& service, const char* function, int& result)
{
    if (!is_valid_service_name(service)) {
        LOG_ERROR_AS(function, __LINE__, "invalid service name: %s\n", service.c_str());
        result = -EINVAL;
        return nullptr;
    }
    Connection bus = open_connection(result);
    if (result < 0) {
        LOG_ERROR_AS(function, __LINE__, "failed to connect to systemd D-Bus: %d\n", -result);
    }
    return bus;
}

int32_t monotonic_seconds()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int32_t>(now.tv_sec);
}

/** What one look at a job showed. */
struct JobPoll {
    bool ended; /**< result is the outcome of the wait */
    int result; /**< of reading the state, unless the wait has ended */
};

JobPoll poll_job(const std::string& job)
{
    int result = 0;
    const Connection bus = open_connection(result);
    if (result < 0) {
        LOG_ERROR_AS("wait_for_job_completion", __LINE__,
                     "failed to connect to systemd D-Bus for job poll: %d\n", -result);
        return {true, result};
    }
    BusError error;
    sd_bus_message* raw = nullptr;
    result = sd_bus_get_property(bus.get(), systemd, job.c_str(), job_interface, "State",
                                 &error.error, &raw, "s");
    const Message reply(raw);
    if (result < 0) {
        return {true, 0}; // the job object is gone, and that is how a job completes
    }
    const char* state = nullptr;
    result = sd_bus_message_read(reply.get(), "s", &state);
    return {false, state == nullptr && result >= 0 ? 0 : result};
}

int wait_for_job_completion(const std::string& job)
{
    const int32_t start = monotonic_seconds();
    while (true) {
        const JobPoll poll = poll_job(job);
        if (poll.ended) {
            return poll.result;
        }
        if (poll.result > 0) {
            const int32_t elapsed = monotonic_seconds() - start;
            if (elapsed > max_wait_s) {
                LOG_WARNING("timed out waiting for job %s after %ds\n", job.c_str(), elapsed);
                return -ETIMEDOUT;
            }
        } else {
            // The time-out is not looked at here: only a state that was read counts. Intended.
            LOG_WARNING("failed to read job state for %s: %d\n", job.c_str(), -poll.result);
        }
        usleep(poll_interval_us);
    }
}

/** The path of the job that a reply names; empty when it names none. */
std::string read_job_path(sd_bus_message* reply)
{
    const char* path = nullptr;
    if (sd_bus_message_read(reply, "o", &path) < 0 || path == nullptr) {
        return {};
    }
    return path;
}

} // namespace

bool is_valid_service_name(const std::string& name)
{
    return !name.empty() && name.size() <= max_name_length && name.find('\0') == std::string::npos;
}

std::string to_unit_name(const std::string& name)
{
    return name.find('.') == std::string::npos ? name + ".service" : name;
}

int reset_failed_unit(const std::string& service)
{
    int result = 0;
    const Connection bus = connect_for(service, __func__, result);
    if (result < 0) {
        return result;
    }
    BusError error;
    result =
        sd_bus_call_method(bus.get(), systemd, manager_path, manager_interface, "ResetFailedUnit",
                           &error.error, nullptr, "s", to_unit_name(service).c_str());
    if (result < 0) {
        LOG_ERROR("systemd reset-failed D-Bus call failed: %s\n", error.message());
    }
    return result;
}

int systemd_dbus_call_method(const char* method, const std::string& service, bool wait)
{
    std::string job;
    {
        // Closed before the wait, whose polls have connections of their own.
        int result = 0;
        const Connection bus = connect_for(service, __func__, result);
        if (result < 0) {
            return result;
        }
        BusError error;
        sd_bus_message* raw = nullptr;
        result =
            sd_bus_call_method(bus.get(), systemd, manager_path, manager_interface, method,
                               &error.error, &raw, "ss", to_unit_name(service).c_str(), "replace");
        const Message reply(raw);
        if (result < 0) {
            LOG_ERROR("systemd D-Bus call failed: %s\n", error.message());
            return result;
        }
        if (wait) {
            job = read_job_path(reply.get());
        }
    }
    return job.empty() ? 0 : wait_for_job_completion(job);
}

int start_unit(const std::string& service, bool wait)
{
    return systemd_dbus_call_method("StartUnit", service, wait);
}

int stop_unit(const std::string& service, bool wait)
{
    return systemd_dbus_call_method("StopUnit", service, wait);
}

int restart_unit(const std::string& service, bool wait)
{
    return systemd_dbus_call_method("RestartUnit", service, wait);
}

} // namespace kex::commands
