#pragma once

#include "support/recorded_files.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Every call of a handler that reaches beyond the process, with outcomes from a script. What may
// never be asked of the system ends the run at once.
namespace kex::fuzz
{

/** What one command did. */
struct Observed {
    size_t effects = 0;        /**< whatever changes anything outside the process */
    bool forked = false;       /**< a child was made */
    std::optional<int> status; /**< that a wait returned */
    size_t sleeps = 0;
};

class ScriptedSystem
{
  public:
    /**
     * Puts the script in place of the system while it lives.
     * @param outcomes   a byte for each call; 0, and whatever is beyond the end, lets it succeed
     * @param in_child   whether a fork returns in the child, which ends with Executed
     * @param free_path  the one path that may be written wherever it is; empty for none
     */
    ScriptedSystem(std::string outcomes, bool in_child, std::string free_path);
    ScriptedSystem(const ScriptedSystem&) = delete;
    ScriptedSystem& operator=(const ScriptedSystem&) = delete;
    ~ScriptedSystem();

    /** The outcome of the next call. */
    uint8_t next();

    /** The next bytes of the script, as the content of something. */
    std::string content();

    [[nodiscard]] bool in_child() const { return in_child_; }

    Observed observed;

  private:
    int open_path(const std::string& path, int flags);
    FileScript open_stream(const std::string& path, const std::string& mode);

    std::string outcomes_;
    size_t at_ = 0;
    bool in_child_;
    std::string free_path_;
};

/** The script in place now, or nullptr. */
ScriptedSystem* scripted_system();

/** True when no signal is held back. */
bool signals_are_open();

/** The descriptor that the next open would return. */
int lowest_free_descriptor();

/** Connections and messages of sd-bus that were not released. */
int open_bus_objects();

/** The socket that stands for the kernel's. */
inline constexpr int netlink_descriptor = 1000;

} // namespace kex::fuzz
