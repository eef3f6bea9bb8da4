#pragma once

namespace kex
{

/** Names the calling thread. A name that the kernel refuses is logged and otherwise ignored. */
void set_thread_name(const char* name);

} // namespace kex
