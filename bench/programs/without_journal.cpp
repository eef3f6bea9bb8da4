// A debug-log library that costs nothing.

#include "core/qlog.hpp"
#include "log_line.hpp"

const bool kex::bench::with_journal = false;

extern "C" void qlog_printf(int /*level*/, int /*component*/, const char* /*format*/, ...) {}
