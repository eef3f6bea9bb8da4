// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <systemd/sd-event.h>

#include <sdeventplus/exception.hpp>

#include <memory>

namespace sdeventplus
{

class Event
{
  public:
    static Event get_default()
    {
        sd_event* event = nullptr;
        check(sd_event_default(&event), "sd_event_default");
        return Event(event);
    }

    sd_event* get() const { return event.get(); }
    int loop() const { return check(sd_event_loop(get()), "sd_event_loop"); }
    void exit(int code) const { check(sd_event_exit(get(), code), "sd_event_exit"); }

  private:
    struct Unref {
        void operator()(sd_event* e) const { sd_event_unref(e); }
    };

    explicit Event(sd_event* owned) : event(owned) {}

    static int check(int r, const char* call)
    {
        if (r < 0) {
            throw SdEventError(-r, call);
        }
        return r;
    }

    std::unique_ptr<sd_event, Unref> event;
};

} // namespace sdeventplus
