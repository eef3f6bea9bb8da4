// The least that a service on the system bus can be: an event loop and one method without effect.
// It takes the very calls that kex takes, so that what is left between the two is what kex does.

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

static int answer_nothing(sd_bus_message* call, void* data, sd_bus_error* error)
{
    (void)data;
    (void)error;
    return sd_bus_reply_method_return(call, "i", 0);
}

static const sd_bus_vtable methods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("ExecuteCommand", "sas", "i", answer_nothing, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

int main(void)
{
    sd_event* loop = NULL;
    sd_bus* bus = NULL;
    if (sd_event_default(&loop) < 0 || sd_bus_default_system(&bus) < 0 ||
        sd_bus_add_object_vtable(bus, NULL, "/com/orvel/bmc/network/kex",
                                 "com.orvel.bmc.network.KEX", methods, NULL) < 0 ||
        sd_bus_request_name(bus, "bench.plain", 0) < 0 || sd_bus_attach_event(bus, loop, 0) < 0) {
        return 1;
    }
    const int result = sd_event_loop(loop);
    sd_bus_flush_close_unref(bus);
    sd_event_unref(loop);
    return result < 0;
}
