// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <exception>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace sdbusplus::sdbuspp
{

inline int check(int r, const char* call)
{
    if (r < 0) {
        throw exception::SdBusError(-r, call);
    }
    return r;
}

inline void read(sd_bus_message* m, std::string& value)
{
    const char* text = nullptr;
    check(sd_bus_message_read_basic(m, 's', &text), "sd_bus_message_read_basic");
    value = text;
}

inline void read(sd_bus_message* m, std::vector<std::string>& values)
{
    check(sd_bus_message_enter_container(m, 'a', "s"), "sd_bus_message_enter_container");
    while (check(sd_bus_message_at_end(m, 0), "sd_bus_message_at_end") == 0) {
        read(m, values.emplace_back());
    }
    check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container");
}

// sd-bus is C: whatever is thrown below a callback stays on this side of it.
template <typename Body>
int guard(bus_t& bus, sd_bus_error* error, Body&& body) noexcept
{
    try {
        body();
    } catch (const internal_exception_t& e) {
        return sd_bus_error_set(error, e.name(), e.description());
    } catch (...) {
        bus.set_current_exception(std::current_exception());
    }
    // "Handled": sd-bus then sends no reply of its own.
    return 1;
}

template <typename... Args, typename Method>
int method_callback(sd_bus_message* call, bus_t& bus, sd_bus_error* error, Method&& method)
{
    return guard(bus, error, [&] {
        std::tuple<Args...> args;
        std::apply([&](Args&... arg) { (read(call, arg), ...); }, args);
        const int32_t result = std::apply(method, std::move(args));
        check(sd_bus_reply_method_return(call, "i", result), "sd_bus_reply_method_return");
    });
}

template <typename Getter>
int property_callback(sd_bus_message* reply, bus_t& bus, sd_bus_error* error, Getter&& getter)
{
    return guard(bus, error, [&] {
        const int32_t value = getter();
        check(sd_bus_message_append_basic(reply, 'i', &value), "sd_bus_message_append_basic");
    });
}

} // namespace sdbusplus::sdbuspp
