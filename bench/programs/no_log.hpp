#pragma once

// Put before kex's own sources: takes their log lines out, which have a row of their own.

#include "core/log.hpp"

#undef KEX_LOG
#define KEX_LOG(writer, level, function, line, text, ...)                                          \
    (static_cast<void>(sizeof(::kex::checked_format(text __VA_OPT__(, ) __VA_ARGS__))),            \
     static_cast<void>(function), static_cast<void>(line))
