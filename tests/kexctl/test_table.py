"""Help, list, JSON, dry run and status."""

import json

import pytest


def test_list_names_every_command_in_order(kexctl, table):
    lines = kexctl("list").stdout.splitlines()
    assert [line.split()[0] for line in lines] == [command.name for command in table.commands]
    assert [line.split(maxsplit=1)[1] for line in lines] == [
        command.does for command in table.commands]


def test_list_as_json_has_the_whole_table(kexctl, table):
    listed = json.loads(kexctl("list", "--json").stdout)
    assert [(entry["name"], entry["value"], entry["does"]) for entry in listed] == [
        (command.name, command.value, command.does) for command in table.commands]
    for entry, command in zip(listed, table.commands):
        for got, form in zip(entry["forms"], command.forms, strict=True):
            assert (got["use"], got["does"]) == (form.use, form.does)
            assert got["example"].split() == list(form.example)
            assert [(slot["name"], slot["words"], slot["optional"], slot["interface"])
                    for slot in got["arguments"]] == [
                (slot.name, list(slot.words), slot.optional, slot.interface)
                for slot in form.slots]


def test_help_describes_every_form_and_argument(kexctl, table):
    for command in table.commands:
        shown = kexctl("help", command.name.lower()).stdout
        assert shown.startswith(f"{command.name} ({command.value}) {command.does}.\n")
        for form in command.forms:
            assert f"\n  kexctl {command.name} {form.use}\n" in shown
            assert f"example: kexctl {command.name} {' '.join(form.example)}\n" in shown
            for slot in form.slots:
                assert slot.literal or f"\n      {slot.name} " in shown
                assert slot.text in shown
                assert ", ".join(slot.words) in shown


def test_help_without_a_command_tells_how_kexctl_is_used(kexctl):
    shown = kexctl("help").stdout
    assert shown.startswith("usage: kexctl ")
    assert kexctl("--help").stdout == kexctl("-h").stdout == shown


def test_version(kexctl):
    assert kexctl("--version").stdout.startswith("kexctl ")


@pytest.mark.parametrize("typed, meant", [
    ("LINKCTRL", "LINK_CTRL"), ("set_static_rout", "SET_STATIC_ROUTE"), ("dhcp", "DHCP_RELEASE"),
    ("ADD_INTERFACE", "ADD_NETWORK_INTERFACE")])
def test_a_mistyped_name_suggests_the_nearest(kexctl, typed, meant):
    done = kexctl(typed)
    assert done.stderr == f"kexctl: unknown command {typed}; did you mean {meant}?\n"


def test_dry_run_shows_the_call_and_does_not_make_it(kexctl):
    done = kexctl("--dry-run", "set_static_route", "enable", "ipv4", "", "default", "it's $HOME")
    assert done.stdout == (
        "busctl call com.orvel.bmc.network.kex /com/orvel/bmc/network/kex "
        "com.orvel.bmc.network.KEX ExecuteCommand sas "
        "com.orvel.bmc.network.KEX.CmdID.SET_STATIC_ROUTE 5 enable ipv4 '' default "
        "'it'\\''s $HOME'\n")
    assert (done.returncode, kexctl.sandbox.lines()) == (0, [])


def test_what_dry_run_shows_makes_the_call(kexctl):
    shown = kexctl("--dry-run", "TERMINATE", "a b", "it's").stdout
    done = kexctl.sandbox.run("sh", "-c", shown)
    assert done.stdout == "i 0\n"
    assert kexctl.sandbox.lines()[1:] == ["dbs_executeCommand():76 -    args[0]=[a b]\n",
                                          "dbs_executeCommand():76 -    args[1]=[it's]\n"]


def test_dry_run_as_json(kexctl):
    assert json.loads(kexctl("--dry-run", "--json", "LINK_CTRL", "up", "lo").stdout) == {
        "destination": "com.orvel.bmc.network.kex", "path": "/com/orvel/bmc/network/kex",
        "interface": "com.orvel.bmc.network.KEX", "method": "ExecuteCommand",
        "command": "com.orvel.bmc.network.KEX.CmdID.LINK_CTRL", "arguments": ["up", "lo"]}


def test_a_command_as_json(kexctl):
    done = kexctl("--json", "LINK_CTRL", "UP", b"lo\xc3\xa9\"\\\x01")
    answer = json.loads(done.stdout)
    log = answer.pop("log")
    assert answer == {"command": "LINK_CTRL", "arguments": ["UP", "lo\u00e9\"\\\x01"], "reply": 0,
                      "status": 1}
    assert [line["level"] for line in log] == ["info"] * 4 + ["error"]
    assert log[2]["text"] == "   args[1]=[lo\u00e9\"\\\x01]"


def test_a_failed_call_as_json(make_kexctl):
    done = make_kexctl(daemon=False)("--json", "TERMINATE")
    answer = json.loads(done.stdout)
    assert (answer["status"], answer["log"], "reply" in answer) == (3, [], False)
    assert answer["error"] in done.stderr


def test_arguments_may_begin_with_a_dash(kexctl):
    assert "   args[0]=[--json]\n" in kexctl("TERMINATE", "--json").stdout


def test_status_shows_the_daemon(kexctl):
    sandbox = kexctl.sandbox
    shown = dict(line.split(maxsplit=1) for line in kexctl("status").stdout.splitlines())
    inside = sandbox.run("busctl", "--json=short", "call", "org.freedesktop.DBus", "/",
                         "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s",
                         sandbox.client.owner()).stdout
    assert shown.pop("uptime").startswith("0 d 00:00:")
    assert shown == {
        "name": "com.orvel.bmc.network.kex", "owner": sandbox.client.owner(),
        "pid": str(json.loads(inside)["data"][0]), "State": "0",
        "log": f"/run/tirvad/kex.log, {len(sandbox.log.content())} bytes"}


def test_status_as_json(kexctl):
    status = json.loads(kexctl("status", "--json").stdout)
    assert status["state"] == 0
    assert 0 <= status["uptime"] < 60
    assert status["logs"] == [{"path": "/run/tirvad/kex.log",
                               "bytes": len(kexctl.sandbox.log.content())}]


def test_status_tells_that_the_log_is_in_the_journal(make_kexctl):
    shown = make_kexctl(log_dir=False)("status").stdout
    assert "log     journal: /run/tirvad/kex.log is missing\n" in shown
