// The system bus of a scripted system, with systemd's manager on it.

#include "support/allowed_paths.hpp"
#include "support/require.hpp"
#include "support/scripted_system.hpp"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdarg>

struct sd_bus {
};

struct sd_bus_message {
    const char* text;
};

namespace
{

using kex::fuzz::scripted_system;

int open_objects = 0;

constexpr const char* systemd = "org.freedesktop.systemd1";

bool fails(sd_bus_error* error)
{
    if (scripted_system()->next() % 2 == 0) {
        return false;
    }
    if (error != nullptr && scripted_system()->next() % 2 == 0) {
        *error = SD_BUS_ERROR_MAKE_CONST("org.freedesktop.systemd1.Refused", "refused");
    }
    return true;
}

sd_bus_message* make_message(const char* text)
{
    ++open_objects;
    return new sd_bus_message{text};
}

} // namespace

namespace kex::fuzz
{

int open_bus_objects()
{
    return open_objects;
}

} // namespace kex::fuzz

extern "C" int sd_bus_open_system(sd_bus** bus)
{
    if (fails(nullptr)) {
        return -ECONNREFUSED;
    }
    *bus = new sd_bus;
    ++open_objects;
    return 0;
}

extern "C" sd_bus* sd_bus_flush_close_unref(sd_bus* bus)
{
    open_objects -= bus == nullptr ? 0 : 1;
    delete bus;
    return nullptr;
}

extern "C" int sd_bus_call_method(sd_bus* bus, const char* destination, const char* path,
                                  const char* interface, const char* member, sd_bus_error* error,
                                  sd_bus_message** reply, const char* types, ...)
{
    va_list args;
    va_start(args, types);
    const std::string unit = va_arg(args, const char*);
    const std::string type_list = types;
    const std::string mode = type_list == "ss" ? va_arg(args, const char*) : "";
    va_end(args);
    const std::string method = member;
    REQUIRE(bus != nullptr && std::string(destination) == systemd);
    REQUIRE(std::string(path) == "/org/freedesktop/systemd1");
    REQUIRE(std::string(interface) == "org.freedesktop.systemd1.Manager");
    REQUIRE(kex::fuzz::is_allowed_unit(unit));
    const bool job = method == "StartUnit" || method == "StopUnit" || method == "RestartUnit";
    REQUIRE(job ? mode == "replace" : method == "ResetFailedUnit" && type_list == "s");
    ++scripted_system()->observed.effects;
    if (fails(error)) {
        return -EIO;
    }
    if (reply != nullptr) {
        *reply = make_message("/org/freedesktop/systemd1/job/1");
    }
    return 1;
}

extern "C" int sd_bus_get_property(sd_bus* bus, const char* destination, const char* path,
                                   const char* interface, const char* member, sd_bus_error* error,
                                   sd_bus_message** reply, const char* type)
{
    REQUIRE(bus != nullptr && std::string(destination) == systemd);
    REQUIRE(std::string(path) == "/org/freedesktop/systemd1/job/1");
    REQUIRE(std::string(interface) == "org.freedesktop.systemd1.Job");
    REQUIRE(std::string(member) == "State" && std::string(type) == "s");
    if (fails(error)) {
        return -EIO;
    }
    *reply = make_message("running");
    return 1;
}

extern "C" int sd_bus_message_read(sd_bus_message* message, const char* types, ...)
{
    REQUIRE(message != nullptr);
    va_list args;
    va_start(args, types);
    auto* text = va_arg(args, const char**);
    va_end(args);
    switch (scripted_system()->next() % 4) {
    case 1:
        return -EBADMSG;
    case 2:
        return 0; // the message has come to its end
    default:
        *text = message->text;
        return 1;
    }
}

extern "C" sd_bus_message* sd_bus_message_unref(sd_bus_message* message)
{
    open_objects -= message == nullptr ? 0 : 1;
    delete message;
    return nullptr;
}

extern "C" void sd_bus_error_free(sd_bus_error* error)
{
    *error = SD_BUS_ERROR_NULL;
}
