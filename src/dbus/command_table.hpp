#pragma once

#include "commands/command_handler.hpp"
#include "dbus/dispatch.hpp"

#include <cstdint>

namespace kex::dbus
{

/** Runs one command's handler; the result is the method's reply. */
using CommandAction = int32_t (*)(commands::CommandHandler&, const commands::Args&);

/** The action of a command, or nullptr for one that this system does not have. */
CommandAction find_action(CmdID cmd);

} // namespace kex::dbus
