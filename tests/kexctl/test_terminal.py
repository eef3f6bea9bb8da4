"""Colours and escapes: on a terminal only."""

RED, PLAIN, BLINK = "\033[31m", "\033[0m", "\033[5m"


def test_an_error_is_red_on_a_terminal(kexctl):
    status, shown = kexctl.on_terminal("LINK_CTRL", "UP", "lo")
    *others, error, reply = shown.splitlines()
    assert error.startswith(RED + "[")
    assert error.endswith("ERROR - invalid parm list" + PLAIN)
    assert (status, reply) == (1, "reply 0")
    assert not any("\033" in line for line in others)


def test_a_warning_is_yellow_on_a_terminal(kexctl):
    kexctl.sandbox.put_program("/etc/plinth_script/network/fwctrl.sh", status=1)
    _, shown = kexctl.on_terminal("FIREWALL_CTRL", "ping", "true")
    (warning,) = [line for line in shown.splitlines() if "WARN" in line]
    assert warning.startswith("\033[33m[")


def test_what_kexctl_complains_of_is_red_on_a_terminal(kexctl):
    status, shown = kexctl.on_terminal("nonsense")
    assert status == 2
    assert shown.startswith(RED + "kexctl: unknown command nonsense")


def test_a_pipe_gets_the_bytes_of_the_log(kexctl):
    done = kexctl("LINK_CTRL", "UP", BLINK)
    assert "   args[1]=[" + BLINK + "]" in done.stdout
    assert RED not in done.stdout


def test_what_a_caller_wrote_does_nothing_to_a_terminal(kexctl):
    kexctl.sandbox.call("TERMINATE", BLINK + "\r\u00e9")
    for arguments in (("TERMINATE", BLINK + "\r\u00e9"), ("log",)):
        _, shown = kexctl.on_terminal(*arguments)
        assert "args[0]=[\\x1b[5m\\x0d\\xc3\\xa9]" in shown
        assert BLINK not in shown
