"""kex as Debian's packages: installed, used, upgraded, removed and purged, as their user would.

What the machine came with makes room for them. These tests come last.
"""

import glob
import os
import pathlib
import re
import shutil
import socket
import subprocess

from machine import (COMMANDS, INTERFACE, LOG, MEMBER, STRANGER, MachineTest, addresses, as_user,
                     daemon_pid, has_link, ip, ip_json, is_up, link, name_owner, read, run,
                     systemctl, unit_property, wait_for_service, wait_until, write)

HERE = os.path.dirname(os.path.abspath(__file__))
FORMER_LOGS = "/var/tmp/former-logs"
FOLDER = os.path.dirname(LOG)
AGENT_PID = FOLDER + "/ostrelagent.pid"
CAPTURE = FOLDER + "/kernel.log"
UDC = "/sys/kernel/config/usb_gadget/usbpt/UDC"
IPV6 = "/proc/sys/net/ipv6/conf"

# Of dpkg, of the tests' programs and of the machine's life.
NOT_OF_PACKAGES = {"/var/lib/dpkg", "/var/log", "/var/cache", "/var/tmp", "/var/lib/systemd",
                   "/etc/plinth_script", "/etc/.pwd.lock", "/etc/hosts", "/etc/resolv.conf"}

before = None


def state():
    """Paths, users and groups on which a package leaves its traces."""
    found = set(read("/etc/passwd").splitlines()) | set(read("/etc/group").splitlines())
    for top in ("/etc", "/usr", "/var", FOLDER):
        for folder, folders, names in os.walk(top):
            folders[:] = [name for name in folders
                          if os.path.join(folder, name) not in NOT_OF_PACKAGES]
            found.add(folder)
            found.update(os.path.join(folder, name) for name in names)
    # Former versions of the files of accounts.
    return {path for path in found if path not in NOT_OF_PACKAGES and not path.endswith("-")}


def remove_former_kex():
    """Takes away what the machine came with."""
    systemctl("disable", "--now", "kex")
    for path in read(HERE + "/installed").splitlines():
        pathlib.Path(path).unlink(missing_ok=True)
        folder = os.path.dirname(path)
        if os.path.isdir(folder) and not os.listdir(folder):
            os.removedirs(folder)
    run("userdel", "kex")
    run("groupdel", "kex-clients")
    shutil.move(FOLDER, FORMER_LOGS)
    systemctl("daemon-reload")


def install():
    """The packages, and a member of their group as the integrator makes one."""
    run("dpkg", "--install", *glob.glob(HERE + "/packages/*.deb"))
    run("usermod", "--append", "--groups", "kex-clients", MEMBER)
    systemctl("reload", "dbus")  # it remembers who is in a group
    wait_for_service()


def setUpModule():
    global before
    os.makedirs("/etc/lldpd.d", exist_ok=True)
    remove_former_kex()
    before = state()
    install()


def tearDownModule():
    """The logs of the tests before these are kept with the results."""
    run("dpkg", "--purge", "kex", "kexctl")
    shutil.copytree(FORMER_LOGS, FOLDER, dirs_exist_ok=True)


def kexctl(*arguments, user=MEMBER):
    return subprocess.run(["kexctl", *arguments], stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, **as_user(user))


class Client(MachineTest):
    """kexctl and its manual, for an unprivileged member of the group."""

    def test_list_and_help(self):
        shown = kexctl("list").stdout
        self.assertEqual([text.split()[0] for text in shown.splitlines()], list(COMMANDS))
        for command in COMMANDS:
            self.assertTrue(kexctl("help", command).stdout.startswith(command + " ("))

    def test_status(self):
        shown = kexctl("status").stdout
        self.assertRegex(shown, rf"(?m)^pid +{daemon_pid()}$")
        self.assertRegex(shown, r"(?m)^State +0$")
        self.assertIn(LOG, shown)

    def test_log_has_the_errors(self):
        done = kexctl("LINK_CTRL", "up", "nolink")
        self.assertEqual(done.returncode, 1, done)
        self.assertIn("ERROR - interface nolink not found", done.stdout)
        self.assertIn("ERROR - interface nolink not found", kexctl("log", "--errors").stdout)

    def test_stranger_is_not_allowed(self):
        for arguments in (("TERMINATE",), ("status",)):
            self.assertEqual(kexctl(*arguments, user=STRANGER).returncode, 4)

    def test_manual(self):
        for page, text in (("man1/kexctl.1", "EXIT STATUS"),
                           ("man7/kex-commands.7", "kexctl LINK_CTRL up eth1"),
                           ("man8/kex.8", "ExecuteCommand")):
            with self.subTest(page=page):
                shown = run("mandoc", "-T", "utf8", f"/usr/share/man/{page}.gz")
                self.assertIn(text, re.sub(".\b", "", shown))


class Life(MachineTest):
    restarts = True

    def test_upgrade_restarts_the_daemon(self):
        former = daemon_pid()
        folder, package = "/var/tmp/next", "/var/tmp/next.deb"
        self.addCleanup(shutil.rmtree, folder)
        self.addCleanup(os.remove, package)
        (built,) = glob.glob(HERE + "/packages/kex_*.deb")
        run("dpkg-deb", "--raw-extract", built, folder)
        run("sed", "-i", "s/^Version: .*/&+next/", folder + "/DEBIAN/control")
        run("dpkg-deb", "-Z", "none", "--build", folder, package)
        run("dpkg", "--install", package)
        wait_for_service(former)
        self.assertTrue(run("dpkg-query", "-W", "-f", "${Version}", "kex").endswith("+next"))
        self.assertEqual(kexctl("TERMINATE").returncode, 0)
        self.assertIn("kex starting up", kexctl("log").stdout)

    def test_stopped_daemon_is_not_reached(self):
        systemctl("stop", "kex")
        self.addCleanup(wait_for_service)
        self.addCleanup(systemctl, "start", "kex")
        self.assertEqual(kexctl("status").returncode, 3)

    def test_removal_and_purge(self):
        self.addCleanup(install)
        self.assertNotEqual(state(), before)
        run("dpkg", "--remove", "kex", "kexctl")
        self.assertEqual((daemon_pid(), name_owner()), (0, 0))
        self.assertEqual(unit_property("LoadState"), "not-found")
        self.assertTrue(os.path.exists(LOG), "the log went before the purge")
        run("dpkg", "--purge", "kex", "kexctl")
        self.assertEqual(state() ^ before, set())


class Use(MachineTest):
    """A command by kexctl, with links of its own; the subclasses are made below."""

    command = None
    calls = ()

    def setUp(self):
        self.add_namespace("other")
        self.add_link("k0", "type", "veth", "peer", "name", "other0", "netns", "other")
        ip("address", "add", "192.0.2.1/24", "dev", "k0")
        ip("link", "set", "k0", "up")
        ip("-n", "other", "address", "add", "192.0.2.2/24", "dev", "other0")
        ip("-n", "other", "link", "set", "other0", "up")
        wait_until(lambda: link("k0")["operstate"] == "UP", what="the carrier")
        self.add_link("k1")
        self.add_link("k2", "type", "bond")
        self.add_link("k0.5", "link", "k0", "type", "vlan", "id", "5")
        for name in ("k0.7", "k9"):
            self.drop_link(name)
        # A service that is loaded has a state to be reset, which is no error then.
        systemctl("start", "quorrit")
        self.addCleanup(systemctl, "stop", "quorrit")
        write("/etc/lldpd.d/tirvk0.packet", bytes(range(100)))
        self.addCleanup(os.remove, "/etc/lldpd.d/tirvk0.packet")
        self.addCleanup(lambda: os.path.exists(CAPTURE) and os.remove(CAPTURE))

    def use(self):
        for arguments, effect in self.calls:
            done = kexctl(self.command, *arguments.split())
            self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)
            first, *others = done.stdout.splitlines()
            self.assertIn(f"]=[{INTERFACE}.CmdID.{self.command}]", first)
            self.assertEqual(others[-1], "reply 0")
            if effect is not None:
                self.assertTrue(effect(), f"no effect of {self.command} {arguments}")


def hop(name):
    return read(f"{IPV6}/{name}/hop_limit")


def agent_is_gone():
    ip("address", "delete", "192.0.2.77/32", "dev", "lo")
    return not os.path.exists(AGENT_PID)


# For each command its calls, with what shows their effect.
CALLS = {
    "UNKNOWN": [("", None)],
    "AUTOCONF": [("enable renew", lambda: os.path.exists(AGENT_PID)), ("disable", agent_is_gone)],
    "USBNIC": [("init 02:00:00:00:05:01 02:00:00:00:05:02 up",
                lambda: read(UDC) == "dummy_udc.0"),
               ("disable", lambda: read(UDC) == "")],
    "SYSTEMD_SERVICE_CTRL": [
        ("restart quorrit true", lambda: unit_property("ActiveState", "quorrit") == "active")],
    "FIREWALL_CTRL": [
        ("mdns true", lambda: "kex_mdns" in run("nft", "list", "tables")),
        ("mdns false", lambda: "kex_mdns" not in run("nft", "list", "tables"))],
    "CONJOIN_IN_AN_INCLUSIVE_FASHION": [("k1 k2", lambda: link("k1")["master"] == "k2"),
                                        ("k1", lambda: "master" not in link("k1"))],
    "LINK_CTRL": [("up k1", lambda: is_up("k1")), ("down k1", lambda: not is_up("k1"))],
    "SET_HOSTNAME": [("bmc-1", lambda: socket.gethostname() == "bmc-1")],
    "SET_DOMAINNAME": [("example.net",
                        lambda: read("/proc/sys/kernel/domainname") == "example.net")],
    "SENDARPING": [("f c 3 w 10 I k0 192.0.2.2", None)],
    "VLANPRI_SET": [("k0.5 3", None)],
    "SEND_NTW_PKT": [("k0", None)],
    "UPDATE_HOSTS_FILE": [("bmc-1", lambda: read("/etc/hosts").endswith("127.0.0.1\tbmc-1"))],
    "IP4_DAD_START": [("", None)],
    "SET_IP6_STABLE_PRIVACY": [("enable 2001:db8::5ec",
                                lambda: read(IPV6 + "/default/addr_gen_mode") == "2")],
    "ADD_NETWORK_INTERFACE": [("vlan k0.7 eui64 disable k0 7", lambda: has_link("k0.7"))],
    "RENAME_NETWORK_INTERFACE": [("k1 k9", lambda: has_link("k9"))],
    "DELETE_NETWORK_INTERFACE": [("k1", lambda: not has_link("k1"))],
    "SET_MAC_ADDRESS": [("k1 02:00:00:00:77:01",
                         lambda: link("k1")["address"] == "02:00:00:00:77:01")],
    "SET_IPV6_SETTINGS": [("k1 disable disable disable",
                           lambda: read(IPV6 + "/k1/disable_ipv6") == "1")],
    "INTERFACE_ADDR_FLUSH": [("k0 ipv4 all all", lambda: addresses("k0", "-4") == [])],
    "DHCP_RELEASE": [("ipv4 k1", None)],
    "SMARTNIC_INIT": [("", None)],
    "INIT_FRONTDED": [("", None)],
    "INIT_FLOP_USB_NIC": [("", None)],
    "LINK_TUNE": [("k1 mtu 1400", lambda: link("k1")["mtu"] == 1400)],
    "SET_STATIC_ADDRESS": [("k1 198.51.100.5 24 198.51.100.255",
                            lambda: addresses("k1", "-4") == ["198.51.100.5/24"])],
    "SET_STATIC_ROUTE": [("enable ipv4 k0 203.0.113.0/24 192.0.2.2",
                          lambda: ip_json("route", "show", "203.0.113.0/24"))],
    "SET_IP6_HOP_LIMIT": [("k1 99", lambda: hop("k1") == "99")],
    "SET_IP6_NEIGHBOR_CACHE": [
        ("enable 2001:db8::9 02:00:00:00:99:01 k0",
         lambda: ip_json("-6", "neighbor", "show", "2001:db8::9", "dev", "k0")),
        ("disable", lambda: not ip_json("-6", "neighbor", "show", "2001:db8::9", "dev", "k0"))],
    "TERMINATE": [("", None)],
    "JOURNAL_CTRL": [("kernel 60 " + CAPTURE, lambda: "] -> [" in read(CAPTURE))],
}


def make_use(command):
    """The class of a command's test."""
    return type("Use" + command, (Use,), {
        "command": command, "calls": CALLS[command], "test_by_kexctl": Use.use})


for _command in COMMANDS:
    globals()["Use" + _command] = make_use(_command)
