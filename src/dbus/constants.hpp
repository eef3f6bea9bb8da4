#pragma once

#include <string>

/** Fixed names, paths and programs that the command handlers share. */
namespace kex::constant
{

inline const std::string networkd_service_name = "systemd-networkd";
inline const std::string felmbrowse_service_name = "felmbrowse";

inline const std::string usb_gadget_dir = "/sys/kernel/config/usb_gadget/usbpt";
inline const std::string usb_gadget_udc_file = usb_gadget_dir + "/UDC";
inline const std::string usb_ecm_ifname_file = usb_gadget_dir + "/functions/ecm.0/ifname";
inline const std::string usb_rndis_ifname_file = usb_gadget_dir + "/functions/rndis.0/ifname";

inline const std::string ostrelagent_pid_file = "/run/tirvad/ostrelagent.pid";

// Programs, run without a shell.
inline constexpr const char* ethtool_program = "/usr/sbin/ethtool";
inline constexpr const char* dhcpcd_program = "/usr/sbin/dhcpcd";
inline constexpr const char* arping_program = "/usr/bin/arping";
inline constexpr const char* usbnic_script_path = "/bin/configfs_gadget_usbpt.sh";
inline constexpr const char* autoconf_script_path = "/etc/plinth_script/network/systemautoconf.sh";
inline constexpr const char* firewall_script_path = "/etc/plinth_script/network/fwctrl.sh";

} // namespace kex::constant
