#pragma once

#include <string>

/** The daemon's names on the bus. */
namespace kex::ctl
{

inline constexpr const char* service_name = "com.orvel.bmc.network.kex";
inline constexpr const char* object_path = "/com/orvel/bmc/network/kex";
inline constexpr const char* interface_name = "com.orvel.bmc.network.KEX";

/** What stands for a command in a call and in the log. */
inline std::string command_string(const std::string& command)
{
    return std::string(interface_name) + ".CmdID." + command;
}

} // namespace kex::ctl
