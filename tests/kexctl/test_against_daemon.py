"""The table and the running daemon agree: it takes every example and every word."""

import pytest

import harness
import table as commands_table
from kexctl_program import Kexctl

FORMS = [pytest.param(command, form, id=f"{command.name} {form.use}")
         for command in commands_table.load().commands for form in command.forms]
PROGRAMS = ["/usr/sbin/ethtool", "/usr/sbin/dhcpcd", "/usr/bin/arping",
            "/bin/configfs_gadget_usbpt.sh", "/etc/plinth_script/network/systemautoconf.sh",
            "/etc/plinth_script/network/fwctrl.sh"]

# By these the daemon refuses an argument list; other errors come of what the sandbox lacks.
REFUSALS = ("invalid parm", "invalid args", "invalid protocol", "invalid route proto",
            "failed to convert", "invalid table", "invalid prefix")


@pytest.fixture(scope="module")
def kexctl():
    with harness.Sandbox() as sandbox:
        for program in PROGRAMS:
            sandbox.put_program(program)
        sandbox.run("ip", "link", "add", "eth0", "type", "veth", "peer", "name", "eth1")
        sandbox.put_file("/etc/lldpd.d/tirveth0.packet", bytes(64))
        sandbox.start_daemon()
        yield Kexctl(sandbox)


def refused(done):
    return [line for line in done.stdout.splitlines()
            if any("ERROR - " + text in line for text in REFUSALS)]


@pytest.mark.parametrize("command, form", FORMS)
def test_the_daemon_takes_the_example(kexctl, command, form):
    done = kexctl(command.name, *form.example)
    assert done.stdout.endswith("\nreply 0\n")
    assert refused(done) == []


@pytest.mark.parametrize("command, form", FORMS)
def test_the_daemon_takes_every_word_and_no_other(kexctl, command, form):
    for position, slot in enumerate(form.slots[:len(form.example)]):
        if slot.literal or not slot.words:
            continue
        for word in slot.words:
            arguments = list(form.example)
            arguments[position] = word
            done = kexctl(command.name, *arguments)
            # An address of the example fits one family only.
            assert refused(done) == [] or "failed to convert" in refused(done)[0], word
        arguments[position] = slot.words[0].upper() + "x"
        done = kexctl(command.name, *arguments)
        assert refused(done) == [] if slot.lenient else done.returncode == 1


@pytest.mark.parametrize("command, form", FORMS)
def test_the_daemon_refuses_a_list_that_ends_too_soon(kexctl, command, form):
    needed = [slot for slot in form.slots if not slot.optional]
    arguments = form.example[:len(needed) - 1]
    others = [other for other in command.forms if commands_table.fits(other, arguments)]
    done = kexctl(command.name, *arguments)
    assert others or done.returncode == 1, done.stdout


def test_commands_without_forms_do_nothing(kexctl, table):
    for command in table.commands:
        if not command.forms:
            kexctl.sandbox.mark()
            assert kexctl(command.name).returncode == 0
            first, *more = kexctl.sandbox.lines()
            assert f"command[{command.value}]=" in first
            assert more == (["dbs_executeCommand():164 - unknown\n"]
                            if command.does == 'does nothing but log "unknown"' else [])
