"""The commands that run programs: the real tools, and scripts that need what real ones would.

The programs run in the unit's sandbox; what they leave behind is looked for outside of it.
"""

import json
import os
import socket
import subprocess

from machine import (CommandTest, executing, ip, ip_json, line, link, read, run, set_value,
                     systemctl, unit_property, wait_until, write)

AGENT_PID = "/run/tirvad/ostrelagent.pid"
FIREWALL = "/etc/plinth_script/network/fwctrl.sh"
AUTOCONF = "/etc/plinth_script/network/systemautoconf.sh"
GADGET_SCRIPT = "/bin/configfs_gadget_usbpt.sh"
GADGET = "/sys/kernel/config/usb_gadget/usbpt"
UDC = GADGET + "/UDC"


def alive(pid):
    try:
        return read(f"/proc/{pid}/stat").split()[2] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


class Autoconf(CommandTest):
    command = "AUTOCONF"

    CANCELING = line("server_autoconfig", "canceling running autoconfig process")

    def remove_failed(self):
        return line("server_autoconfig", f"failed to remove {AGENT_PID} rc=0")

    def start(self, text="dhcp option=60 'two words'; $(reboot)"):
        self.expect(["enable", text], line("server_autoconfig", "starting server autoconfig"),
                    executing(AUTOCONF, text))
        return int(read(AGENT_PID))

    def test_script_and_its_agent(self):
        text = "dhcp option=60 'two words'; $(reboot)"
        agent = self.start(text)
        self.addCleanup(ip, "address", "delete", "192.0.2.77/32", "dev", "lo")
        self.assertEqual(read("/etc/plinth_script/network/autoconf.command"), text)
        self.assertEqual(os.stat("/etc/plinth_script/network/autoconf.command").st_mode & 0o777,
                         0o600)
        self.assertTrue(os.path.exists("/run/autoconf/agent.log"))
        self.assertIn("192.0.2.77", [entry["local"] for entry in
                                     ip_json("address", "show", "dev", "lo")[0]["addr_info"]])

        def answers():
            try:
                with socket.create_connection(("127.0.0.1", 7700), 10) as connection:
                    return connection.recv(16) == b"agent\n"
            except ConnectionRefusedError:
                return False
        wait_until(answers, "the agent to serve")
        self.expect(["disable"], self.CANCELING, line("server_autoconfig", "read /usr/bin/python3"),
                    line("server_autoconfig", f"killed ostrelagent pid {agent} rc=0"))
        self.assertFalse(os.path.exists(AGENT_PID))
        wait_until(lambda: not alive(agent), what="the agent's end")

    def test_agent_that_was_started_outside(self):
        """As root and in a service of its own, it has more rights than the daemon has."""
        run("systemd-run", "--unit=agent-outside", "--service-type=exec", "--collect",
            "/usr/libexec/ostrelagent")
        agent = unit_property("MainPID", "agent-outside.service")
        write(AGENT_PID, agent + "\n")
        self.expect(["disable"], self.CANCELING, line("server_autoconfig", "read /usr/bin/python3"),
                    line("server_autoconfig", f"killed ostrelagent pid {agent} rc=0"))
        wait_until(lambda: not alive(agent), what="the agent's end")

    def test_process_that_is_no_agent(self):
        """A number that was used again, by a process of another user too."""
        for options in ((), ("--uid=stranger",)):
            with self.subTest(options=options):
                unit = f"no-agent{len(options)}"
                run("systemd-run", f"--unit={unit}", "--service-type=exec", "--collect", *options,
                    "/bin/sleep", "600")
                self.addCleanup(systemctl, "stop", unit)
                pid = unit_property("MainPID", unit)
                write(AGENT_PID, pid + "\n")
                self.expect(["disable"], self.CANCELING,
                            line("server_autoconfig", "read /bin/sleep"),
                            line("server_autoconfig", f"wrong pid {pid} dont kill /bin/sleep"))
                self.assertTrue(alive(pid), "the process was killed")
                self.assertFalse(os.path.exists(AGENT_PID))

    def test_cancel_without_a_pid_file(self):
        self.expect(["disable"], self.CANCELING,
                    line("server_autoconfig", f"couldnt get pid from {AGENT_PID}"),
                    self.remove_failed())

    def test_script_that_fails(self):
        self.expect(["enable", "fail"], line("server_autoconfig", "starting server autoconfig"),
                    executing(AUTOCONF, "fail"),
                    line("server_autoconfig", "ERROR - failed to start server autoconfig rc=1280"))

    def test_refused_lists(self):
        self.expect(["enable"], line("server_autoconfig",
                                     "ERROR - invalid args, missing command string"))
        self.expect(["Enable", "x"], line("server_autoconfig", "ERROR - invalid args[0]=Enable"))
        self.expect([], line("server_autoconfig", "ERROR - invalid parm list"))


class FirewallCtrl(CommandTest):
    command = "FIREWALL_CTRL"

    def tables(self):
        shown = json.loads(run("nft", "-j", "list", "tables"))
        return [entry["table"]["name"] for entry in shown["nftables"] if "table" in entry]

    def test_rules_by_nft(self):
        self.expect(["mdns", "true"], executing(FIREWALL, "mdns", "true"))
        self.assertIn("udp dport 5353 accept", run("nft", "list", "table", "inet", "kex_mdns"))
        state = "/etc/plinth_script/network/fwctrl.state"
        self.assertEqual(read(state), "mdns true")
        self.assertEqual(os.stat(state).st_mode & 0o777, 0o640)
        self.expect(["mdns", "false"], executing(FIREWALL, "mdns", "false"))
        self.assertNotIn("kex_mdns", self.tables())

    def test_rules_by_both_forms_of_iptables(self):
        self.expect(["ping", "false", "eth0"], executing(FIREWALL, "ping", "false"))
        self.assertEqual(read("/run/fwctrl.arguments").strip(), "ping false")
        for tool in ("iptables-nft", "iptables-legacy"):
            self.assertIn("-A INPUT -p icmp -m icmp --icmp-type 8 -j DROP",
                          run(tool, "-S", "INPUT"))
        self.expect(["ping", "true"], executing(FIREWALL, "ping", "true"))
        for tool in ("iptables-nft", "iptables-legacy"):
            self.assertNotIn("icmp", run(tool, "-S", "INPUT"))

    def test_rules_for_an_interface(self):
        self.add_link("fw0")
        self.addCleanup(run, "nft", "delete", "table", "ip", "kex_dedipv4")
        self.expect(["dedipv4", "true", "fw0"], executing(FIREWALL, "dedipv4", "true", "fw0"))
        self.assertIn('iifname "fw0" drop', run("nft", "list", "table", "ip", "kex_dedipv4"))

    def test_script_that_fails(self):
        self.expect(["dedipv4", "true", "nolink"], executing(FIREWALL, "dedipv4", "true", "nolink"),
                    line("firewall_control", "WARN - firewall config failed dedipv4 true rc=1024"))

    def test_refused_lists(self):
        for arguments in (("dedipv4", "true"), ("dedipv4", "true", "eth0;x"), ("ftp", "true"),
                          ("ping", "yes")):
            with self.subTest(arguments=arguments):
                self.expect(arguments, line("firewall_control", "ERROR - invalid parm list"))


class SendArping(CommandTest):
    command = "SENDARPING"

    def setUp(self):
        """A link to a neighbour in a network of its own."""
        self.add_namespace("neighbour")
        self.add_link("aa", "type", "veth", "peer", "name", "ab", "netns", "neighbour")
        ip("address", "add", "192.0.2.1/24", "dev", "aa")
        ip("link", "set", "aa", "up")
        ip("-n", "neighbour", "address", "add", "192.0.2.2/24", "dev", "ab")
        ip("-n", "neighbour", "link", "set", "ab", "up")
        wait_until(lambda: link("aa")["operstate"] == "UP", what="the carrier")

    def arping(self, arguments, words, reply):
        self.expect(arguments, executing("/usr/bin/arping", *words),
                    line("send_arping", f"sent arp request rc={reply}"), reply=reply)

    def test_neighbour_that_answers(self):
        self.arping(["f", "c", "3", "w", "10", "I", "aa", "192.0.2.2"],
                    ["-f", "-c", "3", "-w", "10", "-I", "aa", "192.0.2.2"], 0)

    def test_address_that_nobody_has(self):
        self.arping(["c", "1", "w", "1", "I", "aa", "192.0.2.9"],
                    ["-c", "1", "-w", "1", "-I", "aa", "192.0.2.9"], 256)

    def test_duplicate_address_detection(self):
        """A probe without a source needs no address of its own; a taken address is status 1."""
        self.arping(["D", "c", "1", "w", "5", "I", "aa", "192.0.2.2"],
                    ["-D", "-c", "1", "-w", "5", "-I", "aa", "192.0.2.2"], 256)

    def test_announcement_reaches_the_neighbour(self):
        self.arping(["U", "c", "1", "I", "aa", "s", "192.0.2.1", "192.0.2.1"],
                    ["-U", "-c", "1", "-I", "aa", "-s", "192.0.2.1", "192.0.2.1"], 0)

    def test_refused_lists(self):
        self.expect(["q"] * 12, line("send_arping", "ERROR - invalid parm count"), reply=-1)
        self.expect(["c", " "], line("send_arping", "ERROR - invalid parm list"), reply=-2)


class DhcpRelease(CommandTest):
    command = "DHCP_RELEASE"

    def start(self):
        """dhcpcd gets leases from a server in a network of its own: one instance for each
        version, as its options for a release name them."""
        self.add_namespace("server")
        self.add_link("da", "type", "veth", "peer", "name", "db", "netns", "server")
        ip("-n", "server", "address", "add", "192.0.2.1/24", "dev", "db")
        ip("-n", "server", "address", "add", "2001:db8:d::1/64", "dev", "db", "nodad")
        ip("-n", "server", "link", "set", "db", "up")
        ip("link", "set", "da", "up")
        self.log = open("/run/dnsmasq.log", "w")
        self.addCleanup(self.log.close)
        server = subprocess.Popen(
            ["ip", "netns", "exec", "server", "dnsmasq", "--keep-in-foreground", "--conf-file=",
             "--port=0", "--interface=db", "--bind-interfaces", "--user=root", "--log-dhcp",
             "--log-facility=-", "--leasefile-ro", "--no-ping",
             "--dhcp-range=192.0.2.100,192.0.2.200",
             "--dhcp-range=2001:db8:d::100,2001:db8:d::200,64"],
            stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        for option in ("-4", "-6"):
            run("systemd-run", f"--unit=dhcpcd{option}", "--service-type=exec", "--collect",
                "/usr/sbin/dhcpcd", "-B", option, "-f", "/etc/dhcpcd-vm.conf", "da")
            self.addCleanup(run, "systemctl", "stop", f"dhcpcd{option}", check=False)
        wait_until(lambda: self.leased("inet"), "an IPv4 lease")
        wait_until(lambda: self.leased("inet6"), "an IPv6 lease")

    def leased(self, family):
        return [entry["local"] for entry in ip_json("address", "show", "dev", "da")[0]["addr_info"]
                if entry["family"] == family and entry["scope"] == "global"]

    def server_was_told(self, message):
        """How often, by the server's log."""
        with open(self.log.name) as log:
            return log.read().count(message)

    def release(self, version, option, rc=0):
        self.expect([version, "da"], line("dhcp_release", ""),
                    executing("/usr/sbin/dhcpcd", "-k", option, "da"),
                    line("dhcp_release", f"dhcp release {version} da rc={rc}"))

    def test_release_of_leases(self):
        self.start()
        for version, option, family, message in (("ipv4", "-4", "inet", "DHCPRELEASE(db)"),
                                                 ("ipv6", "-6", "inet6", "DHCPRELEASE(db)")):
            with self.subTest(version=version):
                told = self.server_was_told(message)
                self.release(version, option)
                wait_until(lambda: not self.leased(family), what="the address to go")
                wait_until(lambda: self.server_was_told(message) == told + 1,
                           what="the server to be told")

    def test_no_lease_to_release(self):
        self.add_link("da")
        self.release("ipv4", "-4", rc=256)

    def test_refuses_a_bad_list(self):
        self.expect(["ipv5", "da"], line("dhcp_release", ""),
                    line("dhcp_release", "ERROR - invalid parm list"))


class Usbnic(CommandTest):
    command = "USBNIC"

    DEVICE = "02:00:00:00:05:01"
    HOST = "02:00:00:00:05:02"

    def setUp(self):
        self.addCleanup(self.remove_gadget)
        set_value("/proc/sys/net/ipv4/conf/all/arp_ignore", "0")
        self.addCleanup(set_value, "/proc/sys/net/ipv4/conf/all/arp_ignore", "0")

    def remove_gadget(self):
        if not os.path.isdir(GADGET):
            return
        if read(UDC):
            set_value(UDC, "")
        os.remove(GADGET + "/configs/c.1/ecm.0")
        for folder in ("configs/c.1", "functions/ecm.0", ""):
            os.rmdir(os.path.join(GADGET, folder))

    def initialise(self, state):
        self.expect(["init", self.DEVICE, self.HOST, state],
                    line("usbnic_control", "initializing usb-nic", 779),
                    executing(GADGET_SCRIPT, self.DEVICE, self.HOST, state))

    def test_init_makes_a_real_gadget(self):
        self.initialise("up")
        self.assertEqual(read("/run/usbpt.arguments").strip(), f"{self.DEVICE} {self.HOST} up")
        self.assertEqual(read("/proc/sys/net/ipv4/conf/all/arp_ignore"), "1")
        self.assertEqual(read(UDC), "dummy_udc.0")
        name = read(GADGET + "/functions/ecm.0/ifname")
        self.assertEqual(link(name)["address"], self.DEVICE)
        self.assertIn("UP", link(name)["flags"])

    def test_disable_unbinds_the_gadget(self):
        self.initialise("up")
        self.expect(["disable"],
                    line("set_usbnic_driver_state", "disabling usb-nic", 707),
                    line("set_usbnic_driver_state", "driver command OK", 734))
        self.assertEqual(read(UDC), "")

    def test_enable_is_refused_where_the_controller_is_missing(self):
        self.initialise("down")
        self.expect(["enable"],
                    line("set_usbnic_driver_state", "enabling usb-nic", 707),
                    line("set_usbnic_driver_state", f"ERROR - invalid write to {UDC}", 732))
        self.assertEqual(read(UDC), "")

    def test_enable_where_the_controller_takes_it(self):
        """The file that stands for it comes by a mount that is made while the daemon runs."""
        self.initialise("down")
        write("/run/udc", "former\n")
        run("mount", "--bind", "/run/udc", UDC)
        self.addCleanup(run, "umount", UDC)
        self.expect(["enable", "any", "further", "three"],
                    line("set_usbnic_driver_state", "enabling usb-nic", 707),
                    line("set_usbnic_driver_state", "driver command OK", 734))
        self.assertEqual(read("/run/udc"), "ci_hdrc.5")

    def test_without_a_gadget(self):
        self.expect(["enable"], line("set_usbnic_driver_state", "enabling usb-nic", 707),
                    line("set_usbnic_driver_state", f"ERROR - failed to open {UDC}", 745))

    def test_script_that_fails(self):
        write("/run/usbpt.fails", "")
        self.addCleanup(os.remove, "/run/usbpt.fails")
        self.expect(["init", self.DEVICE, self.HOST, "up"],
                    line("usbnic_control", "initializing usb-nic", 779),
                    executing(GADGET_SCRIPT, self.DEVICE, self.HOST, "up"),
                    line("usbnic_control", "WARN - failed to run usb-nic init script rc=768", 785))
        self.assertEqual(read("/proc/sys/net/ipv4/conf/all/arp_ignore"), "1")

    def test_refused_lists(self):
        self.expect(["init"], line("usbnic_control", "ERROR - invalid parm list", 775))
        self.expect(["enable", "a", "b"], line("usbnic_control", "ERROR - invalid parm list", 767))

