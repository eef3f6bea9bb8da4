#pragma once

/**
 * The debug-log library's one function. Where the library is not installed, the daemon brings
 * its own: the system journal, with level as the priority and the component as a field.
 */
extern "C" [[gnu::format(printf, 3, 4)]] void qlog_printf(int level, int component,
                                                          const char* format, ...);
