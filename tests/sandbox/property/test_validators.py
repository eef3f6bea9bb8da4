"""The validators and parsers against an oracle of their own, on generated texts."""

import ipaddress
import os
import random
import re
import subprocess

import pytest

from harness import binary_under_test

SEED = int(os.environ.get("KEX_PROPERTY_SEED", "20240229"))
COUNT = 30000
ULONG_MAX = 2**64 - 1
HEX = "0123456789abcdefABCDEF"


# --- the oracle: what a text is, in terms of other libraries and of plain patterns ---

def hex_colon(text, longest):
    return re.fullmatch(rb"[0-9A-Fa-f:]{1,%d}" % longest, text) is not None


def ipv4_text(text):
    return re.fullmatch(rb"[0-9.]{7,16}", text) is not None


def address_bytes(text, kind):
    try:
        words = text.decode("ascii")
        # A zone is no part of an address.
        return None if "%" in words else kind(words).packed
    except ValueError:
        return None


def ipv4(text):
    return address_bytes(text, ipaddress.IPv4Address)


def ipv6(text):
    return address_bytes(text, ipaddress.IPv6Address)


def ip(text):
    return ipv6(text) is not None if b":" in text else ipv4_text(text)


def head_number(text):
    """(number, bytes read) of strtoul; nothing is read without a digit."""
    found = re.match(rb"[ \t\n\v\f\r]*([+-]?)([0-9]+)", text)
    if not found:
        return 0, 0
    value = int(found[2])
    if value > ULONG_MAX:
        value = ULONG_MAX
    elif found[1] == b"-":
        value = -value % 2**64
    return value, found.end()


def whole_number(text):
    value, read = head_number(text)
    return value if read and read == len(text) else None


def below(text, limit):
    value = whole_number(text)
    return value if value is not None and value < limit else None


def netmask(text):
    packed = ipv4(text)
    if packed is None:
        return None
    bits = "".join(f"{byte:08b}" for byte in packed)
    return bits.count("1") if re.fullmatch("1*0*", bits) else None


def prefix(text, bits):
    if b"." in text:
        return netmask(text) if bits == 32 else None
    return below(text, bits + 1)


def route_destination(text):
    if text == b"default":
        return True
    if b":" not in text and b"." not in text:
        return False
    _, slash, behind = text.partition(b"/")
    if not slash:
        return ip(text)
    if text.endswith(b"/"):
        return False
    return 1 <= head_number(behind)[0] <= (128 if b":" in text else 32)


_MAC = re.compile(rb"([0-9a-f]{1,2}):" * 5 + rb"([0-9a-f]{2}|[0-9a-f](?=[ \t\n\v\f\r]|\Z))", re.I)


def mac(text):
    """ether_aton: six numbers of one or two digits; what follows two is not looked at."""
    found = _MAC.match(text)
    return bytes(int(part, 16) for part in found.groups()) if found else None


def split(text, bits):
    address, slash, behind = text.partition(b"/")
    return f"{len(address)}/{head_number(behind)[0] if slash else bits}"


def oracle(text):
    """The line that the program is to write."""
    accepted = [
        re.fullmatch(rb"[A-Za-z0-9_.-]{1,128}", text) is not None,
        hex_colon(text, 6),
        hex_colon(text, 18),
        ipv4_text(text),
        ipv6(text) is not None,
        ip(text),
        text == b"0.0.0.0" or ip(text),
        re.fullmatch(rb"[!-%'-:=?-{}~]{1,257}", text) is not None,
        route_destination(text),
    ]
    parsed = [packed.hex() if packed is not None else "-"
              for packed in (ipv4(text), ipv6(text))]
    numbers = ["-" if value is None else str(value)
               for value in (prefix(text, 32), prefix(text, 128), below(text, 256),
                             whole_number(text), head_number(text)[0])]
    hardware = mac(text)
    words = ["".join("a" if fits else "r" for fits in accepted), *parsed, *numbers,
             hardware.hex() if hardware is not None else "-"]
    if accepted[-1]:
        words += [split(text, 32), split(text, 128)]
    return " ".join(words)


# --- the texts: forms that mean something, and small changes of them ---

def some(rng, alphabet, longest):
    return "".join(rng.choice(alphabet) for _ in range(rng.randint(0, longest)))


def number_text(rng):
    value = rng.choice([rng.randint(0, 300), rng.choice([0, 1, 31, 32, 33, 127, 128, 129, 254, 255,
                                                         256, 2**32, 2**63, ULONG_MAX,
                                                         ULONG_MAX + 1, 10**30])])
    return rng.choice(["", "", "", " ", "\t", "\n ", "+", "-", "- ", "+-", "0", "000", "0x"]) \
        + str(value) + rng.choice(["", "", "", " ", "x", ".", "/", "\n"])


def ipv4_form(rng):
    parts = [rng.choice([str(rng.randint(0, 255)), "0", "255", "256", "00", "01", "999", "1000",
                         ""]) if rng.random() < 0.3 else str(rng.randint(0, 255))
             for _ in range(rng.choice([4, 4, 4, 4, 4, 3, 5, 1]))]
    return ".".join(parts)


def netmask_form(rng):
    value = (0xFFFFFFFF << rng.randint(0, 32)) & 0xFFFFFFFF
    if rng.random() < 0.4:
        value ^= 1 << rng.randint(0, 31)
    return str(ipaddress.IPv4Address(value))


def ipv6_form(rng):
    address = ipaddress.IPv6Address(rng.choice([
        rng.getrandbits(128), rng.getrandbits(16) << rng.choice([0, 16, 48, 112]), 0, 1,
        (0xfd00 << 112) | rng.getrandbits(16), (0xffff << 32) | rng.getrandbits(32)]))
    form = rng.randrange(5)
    if form == 0:
        return address.exploded
    if form == 1:
        return address.compressed.upper()
    if form == 2:
        groups = [f"{rng.getrandbits(16):x}" for _ in range(rng.randint(0, 9))]
        if groups and rng.random() < 0.5:
            groups[rng.randrange(len(groups))] = ""
        return ":".join(groups)
    if form == 3:
        return address.compressed.rpartition(":")[0] + ":" + ipv4_form(rng)
    return address.compressed


def mac_form(rng):
    return rng.choice([":", ":", ":", ":", "-", "", "::"]).join(
        some(rng, HEX, 1) + rng.choice(HEX) for _ in range(rng.choice([6, 6, 6, 6, 5, 7, 1]))) \
        + rng.choice(["", "", "", " ", ":", "0", "x", "\n"])


def destination_form(rng):
    return rng.choice([ipv4_form, ipv6_form, ipv4_form, ipv6_form, word])(rng) \
        + rng.choice(["/", "/", "/", "", "//"]) + number_text(rng)


def word(rng):
    longest = rng.choice([3, 8, 16, 20])
    return some(rng, rng.choice([HEX + ":", "0123456789.", "abcXYZ019_-.", HEX + ":.", "0:",
                                 "".join(map(chr, range(1, 128)))]), longest)


def length_form(rng):
    """Texts around the limits of length."""
    limit = rng.choice([6, 7, 16, 18, 128, 257])
    alphabet = rng.choice(["a", "0", ".", ":", "0.", HEX + ":", "a_-.", "$()\"'`*\\"])
    return "".join(rng.choice(alphabet) for _ in range(limit + rng.randint(-2, 2)))


def fixed(rng):
    return rng.choice(["", "default", "Default", "0.0.0.0", "::", "::1", "all", "/", ".", ":",
                       "fe80::1%eth0", "1.2.3.4/", "x.y/8", "::/0", "10.0.0.0/24/8", "...../1",
                       "::ffff:1.2.3.4", "1:2:3:4:5:6:7::", "::2:3:4:5:6:7:8", "1::3:4:5:6:7:8:9",
                       "10.0.0.0/ 8", "10.0.0.0/+8", "10.0.0.0/-1", "a:b/128x", "12345::"])


def changed(rng, text):
    """The text with a few bytes put in, taken out or replaced; never a zero byte, which no
    argument can hold."""
    data = bytearray(text.encode())
    for _ in range(rng.choice([1, 1, 1, 2, 3])):
        place = rng.randint(0, len(data))
        byte = rng.choice([rng.randint(1, 255), ord(rng.choice("0123456789.:/ -+%;|&<>\n\t~\x7f"))])
        what = rng.randrange(4)
        if what == 0:
            data.insert(place, byte)
        elif what == 1 and place < len(data):
            data[place] = byte
        elif what == 2:
            del data[place:place + 1]
        else:
            data[place:place] = data[max(0, place - 3):place]
    return bytes(data)


GENERATORS = {
    "addresses": [ipv4_form, ipv6_form, ipv6_form, netmask_form],
    "destinations": [destination_form],
    "numbers": [number_text, netmask_form, mac_form],
    "words": [word, length_form, fixed],
}


def generated(kind):
    rng = random.Random(f"{SEED} {kind}")
    texts = []
    for _ in range(COUNT):
        text = rng.choice(GENERATORS[kind])(rng)
        texts.append(changed(rng, text) if rng.random() < 0.4 else text.encode())
    return texts


# --- the comparison ---

def program():
    """It is built beside the daemon."""
    build = os.path.dirname(os.path.dirname(binary_under_test()))
    return os.environ.get("KEX_VERDICTS", os.path.join(build, "tests/property/verdicts"))


def verdicts(texts):
    sent = b"".join(b"%d\n%s" % (len(text), text) for text in texts)
    done = subprocess.run([program()], input=sent, capture_output=True, timeout=120, check=False)
    assert (done.returncode, done.stderr) == (0, b"")
    return done.stdout.decode().splitlines()


@pytest.mark.parametrize("kind", GENERATORS)
def test_validators_and_parsers_agree_with_the_oracle(kind):
    texts = generated(kind)
    got = verdicts(texts)
    assert len(got) == len(texts) == COUNT
    wrong = [(text, want, have) for text, have in zip(texts, got) for want in [oracle(text)]
             if want != have]
    assert not wrong, (f"seed {SEED}: {len(wrong)} of {COUNT} texts, the shortest first: "
                       f"{sorted(wrong, key=lambda entry: len(entry[0]))[:5]}")


# Texts that all are refused, or none of which is, would show nothing.
@pytest.mark.parametrize("kind", GENERATORS)
def test_generated_texts_are_of_both_sorts(kind):
    lines = [oracle(text).split(" ") for text in generated(kind)[:5000]]
    expected = {"addresses": [4, 5, 8], "destinations": [8], "numbers": [2, 7],
                "words": [0, 1, 2, 3, 7]}
    for place in expected[kind]:
        accepted = sum(words[0][place] == "a" for words in lines)
        assert 100 <= accepted <= len(lines) - 100, (kind, place, accepted)


def test_total_is_large_enough():
    assert COUNT * len(GENERATORS) >= 100000
