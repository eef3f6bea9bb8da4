#pragma once

#include "kexctl/json.hpp"
#include "kexctl/log_message.hpp"

namespace kex::ctl
{

/** A message as an object of its parts. */
inline Json as_json(const LogMessage& message)
{
    const char* level = message.is_error() ? "error" : message.is_warning() ? "warning" : "info";
    return {{"time", message.stamp},
            {"origin", message.origin},
            {"line", message.number},
            {"level", level},
            {"text", message.text}};
}

} // namespace kex::ctl
