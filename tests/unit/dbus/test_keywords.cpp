#include "dbus/keywords.hpp"

#include "dbus/constants.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace kex
{
namespace
{

using Texts = std::vector<std::string>;

TEST(Keywords, AreTheseInTheirOrder)
{
    using namespace keyword;
    const Texts all{
        link_tuning::mtu,
        route_destination::default_,
        rule_direction::from,
        rule_direction::to,
        bond_mode::broadcast,
        bond_mode::active_backup,
        firewall_feature::ping,
        firewall_feature::dedipv4,
        firewall_feature::mdns,
        duplex_mode::full,
        duplex_mode::half,
        link_speed::hundred,
        link_speed::ten,
        addr_gen_mode::stable_privacy,
        addr_gen_mode::eui64,
        interface_kind::vlan,
        interface_kind::bond,
        interface_kind::macvlan,
        service_action::restart,
        service_action::stop,
        service_action::start,
        service_name::vemlod,
        service_name::wpa_supplicant,
        service_name::udhcpd,
        service_name::dhcpcd,
        service_name::radvd,
        service_name::llmnrd,
        service_name::quorrit,
        service_name::lldpd_tarn,
        service_name::brisked,
        service_name::network,
        service_name::avahi_daemon,
        flush_kind::all,
        flush_kind::static_,
        route_protocol::dhcp,
        route_protocol::kernel,
        route_protocol::static_,
        ip_version::ipv6,
        ip_version::ipv4,
        addr_scope::all,
        addr_scope::link,
        addr_scope::global,
        link_state::up,
        link_state::down,
        arping_option::source,
        arping_option::interface,
        arping_option::interval,
        arping_option::deadline,
        arping_option::count,
        arping_option::answer,
        arping_option::unsolicited,
        arping_option::duplicate,
        arping_option::broadcast,
        arping_option::quiet,
        arping_option::first,
        rule_word::default_,
        rule_word::main,
        rule_word::local,
        rule_word::lookup,
        rule_word::table,
        rule_word::pref,
        rule_word::all,
        rule_word::oif,
        rule_word::iif,
        rule_word::tos,
        rule_word::to,
        rule_word::from,
        rule_word::not_,
        rule_word::restore,
        rule_word::save,
        rule_word::flush,
        rule_word::del,
        rule_word::add,
        smartnic_operation::serdeswrite,
        smartnic_operation::serdesread,
        smartnic_operation::configvlan,
        smartnic_operation::write,
        smartnic_operation::read,
        route_mode::routerule,
        route_mode::routetableflush,
        toggle::init,
        toggle::enable,
        toggle::disable,
        boolean::false_,
        boolean::true_,
        link_local::fixed_address,
    };
    const Texts expected{
        "mtu",
        "default",
        "from",
        "to",
        "broadcast",
        "active-backup",
        "ping",
        "dedipv4",
        "mdns",
        "full",
        "half",
        "100",
        "10",
        "stable-privacy",
        "eui64",
        "vlan",
        "bond",
        "macvlan",
        "restart",
        "stop",
        "start",
        "vemlod",
        "wpa_supplicant",
        "udhcpd",
        "dhcpcd",
        "radvd",
        "llmnrd",
        "quorrit",
        "lldpd-tarn",
        "brisked",
        "network",
        "avahi-daemon",
        "all",
        "static",
        "dhcp",
        "kernel",
        "static",
        "ipv6",
        "ipv4",
        "all",
        "link",
        "global",
        "up",
        "down",
        "s",
        "I",
        "i",
        "w",
        "c",
        "A",
        "U",
        "D",
        "b",
        "q",
        "f",
        "default",
        "main",
        "local",
        "lookup",
        "table",
        "pref",
        "all",
        "oif",
        "iif",
        "tos",
        "to",
        "from",
        "not",
        "restore",
        "save",
        "flush",
        "del",
        "add",
        "serdeswrite",
        "serdesread",
        "configvlan",
        "write",
        "read",
        "routerule",
        "routetableflush",
        "init",
        "enable",
        "disable",
        "false",
        "true",
        "fe80::1234",
    };
    EXPECT_EQ(all, expected);
}

TEST(Constants, UsbGadgetFiles)
{
    using namespace constant;
    EXPECT_EQ(
        (Texts{usb_gadget_dir, usb_gadget_udc_file, usb_ecm_ifname_file, usb_rndis_ifname_file}),
        (Texts{"/sys/kernel/config/usb_gadget/usbpt", "/sys/kernel/config/usb_gadget/usbpt/UDC",
               "/sys/kernel/config/usb_gadget/usbpt/functions/ecm.0/ifname",
               "/sys/kernel/config/usb_gadget/usbpt/functions/rndis.0/ifname"}));
}

TEST(Constants, ServiceNames)
{
    EXPECT_EQ((Texts{constant::networkd_service_name, constant::felmbrowse_service_name}),
              (Texts{"systemd-networkd", "felmbrowse"}));
}

TEST(Constants, PidFile)
{
    EXPECT_EQ(constant::ostrelagent_pid_file, "/run/tirvad/ostrelagent.pid");
}

TEST(Constants, LinkTuningProgram)
{
    EXPECT_STREQ(constant::ethtool_program, "/usr/sbin/ethtool");
}

} // namespace
} // namespace kex
