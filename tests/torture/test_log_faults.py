"""The log's folder and file are taken away, closed, filled and replaced while the daemon runs."""

import contextlib
import os

import pytest

from harness import expected, line
from scale import measured

FOLDER = "/run/tirvad"
LOG = FOLDER + "/kex.log"
AWAY = "/run/sandbox/away"
ELSEWHERE = "/run/sandbox/elsewhere"


@contextlib.contextmanager
def folder_missing(kex):
    os.rename(kex.path(FOLDER), kex.path(AWAY))
    yield
    os.rename(kex.path(AWAY), kex.path(FOLDER))


@contextlib.contextmanager
def folder_is_a_file(kex):
    with folder_missing(kex):
        kex.put_file(FOLDER, "in the way")
        yield
        kex.remove(FOLDER)


@contextlib.contextmanager
def folder_read_only(kex):
    kex.run("mount", "--bind", FOLDER, FOLDER)
    kex.run("mount", "-o", "remount,bind,ro", FOLDER)
    yield
    kex.run("umount", FOLDER)


@contextlib.contextmanager
def file_replaced(kex, make):
    os.rename(kex.path(LOG), kex.path(AWAY))
    make(kex.path(LOG))
    yield
    if os.path.isdir(kex.path(LOG)) and not os.path.islink(kex.path(LOG)):
        os.rmdir(kex.path(LOG))
    else:
        os.unlink(kex.path(LOG))
    os.rename(kex.path(AWAY), kex.path(LOG))


def file_is_a_folder(kex):
    return file_replaced(kex, os.mkdir)


def file_is_a_fifo(kex):
    return file_replaced(kex, os.mkfifo)


@contextlib.contextmanager
def file_is_a_fifo_that_is_full(kex):
    with file_replaced(kex, os.mkfifo):
        reader = os.open(kex.path(LOG), os.O_RDWR | os.O_NONBLOCK)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(reader, b"x" * 4096)
        yield
        os.close(reader)


def file_is_a_loop(kex):
    return file_replaced(kex, lambda path: os.symlink("kex.log", path))


def file_points_nowhere(kex):
    return file_replaced(kex, lambda path: os.symlink("/nosuch/folder/file", path))


FAULTS = [folder_missing, folder_is_a_file, folder_read_only, file_is_a_folder, file_is_a_fifo,
          file_is_a_fifo_that_is_full, file_is_a_loop, file_points_nowhere]


@pytest.mark.parametrize("fault", FAULTS, ids=lambda fault: fault.__name__)
def test_commands_work_while_the_file_cannot_be_written(kex, fault):
    before = kex.log.content()
    descriptors = kex.daemon.fd_count()
    with fault(kex):
        for state in ("down", "up"):
            assert kex.call("LINK_CTRL", state, "lo") == 0
            assert ("UP" in kex.link("lo")["flags"]) == (state == "up")
        # The other sink has what the file lacks.
        assert kex.journal.messages()[-1] == "exe_link_control():697 - set lo up rc=0"
    # What was there is whole, and the next message follows it.
    assert kex.log.content() == before
    assert kex.call("TERMINATE", "after") == 0
    kex.expect_log(*expected.command("TERMINATE", "after"))
    assert kex.daemon.fd_count() == descriptors
    measured("faults of the log survived", 1)


# Only root can make one there: the folder is root's. The file behind it is appended to.
def test_link_in_place_of_the_file_is_followed(kex):
    kex.put_file(ELSEWHERE, "what was there\n")
    with file_replaced(kex, lambda path: os.symlink(ELSEWHERE, path)):
        assert kex.call("TERMINATE", "x") == 0
        content = kex.read_file(ELSEWHERE)
        assert content.startswith(b"what was there\n[") and content.count(b"\n") == 3
        # A rotation moves the link and leaves the file behind it alone.
        assert kex.call("TERMINATE", *["x"] * 1600, timeout=60) == 0
        assert os.path.islink(kex.path(LOG + ".0"))
        assert os.path.isfile(kex.path(LOG)) and not os.path.islink(kex.path(LOG))
        os.unlink(kex.path(LOG + ".0"))
    assert kex.call("TERMINATE") == 0


def test_rotation_on_a_full_disk_loses_no_older_line(sandbox):
    sandbox.run("mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", FOLDER)
    sandbox.start_daemon()
    filler = sandbox.path(FOLDER + "/filler")
    with contextlib.suppress(OSError), open(filler, "wb", buffering=0) as file:
        while True:
            file.write(b"x" * 4096)
    assert sandbox.call("TERMINATE", *["x" * 50] * 4000, timeout=60) == 0
    kept = sandbox.read_file(LOG + ".0")
    assert kept.count(b"kex starting up") == 1
    os.unlink(filler)
    sandbox.mark()
    assert sandbox.call("LINK_CTRL", "up") == 0
    sandbox.expect_log(*expected.command("LINK_CTRL", "up"), line("exe", "link_control", 686, ""),
                       expected.refused("link_control", 691))
    assert sandbox.read_file(LOG + ".0") == kept
    assert len(os.listdir(sandbox.path(FOLDER))) <= 3


def test_folder_that_comes_and_goes_while_files_rotate(kex):
    for _ in range(6):
        with folder_missing(kex):
            assert kex.call("TERMINATE", *["x"] * 1000, timeout=60) == 0
        assert kex.call("TERMINATE", *["x"] * 1000, timeout=60) == 0
    assert set(os.listdir(kex.path(FOLDER))) <= {"kex.log", "kex.log.0", "kex.log.1"}
    assert all(kex.read_file(f"{FOLDER}/{name}").count(b"\n") <= 1501
               for name in os.listdir(kex.path(FOLDER)))
