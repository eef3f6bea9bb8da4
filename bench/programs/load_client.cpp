// Keeps a number of commands in flight over a number of connections, and counts the replies.
// usage: load_client MILLISECONDS IN_FLIGHT CONNECTIONS COMMAND ARGUMENT...
// Prints the number of commands per second.

#include "bus.hpp"
#include "clock.hpp"

#include <systemd/sd-event.h>

#include <cstdio>
#include <exception>

namespace
{

using namespace kex::bench;

class Load
{
  public:
    explicit Load(const Words& words)
        : command_(words.at(3)), arguments_(words.begin() + 4, words.end())
    {
        const auto in_flight = std::stoul(words.at(1));
        check(sd_event_default(&loop_), "event loop");
        for (auto left = std::stoul(words.at(2)); left > 0; --left) {
            connections_.push_back(connect());
            check(sd_bus_attach_event(connections_.back().get(), loop_, 0), "event loop");
        }
        // As many for each connection as for the next: only their number tells runs apart.
        for (unsigned long i = 0; i < in_flight; ++i) {
            send(connections_[i % connections_.size()].get());
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load()
    {
        connections_.clear();
        sd_event_unref(loop_);
    }

    double commands_per_second(double milliseconds)
    {
        constexpr uint64_t one_second = 1'000'000;
        const auto warm_up = Clock::now();
        while (nanoseconds_since(warm_up) < milliseconds * 1e5) {
            check(sd_event_run(loop_, one_second), "event loop");
        }
        replies_ = 0;
        const auto start = Clock::now();
        while (nanoseconds_since(start) < milliseconds * 1e6) {
            check(sd_event_run(loop_, one_second), "event loop");
        }
        check(failed_ ? -1 : 0, "reply");
        return static_cast<double>(replies_) / nanoseconds_since(start) * 1e9;
    }

  private:
    void send(sd_bus* bus)
    {
        check(sd_bus_call_async(bus, nullptr,
                                make_command(bus, kex_name, command_, arguments_).get(), take_reply,
                                this, 0),
              command_);
    }
    static int take_reply(sd_bus_message* reply, void* data, sd_bus_error* /*error*/)
    {
        auto* self = static_cast<Load*>(data);
        if (sd_bus_message_is_method_error(reply, nullptr) != 0) {
            // No exception: it would have to pass through the C frames of the bus.
            sd_event_exit(self->loop_, 1);
            self->failed_ = true;
            return 0;
        }
        ++self->replies_;
        self->send(sd_bus_message_get_bus(reply));
        return 0;
    }

    std::string command_;
    Words arguments_;
    sd_event* loop_ = nullptr;
    std::vector<Bus> connections_;
    uint64_t replies_ = 0;
    bool failed_ = false;
};

} // namespace

int main(int argc, char** argv)
try {
    const Words words(argv + 1, argv + argc);
    Load load(words);
    std::printf("%.0f\n", load.commands_per_second(std::stod(words.at(0))));
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "load_client: %s\n", error.what());
    return 1;
}
