#pragma once

#include "kexctl/failure.hpp"

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

namespace kex::ctl
{

/** What came of a call: a reply, or an error's status and text. */
struct CallResult {
    ExitStatus status; /**< ok, or why there is no reply */
    int32_t reply;
    std::string error;
};

/** Who owns the daemon's name. */
struct Owner {
    std::string name;
    pid_t pid;
};

/** A connection to the system bus. */
class Bus
{
  public:
    /** @throws Failure when there is no bus */
    Bus();

    /**
     * Sends a command and waits for its reply, however long the daemon takes, or for its end.
     * @throws Failure for arguments that cannot be sent
     */
    CallResult execute(const std::string& command, const std::vector<std::string>& arguments);

    /** Nothing when nobody owns the name; a daemon that does not run is not started. */
    std::optional<Owner> owner();

    /** The property State. @throws Failure when it cannot be had */
    int32_t state();

  private:
    struct Closer {
        void operator()(sd_bus* bus) const;
    };

    std::unique_ptr<sd_bus, Closer> bus_;
};

} // namespace kex::ctl
