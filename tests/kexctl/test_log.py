"""kexctl log: the whole log, in order, across rotations."""

import json

from test_command_log import LOG, MAX_MESSAGES, fill_log, put_journal


def test_shows_the_file_as_it_is(kexctl):
    done = kexctl("log")
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout == kexctl.sandbox.log.content().decode()
    assert "kex starting up" in done.stdout


def test_shows_rotated_files_first(kexctl):
    sandbox = kexctl.sandbox
    fill_log(sandbox, MAX_MESSAGES)
    sandbox.call("TERMINATE", "one")
    fill_log(sandbox, MAX_MESSAGES)
    sandbox.call("TERMINATE", "two")
    files = [sandbox.read_file(path).decode() for path in (LOG + ".0", LOG + ".1", LOG)]
    assert kexctl("log").stdout == "".join(files)


def test_shows_older_files_first_when_a_restarted_daemon_has_rotated(kexctl):
    sandbox = kexctl.sandbox
    sandbox.put_file(LOG + ".1", "[01-Jan 00:00:00] man_main():134 - exiting\n")
    sandbox.run("touch", "-d", "2001-01-01", LOG + ".1")
    fill_log(sandbox, MAX_MESSAGES)
    sandbox.call("TERMINATE")
    first, second, *_ = kexctl("log").stdout.splitlines()
    assert first.endswith("exiting")
    assert second.endswith("kex starting up")


def test_errors_shows_errors_only(kexctl):
    kexctl.sandbox.call("LINK_CTRL", "UP", "lo")
    kexctl.sandbox.call("LINK_CTRL", "up", "lo")
    (line,) = kexctl("log", "--errors").stdout.splitlines()
    assert line.endswith("exe_link_control():691 - ERROR - invalid parm list")


def test_follow_goes_on_across_rotations(kexctl):
    sandbox = kexctl.sandbox
    running = kexctl.start("log", "-f")
    running.wait_for("kex starting up")
    for rotation in ("one", "two", "three"):
        fill_log(sandbox, MAX_MESSAGES)
        sandbox.call("TERMINATE", rotation)
        running.wait_for(f"args[0]=[{rotation}]")
    shown = running.stdout
    assert shown.count("args[0]=[x]") == 3
    assert shown.count("executeCommand():71") == 6
    assert running.stderr == ""


def test_follow_shows_later_errors_only(kexctl):
    running = kexctl.start("log", "--follow", "--errors")
    kexctl.sandbox.call("LINK_CTRL", "UP", "lo")
    running.wait_for("invalid parm list")
    assert len(running.stdout.splitlines()) == 1


def test_json_gives_the_parts_of_each_line(kexctl):
    kexctl.sandbox.call("LINK_CTRL", "UP", "lo")
    lines = [json.loads(line) for line in kexctl("log", "--json").stdout.splitlines()]
    assert [line["text"] for line in lines[:1]] == ["kex starting up"]
    last = lines[-1]
    assert len(last.pop("time")) == len("20-Nov 21:43:24")
    assert last == {"origin": "exe_link_control", "line": "691", "level": "error",
                    "text": "ERROR - invalid parm list"}


def test_shows_the_journal_when_there_is_no_file(make_kexctl):
    kexctl = make_kexctl(daemon=False, log_dir=False)
    put_journal(kexctl.sandbox, [("0", "man_main():98 - kex starting up"),
                                 ("1", "man_main():98 - somebody else starting up"),
                                 ("0", "man_main():134 - exiting")])
    done = kexctl("log")
    assert [line.split("] ", 1)[1] for line in done.stdout.splitlines()] == [
        "man_main():98 - kex starting up", "man_main():134 - exiting"]
    assert done.returncode == 0
