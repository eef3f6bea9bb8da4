#pragma once

#include <stdexcept>
#include <string>

namespace kex::ctl
{

/** What scripts may rely on; kexctl(1) lists the meanings. */
enum class ExitStatus {
    ok = 0,
    command_failed = 1,
    wrong_usage = 2,
    unreachable = 3,
    not_allowed = 4,
};

/** Ends kexctl with a text on standard error and an exit status. */
class Failure : public std::runtime_error
{
  public:
    Failure(ExitStatus status, const std::string& text) : std::runtime_error(text), status_(status)
    {
    }

    [[nodiscard]] ExitStatus status() const { return status_; }

  private:
    ExitStatus status_;
};

} // namespace kex::ctl
