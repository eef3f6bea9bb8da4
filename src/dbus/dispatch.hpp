#pragma once

#include "commands/command_handler.hpp"

#include <com/orvel/bmc/network/KEX/common.hpp>

#include <cstdint>

namespace kex::dbus
{

using KEXBinding = sdbusplus::common::com::orvel::bmc::network::KEX;
using CmdID = KEXBinding::CmdID;

/**
 * Logs a command, runs its handler to the end and reaps the children that have ended meanwhile.
 * @return the handler's result for SENDARPING, 0 for every other command whatever came of it
 * @throws what the handler throws, for instance for a number that does not convert
 */
int32_t executeCommand(commands::CommandHandler& handler, CmdID cmd, const commands::Args& args);

} // namespace kex::dbus
