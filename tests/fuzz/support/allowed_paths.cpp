#include "support/allowed_paths.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

namespace kex::fuzz
{
namespace
{

using Words = std::initializer_list<std::string_view>;

bool is_one_of(std::string_view word, Words words)
{
    return std::ranges::find(words, word) != words.end();
}

/** A name that is one part of a path; "." and ".." are, and name no folder of settings. */
bool is_name(std::string_view name)
{
    constexpr std::string_view characters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    return !name.empty() && name.size() <= 128 &&
           name.find_first_not_of(characters) == std::string_view::npos;
}

/** folder, a name, and one of the ends behind it. */
bool is_below(std::string_view path, std::string_view folder, Words ends)
{
    if (!path.starts_with(folder)) {
        return false;
    }
    path.remove_prefix(folder.size());
    const size_t length = std::min(path.find('/'), path.size());
    return is_name(path.substr(0, length)) && is_one_of(path.substr(length), ends);
}

constexpr std::string_view ipv6_settings = "/proc/sys/net/ipv6/conf/";
constexpr std::string_view links = "/sys/class/net/";
constexpr std::string_view gadget = "/sys/kernel/config/usb_gadget/usbpt/UDC";

bool is_command_line(std::string_view path)
{
    constexpr std::string_view processes = "/proc/";
    if (!path.starts_with(processes) || !path.ends_with("/cmdline")) {
        return false;
    }
    const std::string_view number =
        path.substr(processes.size(), path.rfind('/') - processes.size());
    return !number.empty() && number.size() <= 10 && number != "0" && number != "1" &&
           number.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

bool may_be_written(const std::string& path)
{
    return is_one_of(path, {"/etc/hosts", "/proc/sys/net/ipv4/conf/all/arp_ignore", gadget}) ||
           is_below(path, links,
                    {"/bonding/miimon", "/bonding/downdelay", "/bonding/primary",
                     "/bonding/all_slaves_active"}) ||
           is_below(path, ipv6_settings,
                    {"/disable_ipv6", "/accept_ra", "/accept_dad", "/accept_ra_rt_info_max_plen",
                     "/addr_gen_mode", "/hop_limit"}) ||
           path == std::string(ipv6_settings) + "default/stable_secret";
}

bool may_be_read(const std::string& path)
{
    return is_one_of(path, {"/run/tirvad/ostrelagent.pid", gadget}) || is_command_line(path) ||
           is_below(path, links, {"/operstate"}) ||
           is_below(path, ipv6_settings, {"/disable_ipv6", "/accept_ra", "/addr_gen_mode"});
}

bool is_frame_file(const std::string& path)
{
    return path.ends_with(".packet") &&
           is_below(path.substr(0, path.rfind(".packet")), "/etc/lldpd.d/tirv", {""});
}

bool is_allowed_program(const std::string& path)
{
    return is_one_of(path, {"/usr/sbin/ethtool", "/usr/sbin/dhcpcd", "/usr/bin/arping",
                            "/bin/configfs_gadget_usbpt.sh",
                            "/etc/plinth_script/network/systemautoconf.sh",
                            "/etc/plinth_script/network/fwctrl.sh"});
}

bool is_allowed_unit(const std::string& name)
{
    return is_one_of(name, {"systemd-networkd.service", "avahi-daemon.service", "network.service",
                            "brisked.service", "lldpd-tarn.service", "quorrit.service",
                            "llmnrd.service", "radvd.service", "dhcpcd.service", "udhcpd.service",
                            "felmbrowse.service", "wpa_supplicant.service", "vemlod.service"});
}

} // namespace kex::fuzz
