#include "commands/link/sysfs.hpp"

#include "commands/log.hpp"
#include "core/text_file.hpp"

#include <unistd.h>

#include <cstring>

namespace kex::commands
{
namespace
{

constexpr uint32_t polls_per_second = 4;
constexpr useconds_t poll_interval_us = 500'000;
constexpr size_t compared_length = 2;

const std::string net_class = "/sys/class/net/";

/** A line feed counts as a character: a state of one letter is not what begins with it. */
bool has_state(const FirstLine& line, const char* expected)
{
    const std::string state = line.line_feed ? line.text + '\n' : line.text;
    return line.read && std::strncmp(state.c_str(), expected, compared_length) == 0;
}

} // namespace

void set_bonding_config(const std::string& bond, const std::string& option,
                        const std::string& value)
{
    const std::string path = net_class + bond + "/bonding/" + option;
    LOG_INFO_AT(934, "setting %s\n", path.c_str());
    if (write_setting(path, value)) {
        LOG_INFO_AT(940, "%s %s val:%s OK\n", bond.c_str(), option.c_str(), value.c_str());
    } else {
        LOG_ERROR_AT(943, "%s %s=%s failed\n", bond.c_str(), option.c_str(), value.c_str());
    }
}

bool wait_for_iface_ready(const std::string& ifname, uint32_t seconds, const char* expected)
{
    const std::string path = net_class + ifname + "/operstate";
    for (uint32_t tries = seconds * polls_per_second; tries > 0; --tries) {
        const FirstLine state = read_first_line(path);
        if (!state.opened) {
            LOG_ERROR_AT(990, "Unable to open %s\n", path.c_str());
        } else if (expected == nullptr) {
            return false;
        } else if (has_state(state, expected)) {
            LOG_INFO_AT(978, "%s is up now\n", ifname.c_str());
            return true;
        }
        LOG_INFO_AT(991, "%s is not ready\n", ifname.c_str());
        usleep(poll_interval_us);
    }
    return false;
}

} // namespace kex::commands
