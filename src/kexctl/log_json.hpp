#pragma once

#include "kexctl/json.hpp"
#include "kexctl/log_message.hpp"

namespace kex::ctl
{

/** Adds a message as an object of its parts. */
inline void add_message(Json& json, const LogMessage& message)
{
    json.begin_object();
    json.text("time", message.stamp).text("origin", message.origin).text("line", message.number);
    json.text("level", message.is_error() ? "error" : message.is_warning() ? "warning" : "info");
    json.text("text", message.text).end_object();
}

} // namespace kex::ctl
