"""The daemon's log file: its lines, and the comparison with what is expected."""

import re
from dataclasses import dataclass
from typing import Optional, Union

PATH = "/run/tirvad/kex.log"

_STAMP = re.compile(
    rb"^\[(?:0[1-9]|[12]\d|3[01])-(?:Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)"
    rb" (?:[01]\d|2[0-3]):[0-5]\d:[0-5]\d\] ", re.MULTILINE)


@dataclass(frozen=True)
class Line:
    """One expected line. Without a number any source line fits; the text may be
    a compiled pattern. The line feed that ends the message is not written."""
    tag: str
    function: str
    number: Optional[int]
    text: Union[str, re.Pattern]

    def fits(self, got):
        number = r"\d+" if self.number is None else str(self.number)
        text = self.text.pattern if isinstance(self.text, re.Pattern) else re.escape(self.text)
        pattern = f"{self.tag}_{re.escape(self.function)}\\(\\):{number} - {text}\n"
        return re.fullmatch(pattern, got, re.DOTALL) is not None

    def __str__(self):
        number = "*" if self.number is None else self.number
        text = f"/{self.text.pattern}/" if isinstance(self.text, re.Pattern) else self.text
        return repr(f"{self.tag}_{self.function}():{number} - {text}\n")


def line(tag, function, number, text):
    """An expected line; see Line."""
    return Line(tag, function, number, text)


def parse(content):
    """The messages of a log file, each without its stamp. A message may hold line
    feeds: it ends where the next stamp begins a line."""
    starts = list(_STAMP.finditer(content))
    if content and (not starts or starts[0].start() != 0):
        raise AssertionError(f"log does not begin with a time stamp: {content[:200]!r}")
    ends = [match.start() for match in starts[1:]] + [len(content)]
    return [content[match.end():end].decode(errors="surrogateescape")
            for match, end in zip(starts, ends)]


def assert_lines(got, expected):
    """Fails with both lists side by side unless they agree line for line."""
    if len(got) == len(expected) and all(map(Line.fits, expected, got)):
        return
    report = [f"log lines differ: expected {len(expected)}, got {len(got)}"]
    for index in range(max(len(got), len(expected))):
        want = expected[index] if index < len(expected) else None
        have = got[index] if index < len(got) else None
        if want is not None and have is not None and want.fits(have):
            report.append(f"   = {have[:400]!r}")
            continue
        if want is not None:
            report.append(f"   - {str(want)[:400]}")
        if have is not None:
            report.append(f"   + {have[:400]!r}")
    report.append("(= agrees, - expected, + got)")
    raise AssertionError("\n".join(report))


class Log:
    """The log file of one sandbox, read from a mark on."""

    def __init__(self, namespaces, path=PATH):
        self._namespaces = namespaces
        self._path = path
        self._mark = 0

    def content(self):
        """All bytes of the file; none when there is no file."""
        try:
            return self._namespaces.read_file(self._path)
        except FileNotFoundError:
            return b""

    def mark(self):
        """Later lines() start here."""
        self._mark = len(self.content())

    def lines(self):
        """The messages since the mark."""
        content = self.content()
        if len(content) < self._mark:
            raise AssertionError("the log file was rotated since the mark")
        return parse(content[self._mark:])

    def expect(self, *expected):
        """Asserts the exact list of lines since the mark and moves the mark."""
        assert_lines(self.lines(), list(expected))
        self.mark()
