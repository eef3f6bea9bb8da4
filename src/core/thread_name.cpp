#include "core/thread_name.hpp"

#include "core/log.hpp"

#include <pthread.h>

namespace kex
{

void set_thread_name(const char* name)
{
    constexpr const char* module_tag = "cul";
    if (pthread_setname_np(pthread_self(), name) != 0) {
        LOG_ERROR("failed to set the thread name [%s]\n", name);
    }
}

} // namespace kex
