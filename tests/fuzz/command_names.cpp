// Names of commands, services and units.

#include "commands/system/systemd_client.hpp"
#include "dbus/command_table.hpp"
#include "sdbusplus/exception.hpp"
#include "support/input.hpp"
#include "support/require.hpp"

#include <optional>

namespace
{

using namespace kex;
using dbus::CmdID;
using dbus::KEXBinding;

constexpr int command_count = 32;

std::optional<CmdID> command_named(const std::string& text)
{
    try {
        return KEXBinding::convertCmdIDFromString(text);
    } catch (const sdbusplus::exception::InvalidEnumString&) {
        return std::nullopt;
    }
}

std::optional<std::string> name_of(int value)
{
    try {
        return KEXBinding::convertCmdIDToString(static_cast<CmdID>(value));
    } catch (const std::invalid_argument& error) {
        REQUIRE(error.what() == std::to_string(value));
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    const auto value = input.number<int>();
    const std::string text = input.rest();

    const auto name = name_of(value);
    REQUIRE(name.has_value() == (value >= 0 && value < command_count));
    REQUIRE(!name || command_named(*name) == static_cast<CmdID>(value));

    const auto command = command_named(text);
    REQUIRE(!command || name_of(static_cast<int>(*command)) == text);
    REQUIRE(!command || text.starts_with("com.orvel.bmc.network.KEX.CmdID."));
    if (command) {
        // What has no handler is refused before anything is done.
        const auto without = {CmdID::UNKNOWN, CmdID::SMARTNIC_INIT, CmdID::INIT_FRONTDED,
                              CmdID::INIT_FLOP_USB_NIC};
        REQUIRE((dbus::find_action(*command) == nullptr) ==
                (std::find(without.begin(), without.end(), *command) != without.end()));
    }

    const bool valid = commands::is_valid_service_name(text);
    REQUIRE(valid == (!text.empty() && text.size() < 256 && text.find('\0') == std::string::npos));
    const std::string unit = commands::to_unit_name(text);
    REQUIRE(unit == (text.find('.') == std::string::npos ? text + ".service" : text));
    return 0;
}
