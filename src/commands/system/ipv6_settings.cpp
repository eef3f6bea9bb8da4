#include "commands/system/ipv6_settings.hpp"

#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/number.hpp"
#include "core/text_file.hpp"
#include "dbus/keyword_sets.hpp"
#include "dbus/keywords.hpp"

#include <climits>

namespace kex::commands
{
namespace
{

using namespace keyword;

// Values of addr_gen_mode.
constexpr const char* by_eui64 = "0";
constexpr const char* by_stable_secret = "2";

struct Ipv6Settings {
    bool enabled;
    bool autoconf;
    std::string mode;
};

std::string conf_path(const std::string& ifname, const std::string& setting)
{
    return "/proc/sys/net/ipv6/conf/" + ifname + "/" + setting;
}

void ipv6_procfs_setting(const std::string& ifname, const std::string& setting,
                         const std::string& value)
{
    if (!write_setting(conf_path(ifname, setting), value)) {
        LOG_ERROR("%s %s=%s failed\n", ifname.c_str(), setting.c_str(), value.c_str());
        return;
    }
    LOG_TRACE("%s %s val:%s OK\n", ifname.c_str(), setting.c_str(), value.c_str());
}

FirstLine read_ipv6_setting(const std::string& ifname, const std::string& setting)
{
    constexpr const char* function = "determine_current_ipv6_settings";
    const std::string path = conf_path(ifname, setting);
    FirstLine line = read_first_line(path);
    if (line.opened) {
        LOG_INFO_AS(function, __LINE__, "read %s\n", line.text.c_str());
    } else {
        LOG_ERROR_AS(function, __LINE__, "failed to open %s\n", path.c_str());
    }
    return line;
}

Ipv6Settings determine_current_ipv6_settings(const std::string& ifname)
{
    Ipv6Settings current = {};
    current.enabled = read_ipv6_setting(ifname, "disable_ipv6").text == "0";
    current.autoconf = read_ipv6_setting(ifname, "accept_ra").text == "1";
    const FirstLine mode = read_ipv6_setting(ifname, "addr_gen_mode");
    if (mode.opened) {
        current.mode =
            mode.text == by_stable_secret ? addr_gen_mode::stable_privacy : addr_gen_mode::eui64;
    }
    return current;
}

} // namespace

void configure_ipv6(const std::string& ifname, bool enable, bool autoconf, const std::string& mode)
{
    LOG_INFO("%s enable:%d autoconf:%d\n", ifname.c_str(), int{enable}, int{autoconf});
    if (!enable) {
        ipv6_procfs_setting(ifname, "disable_ipv6", "1");
        return;
    }
    const Ipv6Settings current = determine_current_ipv6_settings(ifname);
    if (current.enabled && (current.autoconf != autoconf || current.mode != mode)) {
        LOG_INFO("IPv6 autoconfig transition on %s\n", ifname.c_str());
        ipv6_procfs_setting(ifname, "disable_ipv6", "1");
    }
    ipv6_procfs_setting(ifname, "accept_ra", autoconf ? "1" : "0");
    ipv6_procfs_setting(ifname, "accept_dad", "2");
    ipv6_procfs_setting(ifname, "accept_ra_rt_info_max_plen", "128");
    if (mode != toggle::disable) {
        ipv6_procfs_setting(ifname, "addr_gen_mode",
                            mode == addr_gen_mode::stable_privacy ? by_stable_secret : by_eui64);
    }
    ipv6_procfs_setting(ifname, "disable_ipv6", "0");
}

void CommandHandler::set_ipv6_settings(const Args& args)
{
    if (args.size() < 4 || is_invalid_ifname(args[0]) || !is_keyword(enable_values, args[1]) ||
        !is_keyword(enable_values, args[2]) || !is_keyword(enable_values, args[3])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    configure_ipv6(args[0], args[1] == toggle::enable, args[2] == toggle::enable,
                   args[3] == toggle::enable ? addr_gen_mode::stable_privacy
                                             : addr_gen_mode::eui64);
}

void CommandHandler::set_stable_privacy(const Args& args)
{
    LOG_INFO("\n"); // marks the entry
    if (args.size() < 2 || !is_keyword(enable_values, args[0])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const bool enable = args[0] == toggle::enable;
    // No outcome is logged, so that the secret stays out of this command's lines.
    if (enable) {
        write_setting(conf_path("default", "stable_secret"), args[1]);
    }
    write_setting(conf_path("default", "addr_gen_mode"), enable ? by_stable_secret : by_eui64);
}

void CommandHandler::set_ip6_hop_limit(const Args& args)
{
    if (args.size() < 2 || is_invalid_ifname(args[0])) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    // The kernel judges the upper bound.
    const unsigned long limit = leading_number(args[1]);
    if (limit == 0 || limit == ULONG_MAX) {
        LOG_ERROR("invalid parm list\n");
        return;
    }
    const std::string path = conf_path(args[0], "hop_limit");
    if (!write_setting(path, args[1])) {
        LOG_ERROR("Unable to open %s\n", path.c_str());
        return;
    }
    LOG_INFO("set %s to %s\n", path.c_str(), args[1].c_str());
}

} // namespace kex::commands
