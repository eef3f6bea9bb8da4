"""What the daemon offers on the bus, and what it makes of calls that do not fit."""

import pathlib
import xml.etree.ElementTree as xml

import pytest
from jeepney import DBusAddress, MatchRule, MessageFlag, new_method_call, new_signal

from harness import COMMAND_PREFIX, INTERFACE, NAME, PATH, CallError, expected, line, wait_until

OBJECT = DBusAddress(PATH, NAME, INTERFACE)
PROPERTIES = DBusAddress(PATH, NAME, "org.freedesktop.DBus.Properties")
DESCRIPTION = pathlib.Path(__file__).parents[2] / f"dist/{INTERFACE}.xml"


def introspect(kex, path):
    address = DBusAddress(path, NAME, "org.freedesktop.DBus.Introspectable")
    return xml.fromstring(kex.client.method(address, "Introspect")[0])


def annotations(element):
    return {note.get("name"): note.get("value") for note in element.findall("annotation")}


def assert_still_serving(kex):
    """A refused call wrote nothing, and the next one works."""
    kex.expect_log()
    assert kex.call("TERMINATE") == 0
    kex.expect_log(*expected.command("TERMINATE"))


def test_introspection_shows_one_method_and_one_property(kex):
    interface = introspect(kex, PATH).find(f"interface[@name='{INTERFACE}']")
    (method,) = interface.findall("method")
    assert method.get("name") == "ExecuteCommand"
    assert [(arg.get("direction"), arg.get("type")) for arg in method.findall("arg")] \
        == [("in", "s"), ("in", "as"), ("out", "i")]
    # sd-bus marks methods that only privileged callers may use.
    assert "org.freedesktop.systemd1.Privileged" not in annotations(method)
    (state,) = interface.findall("property")
    assert (state.get("name"), state.get("type"), state.get("access")) == ("State", "i", "read")
    notes = annotations(state)
    assert notes.get("org.freedesktop.DBus.Property.EmitsChangedSignal", "true") == "true"
    assert interface.findall("signal") == []


def members(interface):
    """The parts of an interface that a client is made from; names of arguments are optional."""
    return [(member.tag, member.get("name"), member.get("type"), member.get("access"),
             [(arg.get("direction"), arg.get("type")) for arg in member.findall("arg")])
            for member in interface if member.tag != "annotation"]


def test_installed_description_is_what_introspection_shows(kex):
    (described,) = xml.parse(DESCRIPTION).getroot().findall("interface")
    assert described.get("name") == INTERFACE
    shown = introspect(kex, PATH).find(f"interface[@name='{INTERFACE}']")
    assert members(described) == members(shown)


def test_object_is_found_from_the_root(kex):
    path = ""
    for node in PATH.strip("/").split("/"):
        names = [child.get("name") for child in introspect(kex, path or "/").findall("node")]
        assert any(name == node or name.startswith(node + "/") for name in names), (path, names)
        path += "/" + node


def test_state_reads_zero(kex):
    assert kex.client.property("State") == ("i", 0)
    kex.call("LINK_CTRL", "up", "lo")
    assert kex.client.property("State") == ("i", 0)
    assert kex.client.method(PROPERTIES, "GetAll", "s", (INTERFACE,)) == ({"State": ("i", 0)},)


def test_state_cannot_be_written(kex):
    with pytest.raises(CallError) as error:
        kex.client.method(PROPERTIES, "Set", "ssv", (INTERFACE, "State", ("i", 5)))
    assert error.value.name == "org.freedesktop.DBus.Error.PropertyReadOnly"
    assert kex.client.property("State") == ("i", 0)


def test_start_emits_no_properties_changed(sandbox):
    rule = MatchRule(type="signal", interface="org.freedesktop.DBus.Properties", path=PATH)
    sandbox.client.driver("AddMatch", "s", (rule.serialise(),))
    with sandbox.client.connection.filter(rule, bufsize=10) as signals:
        sandbox.start_daemon()
        assert list(signals) == []


def test_object_manager_at_the_root_lists_the_object(kex):
    manager = DBusAddress("/", NAME, "org.freedesktop.DBus.ObjectManager")
    (objects,) = kex.client.method(manager, "GetManagedObjects")
    assert list(objects) == [PATH]
    assert objects[PATH][INTERFACE] == {"State": ("i", 0)}


@pytest.mark.parametrize("text", [
    COMMAND_PREFIX + "NONSENSE", COMMAND_PREFIX, COMMAND_PREFIX + "link_ctrl",
    COMMAND_PREFIX + "LINK_CTRL ", " " + COMMAND_PREFIX + "LINK_CTRL", "LINK_CTRL", "6", "",
    COMMAND_PREFIX + "LINK_CTRL\n", "x" * 100000,
], ids=lambda text: repr(text[-12:]))
def test_text_outside_the_enumeration_reaches_no_handler(kex, text):
    with pytest.raises(CallError) as error:
        kex.client.method(OBJECT, "ExecuteCommand", "sas", (text, ["up", "lo"]))
    assert error.value.name == "xyz.openbmc_project.sdbusplus.Error.InvalidEnumString"
    assert error.value.message == ("An enumeration mapping was attempted for which no valid "
                                   "enumeration value exists.")
    assert_still_serving(kex)


@pytest.mark.parametrize("signature, body", [
    (None, ()), ("s", (COMMAND_PREFIX + "TERMINATE",)),
    ("ss", (COMMAND_PREFIX + "TERMINATE", "x")), ("as", (["x"],)),
    ("sai", (COMMAND_PREFIX + "TERMINATE", [1])), ("is", (30, "x")),
    ("sass", (COMMAND_PREFIX + "TERMINATE", ["x"], "y")),
    ("(sas)", ((COMMAND_PREFIX + "TERMINATE", ["x"]),)), ("v", (("s", "x"),)),
])
def test_wrong_signature_is_refused(kex, signature, body):
    with pytest.raises(CallError) as error:
        kex.client.method(OBJECT, "ExecuteCommand", signature, body)
    assert error.value.name == "org.freedesktop.DBus.Error.InvalidArgs"
    assert_still_serving(kex)


@pytest.mark.parametrize("path, interface, method, name", [
    (PATH, INTERFACE, "Execute", "UnknownMethod"),
    (PATH, INTERFACE, "executeCommand", "UnknownMethod"),
    (PATH, INTERFACE + "X", "ExecuteCommand", "UnknownMethod"),
    (PATH + "/x", INTERFACE, "ExecuteCommand", "UnknownObject"),
])
def test_unknown_member_is_refused(kex, path, interface, method, name):
    address = DBusAddress(path, NAME, interface)
    with pytest.raises(CallError) as error:
        kex.client.method(address, method, "sas", (COMMAND_PREFIX + "TERMINATE", []))
    assert error.value.name == "org.freedesktop.DBus.Error." + name
    assert_still_serving(kex)


def test_megabyte_argument_arrives_whole(kex):
    text = "".join(chr(97 + number % 26) for number in range(1 << 20))
    assert kex.call("TERMINATE", text) == 0
    kex.expect_log(*expected.command("TERMINATE", text))
    assert kex.call("LINK_CTRL", "up", text) == 0
    kex.expect_log(*expected.command("LINK_CTRL", "up", text),
                   line("exe", "link_control", 686, ""), expected.refused("link_control", 691))
    assert_still_serving(kex)


def test_ten_thousand_arguments_are_taken(kex):
    # More lines than one log file holds: the rotation is another test's subject.
    assert kex.call("TERMINATE", *map(str, range(10000)), timeout=30) == 0
    assert kex.log.content().endswith(b"   args[9999]=[9999]\n")
    kex.mark()
    assert kex.call("LINK_CTRL", *["up"] * 10000, timeout=30) == 0
    assert kex.log.content().endswith(b"exe_link_control():691 - ERROR - invalid parm list\n")
    kex.mark()
    assert_still_serving(kex)


def test_call_without_reply_is_carried_out(kex):
    call = new_method_call(OBJECT, "ExecuteCommand", "sas", (COMMAND_PREFIX + "TERMINATE", ["x"]))
    call.header.flags = MessageFlag.no_reply_expected
    kex.client.connection.send(call)
    kex.client.ping()
    kex.expect_log(*expected.command("TERMINATE", "x"))


def test_stray_signal_is_ignored(kex):
    sender = DBusAddress(PATH, interface=INTERFACE)
    kex.client.connection.send(new_signal(sender, "ExecuteCommand", "sas", (COMMAND_PREFIX, [])))
    assert_still_serving(kex)


# Who may call is left to the bus policy, which allows everybody here.
def test_unprivileged_caller_is_served(kex):
    done = kex.run("setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "busctl",
                   "--system", "call", NAME, PATH, INTERFACE, "ExecuteCommand", "sas",
                   COMMAND_PREFIX + "TERMINATE", "1", "x")
    assert done.stdout == "i 0\n"
    kex.expect_log(*expected.command("TERMINATE", "x"))


def test_second_daemon_takes_the_name_over(kex):
    first = kex.client.owner()
    kex.start_daemon(ready=False)
    wait_until(lambda: kex.client.owner() != first, what="the second kex to own the name")
    # The first does not wait in the queue for the name to come back.
    assert kex.client.driver("ListQueuedOwners", "s", (NAME,)) == ([kex.client.owner()],)
    assert kex.client.call("TERMINATE", destination=first) == 0


def test_other_client_may_take_the_name_over(kex):
    owner = kex.client.owner()
    replace_existing, primary_owner = 2, 1
    assert kex.client.driver("RequestName", "su", (NAME, replace_existing)) == (primary_owner,)
    assert kex.client.owner() == kex.client.name
    kex.client.driver("ReleaseName", "s", (NAME,))
    assert not kex.client.has_owner()
    assert kex.client.call("TERMINATE", destination=owner) == 0
    kex.expect_log(*expected.command("TERMINATE"))
