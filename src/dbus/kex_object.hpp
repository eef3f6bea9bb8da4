#pragma once

#include "commands/command_handler.hpp"
#include "dbus/event_loop.hpp"

#include <com/orvel/bmc/network/KEX/server.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace kex::dbus
{

inline constexpr const char* object_path = "/com/orvel/bmc/network/kex";

/** The object that callers see: the method ExecuteCommand and the property State, always 0. */
class KEX : public sdbusplus::server::com::orvel::bmc::network::KEX
{
  public:
    /** @param loop  ended when a command throws; outlives the object */
    KEX(sdbusplus::bus_t& bus, EventLoop& loop);
    KEX(const KEX&) = delete;
    KEX& operator=(const KEX&) = delete;
    ~KEX() override;

    /**
     * Carries out one command before it returns.
     * @param cmd   the command
     * @param args  its arguments
     * @return 0, or the handler's result for SENDARPING
     */
    int32_t executeCommand(CmdID cmd, std::vector<std::string> args) override;

  private:
    /** Reports the end of the binding, which is destroyed after the object's own part. */
    struct BindingFarewell {
        BindingFarewell() = default;
        BindingFarewell(const BindingFarewell&) = delete;
        BindingFarewell& operator=(const BindingFarewell&) = delete;
        ~BindingFarewell();
    };

    BindingFarewell farewell_;
    EventLoop& loop_;
    commands::CommandHandler handler_;
};

} // namespace kex::dbus
