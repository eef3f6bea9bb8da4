"""A prepared frame is sent as it stands; it is caught at the other end of a veth pair."""

import os
import struct

import pytest

from netns_helpers import (Capture, Trace, add_links, command, descriptors_kept, exe,
                           set_ipv6_conf, start_daemon_without, trace)

SEND = "SEND_NTW_PKT"
FUNCTION = "send_network_pkt"
REFUSED = exe(FUNCTION, "ERROR - invalid parm or incorrect ifacename for LLDP")

# Most of this command's texts end in a second line feed; a Line does not show the last one.
NO_HEADER = exe(FUNCTION, "ERROR - File size is too small to hold ether_header data\n")
HEADER_NOT_READ = exe(FUNCTION, "ERROR - Failed to read ether_header data from file\n")
NOT_SENT = exe(FUNCTION, "ERROR - Failed to send packet \n")
NO_INDEX = exe(FUNCTION, "ERROR - Failed to get interface index \n")
NO_SOCKET = exe(FUNCTION, "ERROR - Fail to open socket \n")

DESTINATION = bytes.fromhex("0180c200000e")
SOURCE = bytes.fromhex("02005e000001")
LLDP = b"\x88\xcc"


def too_small(size):
    return exe(FUNCTION, f"ERROR - File size is too small {size}\n")


def too_large(size):
    return exe(FUNCTION, f"ERROR - File size is too large or small {size}\n")


def path(link):
    return f"/etc/lldpd.d/tirv{link}.packet"


def started(link):
    return trace(FUNCTION, f"sending network packet to {link} from {path(link)}")


def ready(kex, link, size, destination=DESTINATION):
    """The labels of this text do not match its values."""
    index = kex.ip("link", "show", "dev", link)[0]["ifindex"]
    return trace(FUNCTION, f"size {size} destmac  {index:x} index {destination.hex(':')} \n")


def not_opened(link):
    return exe(FUNCTION, f"ERROR - failed to open {path(link)}")


def frame(size, destination=DESTINATION, kind=LLDP):
    """Every byte behind the header depends on its place."""
    return (destination + SOURCE + kind
            + bytes((place * 7 + place // 256) % 256 for place in range(14, size)))[:size]


@pytest.fixture
def wired(kex):
    """eth1 with its other end eth2, and no traffic but the tests'."""
    add_links(kex, ipv6=False)
    return kex


def lay(kex, content, link="eth1"):
    kex.put_file(path(link), content)


def set_mtu(kex, mtu):
    for link in ("eth1", "eth2"):
        kex.run("ip", "link", "set", link, "mtu", str(mtu))


@pytest.mark.parametrize("size", [64, 65, 100, 1500, 1514])
def test_frame_is_sent_whole(wired, size):
    lay(wired, frame(size))
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", size)])
        assert capture.frames(1) == [frame(size)]


# An MTU that lets the frame out.
@pytest.mark.parametrize("size", [1515, 1521, 1522])
def test_largest_frame(wired, size):
    set_mtu(wired, 9000)
    lay(wired, frame(size))
    with Capture(wired, "eth2") as capture:
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", size)])
        assert capture.frames(1) == [frame(size)]


@pytest.mark.parametrize("size", [1523, 2000, 1000000])
def test_longer_file_is_cut(wired, size):
    set_mtu(wired, 9000)
    lay(wired, frame(size))
    with Capture(wired, "eth2") as capture:
        command(wired, SEND, "eth1",
                then=[started("eth1"), too_large(size), ready(wired, "eth1", 1522)])
        assert capture.frames(1) == [frame(1522)]


@pytest.mark.parametrize("size, refusal", [
    (0, NO_HEADER), (1, NO_HEADER), (13, NO_HEADER), (14, too_small(14)), (60, too_small(60)),
    (63, too_small(63))])
def test_shorter_file_ends_the_command(wired, size, refusal):
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        lay(wired, frame(size))
        command(wired, SEND, "eth1", then=[started("eth1"), refusal])
        lay(wired, frame(64))
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 64)])
        assert capture.frames(1) == [frame(64)]


# The MTU of 1500 leaves room for the header, and for four bytes more of a tagged frame.
@pytest.mark.parametrize("size, lines", [(1515, []), (1522, []), (2000, [too_large(2000)])])
def test_frame_that_the_mtu_holds_back(wired, size, lines):
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        lay(wired, frame(size))
        command(wired, SEND, "eth1", then=[started("eth1"), *lines,
                                           ready(wired, "eth1", min(size, 1522)), NOT_SENT])
        lay(wired, frame(64))
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 64)])
        assert capture.frames(1) == [frame(64)]


def test_tagged_frame(wired):
    tagged = frame(1518, kind=b"\x81\x00\x00\x05\x88\xcc")
    lay(wired, tagged)
    with Capture(wired, "eth2") as capture:
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 1518)])
        # The kernel takes the tag out of a received frame.
        assert capture.frames(1) == [tagged[:12] + tagged[16:]]


# The kernel finds out the protocol by the frame's own header, whatever the address lacks.
@pytest.mark.parametrize("destination, kind", [
    (b"\xff" * 6, b"\x08\x06"), (bytes(6), b"\x00\x00"), (SOURCE, b"\x08\x00"),
    (bytes.fromhex("333300000001"), b"\x86\xdd"), (b"\xfe\xdc\xba\x98\x76\x54", b"\x00\x2e")])
def test_destination_and_kind_are_those_of_the_frame(wired, destination, kind):
    content = frame(80, destination, kind)
    lay(wired, content)
    with Capture(wired, "eth2") as capture:
        command(wired, SEND, "eth1",
                then=[started("eth1"), ready(wired, "eth1", 80, destination)])
        assert capture.frames(1) == [content]


def test_many_frames_keep_their_order(wired):
    contents = [struct.pack(">6s6s2sH", DESTINATION, SOURCE, LLDP, number) + bytes(48)
                for number in range(100)]
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        for content in contents:
            lay(wired, content)
            assert wired.call(SEND, "eth1") == 0
        assert capture.frames(100) == contents


def test_each_link_has_its_file(wired):
    wired.run("ip", "link", "add", "a.b-c_0", "type", "veth", "peer", "name", "eth3")
    for link in ("a.b-c_0", "eth3"):
        set_ipv6_conf(wired, link, "disable_ipv6", 1)
        wired.run("ip", "link", "set", link, "up")
    lay(wired, frame(64))
    lay(wired, frame(65), "a.b-c_0")
    with Capture(wired, "eth2") as first, Capture(wired, "eth3") as second:
        command(wired, SEND, "a.b-c_0", then=[started("a.b-c_0"), ready(wired, "a.b-c_0", 65)])
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 64)])
        assert second.frames(1) == [frame(65)]
        assert first.frames(1) == [frame(64)]


@pytest.mark.parametrize("arguments", [
    (), ("",), ("eth1", "eth1"), ("eth1", ""), ("eth/1",), ("../../tmp/x",), ("eth 1",),
    ("eth1\n",), ("eth:1",), ("e" * 129,)])
def test_refused_lists_send_nothing(wired, arguments):
    lay(wired, frame(65))
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        command(wired, SEND, *arguments, then=[REFUSED])
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 65)])
        assert capture.frames(1) == [frame(65)]


@pytest.mark.parametrize("link", ["eth1", "eth9", "e" * 128, ".."])
def test_file_that_is_not_there(wired, link):
    command(wired, SEND, link, then=[started(link), not_opened(link)])


def lay_directory(kex):
    kex.put_file(path("eth1") + "/something", frame(64))


def lay_unreadable(kex):
    # Not even root may read this one.
    kex.put_file("/etc/lldpd.d/other")
    os.symlink("/sys/bus/platform/drivers_probe", kex.path(path("eth1")))


def lay_loop(kex):
    kex.put_file("/etc/lldpd.d/other")
    os.symlink(path("eth1"), kex.path(path("eth1")))


@pytest.mark.parametrize("lay_file", [lay_directory, lay_unreadable, lay_loop])
def test_file_that_does_not_open(wired, lay_file):
    lay_file(wired)
    with descriptors_kept(wired):
        command(wired, SEND, "eth1", then=[started("eth1"), not_opened("eth1")])


# A file that is less long than it says, as one that shrinks while it is read.
@pytest.mark.parametrize("target, last", [
    ("/sys/class/net/eth1/mtu", HEADER_NOT_READ),
    ("/sys/class/net/eth1/address", exe(FUNCTION, f"ERROR - failed to read {path('eth1')}"))])
def test_file_that_holds_less_than_its_size(wired, target, last):
    wired.put_file("/etc/lldpd.d/other")
    os.symlink(target, wired.path(path("eth1")))
    with Capture(wired, "eth2") as capture, descriptors_kept(wired):
        command(wired, SEND, "eth1", then=[started("eth1"), too_large(4096), last])
        wired.remove(path("eth1"))
        lay(wired, frame(64))
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 64)])
        assert capture.frames(1) == [frame(64)]


# What has no size is too small; a pipe that nobody writes to must not hold the daemon up.
@pytest.mark.parametrize("make", [
    lambda name: os.mkfifo(name),
    lambda name: os.symlink("/dev/zero", name)])
def test_file_without_a_size(wired, make):
    wired.put_file("/etc/lldpd.d/other")
    make(wired.path(path("eth1")))
    with descriptors_kept(wired):
        command(wired, SEND, "eth1", then=[started("eth1"), NO_HEADER])


def test_link_that_is_not_there(wired):
    lay(wired, frame(64), "eth9")
    with descriptors_kept(wired):
        command(wired, SEND, "eth9", then=[started("eth9"), NO_INDEX])


def test_link_that_is_down(wired):
    lay(wired, frame(64))
    wired.run("ip", "link", "set", "eth1", "down")
    with descriptors_kept(wired):
        command(wired, SEND, "eth1", then=[started("eth1"), ready(wired, "eth1", 64), NOT_SENT])


def test_socket_that_is_not_given(sandbox):
    start_daemon_without(sandbox, "net_raw")
    add_links(sandbox)
    lay(sandbox, frame(64))
    with descriptors_kept(sandbox):
        command(sandbox, SEND, "eth1", then=[started("eth1"), NO_SOCKET])
        # The socket comes before the link.
        lay(sandbox, frame(64), "eth9")
        command(sandbox, SEND, "eth9", then=[started("eth9"), NO_SOCKET])


def test_trace_stays_out_of_the_log_file(wired):
    lay(wired, frame(64))
    assert wired.call(SEND, "eth1") == 0
    assert b"destmac" not in wired.log.content()
    assert any("destmac" in message for message in wired.journal.messages())
    assert isinstance(started("eth1"), Trace)
