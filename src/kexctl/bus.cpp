#include "kexctl/bus.hpp"

#include "core/unique_fd.hpp"
#include "kexctl/names.hpp"

#include <poll.h>
#include <sys/syscall.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace kex::ctl
{
namespace
{

constexpr uint64_t no_timeout = UINT64_MAX;
constexpr int patience_ms = 2000;

struct MessageRelease {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageRelease>;

struct CredentialsRelease {
    void operator()(sd_bus_creds* credentials) const { sd_bus_creds_unref(credentials); }
};

/** The error of one call, freed at its end. */
struct BusError {
    sd_bus_error error = SD_BUS_ERROR_NULL;

    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&error); }

    [[nodiscard]] std::string text(int result) const
    {
        return error.message != nullptr ? error.message : std::strerror(-result);
    }
};

bool is_refusal(int result)
{
    return result == -EACCES || result == -EPERM;
}

/** True for an error by which the bus or this side of it says that nobody answers. */
bool is_silence(std::string_view error)
{
    constexpr std::array<std::string_view, 7> names{
        SD_BUS_ERROR_SERVICE_UNKNOWN,
        SD_BUS_ERROR_NAME_HAS_NO_OWNER,
        SD_BUS_ERROR_NO_REPLY,
        SD_BUS_ERROR_TIMEOUT,
        SD_BUS_ERROR_DISCONNECTED,
        SD_BUS_ERROR_NO_SERVER,
        "org.freedesktop.DBus.Error.TimedOut",
    };
    // The first two are failures to start the daemon, the last are those of this side.
    constexpr std::array<std::string_view, 3> families{
        "org.freedesktop.DBus.Error.Spawn.", "org.freedesktop.systemd1.", "System.Error."};
    return std::ranges::find(names, error) != names.end() ||
           std::ranges::any_of(families, [error](auto name) { return error.starts_with(name); });
}

/** Any other error is an answer of the daemon. */
ExitStatus status_of(const sd_bus_error& error, int result)
{
    if (is_refusal(result) || sd_bus_error_has_name(&error, SD_BUS_ERROR_ACCESS_DENIED) > 0) {
        return ExitStatus::not_allowed;
    }
    return error.name == nullptr || is_silence(error.name) ? ExitStatus::unreachable
                                                           : ExitStatus::command_failed;
}

void check_append(int result, const std::string& what)
{
    if (result < 0) {
        throw Failure(ExitStatus::wrong_usage, what + " cannot be sent: it is no UTF-8 text");
    }
}

Message make_call(sd_bus* bus, const std::string& command,
                  const std::vector<std::string>& arguments)
{
    sd_bus_message* raw = nullptr;
    if (sd_bus_message_new_method_call(bus, &raw, service_name, object_path, interface_name,
                                       "ExecuteCommand") < 0) {
        throw Failure(ExitStatus::unreachable, "the call cannot be made");
    }
    Message call(raw);
    check_append(sd_bus_message_append(raw, "s", command_string(command).c_str()), command);
    check_append(sd_bus_message_open_container(raw, 'a', "s"), command);
    for (const std::string& argument : arguments) {
        check_append(sd_bus_message_append(raw, "s", argument.c_str()), "an argument");
    }
    check_append(sd_bus_message_close_container(raw), command);
    return call;
}

/** Stands for the process that will serve a call, if it runs already. */
UniqueFd open_process(const std::optional<Owner>& owner)
{
    return UniqueFd(owner ? static_cast<int>(syscall(SYS_pidfd_open, owner->pid, 0)) : -1);
}

/** A daemon leaves the bus before it logs why: its log is complete when the process has ended. */
void wait_for_end(const UniqueFd& process)
{
    pollfd end = {process.get(), POLLIN, 0};
    if (process) {
        poll(&end, 1, patience_ms);
    }
}

} // namespace

void Bus::Closer::operator()(sd_bus* bus) const
{
    sd_bus_flush_close_unref(bus);
}

Bus::Bus()
{
    sd_bus* bus = nullptr;
    const int result = sd_bus_open_system(&bus);
    if (result < 0) {
        throw Failure(is_refusal(result) ? ExitStatus::not_allowed : ExitStatus::unreachable,
                      std::string("no system bus: ") + std::strerror(-result));
    }
    bus_.reset(bus);
}

CallResult Bus::execute(const std::string& command, const std::vector<std::string>& arguments)
{
    const Message call = make_call(bus_.get(), command, arguments);
    const UniqueFd daemon = open_process(owner());
    BusError error;
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_call(bus_.get(), call.get(), no_timeout, &error.error, &raw);
    const Message reply(raw);
    if (result < 0) {
        const ExitStatus status = status_of(error.error, result);
        if (status == ExitStatus::unreachable) {
            wait_for_end(daemon);
        }
        return {status, 0, error.text(result)};
    }
    int32_t number = 0;
    if (sd_bus_message_read(reply.get(), "i", &number) < 0) {
        return {ExitStatus::command_failed, 0, "the reply is not a number"};
    }
    return {ExitStatus::ok, number, ""};
}

std::optional<Owner> Bus::owner()
{
    sd_bus_creds* raw = nullptr;
    const int result = sd_bus_get_name_creds(bus_.get(), service_name,
                                             SD_BUS_CREDS_UNIQUE_NAME | SD_BUS_CREDS_PID, &raw);
    const std::unique_ptr<sd_bus_creds, CredentialsRelease> credentials(raw);
    Owner owner = {"", 0};
    const char* name = nullptr;
    if (result < 0 || sd_bus_creds_get_unique_name(raw, &name) < 0 ||
        sd_bus_creds_get_pid(raw, &owner.pid) < 0) {
        return std::nullopt;
    }
    owner.name = name;
    return owner;
}

int32_t Bus::state()
{
    BusError error;
    int32_t state = 0;
    const int result = sd_bus_get_property_trivial(
        bus_.get(), service_name, object_path, interface_name, "State", &error.error, 'i', &state);
    if (result < 0) {
        throw Failure(status_of(error.error, result), "no State: " + error.text(result));
    }
    return state;
}

} // namespace kex::ctl
