"""Log lines that many tests expect."""

from .bus import COMMAND_PREFIX
from .log import line

STARTING = line("man", "main", 98, "kex starting up")
ENTERING = line("man", "main", 115, "entering event loop")
LOOP_ENTERING = line("dbs", "start_event_loop", 237, "event loop is entering")
LOOP_EXITING = line("dbs", "stop_event_loop", 245, "event loop is exiting")
LOOP_ENDED = line("man", "main", 117, "WARN - event loop is ended")
EXITING = line("man", "main", 134, "exiting")
DESTRUCTED = line("dbs", "~KEX", 51, "destructed")
UNKNOWN = line("dbs", "executeCommand", 164, "unknown")

NETLINK_OPENING = line("nlc", "init_socket", None, "initializing netlink command socket")
NETLINK_OPEN = line("nlc", "init_socket", None, "netlink command socket initialized")

MANAGER = [
    line("dbs", "dbus_manager", 192, "service name [com.orvel.bmc.network.kex] is requested"),
    line("dbs", "dbus_manager", 195, "event attached"),
    line("dbs", "KEX", 44, "constructed"),
    line("dbs", "dbus_manager", 201, "interface is created"),
]

START = [STARTING, NETLINK_OPENING, NETLINK_OPEN, *MANAGER, ENTERING, LOOP_ENTERING]

# What an idle daemon writes from SIGTERM to its end.
STOP = [LOOP_EXITING, LOOP_ENDED, EXITING, DESTRUCTED]

COMMANDS = {
    "UNKNOWN": 0, "AUTOCONF": 1, "USBNIC": 2, "SYSTEMD_SERVICE_CTRL": 3,
    "FIREWALL_CTRL": 4, "CONJOIN_IN_AN_INCLUSIVE_FASHION": 5, "LINK_CTRL": 6,
    "SET_HOSTNAME": 7, "SET_DOMAINNAME": 8, "SENDARPING": 9, "VLANPRI_SET": 10,
    "SEND_NTW_PKT": 11, "UPDATE_HOSTS_FILE": 12, "IP4_DAD_START": 13,
    "SET_IP6_STABLE_PRIVACY": 14, "ADD_NETWORK_INTERFACE": 15,
    "RENAME_NETWORK_INTERFACE": 16, "DELETE_NETWORK_INTERFACE": 17,
    "SET_MAC_ADDRESS": 18, "SET_IPV6_SETTINGS": 19, "INTERFACE_ADDR_FLUSH": 20,
    "DHCP_RELEASE": 21, "SMARTNIC_INIT": 22, "INIT_FRONTDED": 23,
    "INIT_FLOP_USB_NIC": 24, "LINK_TUNE": 25, "SET_STATIC_ADDRESS": 26,
    "SET_STATIC_ROUTE": 27, "SET_IP6_HOP_LIMIT": 28, "SET_IP6_NEIGHBOR_CACHE": 29,
    "TERMINATE": 30, "JOURNAL_CTRL": 31,
}


def command(name, *arguments):
    """The lines that the dispatcher writes before the handler runs."""
    lines = [line("dbs", "executeCommand", 71,
                  f"command[{COMMANDS[name]}]=[{COMMAND_PREFIX}{name}]")]
    return lines + [line("dbs", "executeCommand", 76, f"   args[{index}]=[{argument}]")
                    for index, argument in enumerate(arguments)]


def refused(function, number):
    """The line by which a handler refuses its arguments."""
    return line("exe", function, number, "ERROR - invalid parm list")


def reaped(status):
    """The line of one zombie child that the dispatcher reaped."""
    return line("dbs", "executeCommand", 172, f"reaped a zombie child. status={status}")


def executing(*words):
    """The line that a child writes before it runs a program; each word is
    followed by a blank, the last one too."""
    return line("exe", "exec_cmd", 503, "Executing command: " + "".join(f"{w} " for w in words))


EXECV_FAILED = line("exe", "exec_cmd", 505, "ERROR - failed to execv")
