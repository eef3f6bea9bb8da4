#include "bus.hpp"

namespace kex::bench
{

Bus connect()
{
    sd_bus* bus = nullptr;
    check(sd_bus_open_system(&bus), "the system bus");
    return Bus(bus);
}

Message make_command(sd_bus* bus, const std::string& service, const std::string& command,
                     const Words& arguments)
{
    sd_bus_message* raw = nullptr;
    check(sd_bus_message_new_method_call(bus, &raw, service.c_str(), "/com/orvel/bmc/network/kex",
                                         "com.orvel.bmc.network.KEX", "ExecuteCommand"),
          command);
    Message message(raw);
    const std::string name = "com.orvel.bmc.network.KEX.CmdID." + command;
    check(sd_bus_message_append_basic(raw, 's', name.c_str()), command);
    check(sd_bus_message_open_container(raw, 'a', "s"), command);
    for (const std::string& argument : arguments) {
        check(sd_bus_message_append_basic(raw, 's', argument.c_str()), command);
    }
    check(sd_bus_message_close_container(raw), command);
    return message;
}

void call(sd_bus* bus, sd_bus_message* request)
{
    constexpr uint64_t two_minutes = 120'000'000;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* raw = nullptr;
    const int result = sd_bus_call(bus, request, two_minutes, &error, &raw);
    const Message reply(raw);
    if (result < 0) {
        const std::string text = error.message != nullptr ? error.message : "no reply";
        sd_bus_error_free(&error);
        throw std::runtime_error(text);
    }
}

} // namespace kex::bench
