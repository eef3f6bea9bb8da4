"""The texts that the daemon logs, taken from its source."""

import glob
import os
import re

from kexctl_program import REPOSITORY

_LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
_LITERALS = re.compile(r'(?:"(?:[^"\\]|\\.)*"\s*)+')
_CALL = re.compile(r"\bLOG_(ERROR|WARNING|INFO|OUTCOME)(?:_AT|_AS)?\(")
_DEFINITION = re.compile(r"^#define (?:.*\\\n)*.*", re.MULTILINE)
_VALUE = re.compile(r"%[lz]*[a-z]")
# By these an information line is one that may tell of a failure.
_FAILURE = re.compile(r"rc=%d|\bfail|couldnt|wrong|is not ready")


def _sources():
    for path in sorted(glob.glob(os.path.join(REPOSITORY, "src/**/*.[ch]pp"), recursive=True)):
        if not path.startswith(os.path.join(REPOSITORY, "src/kexctl")):
            with open(path, encoding="utf-8") as file:
                yield _DEFINITION.sub("", file.read())


def _call(source, start):
    """What stands between parentheses, the first of which is just before start."""
    depth, at = 1, start
    while depth:
        literal = _LITERAL.match(source, at)
        if literal:
            at = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(source[at], 0)
        at += 1
    return source[start:at - 1]


def _messages(call):
    """The texts of a call that end in a newline, which names and words do not."""
    texts = ["".join(_LITERAL.findall(group)) for group in _LITERALS.findall(call)]
    return [text for text in texts if text.endswith("\\n")]


def _calls():
    """(level, texts) of each call."""
    for source in _sources():
        for found in _CALL.finditer(source):
            yield found.group(1), _messages(_call(source, found.end()))


def _send_failures():
    """The texts that are logged as a whole, "%s", for a dump that cannot be asked for."""
    return {text for source in _sources() for text in _LITERAL.findall(source)
            if text.startswith("flush_") and text.endswith("sendto failed")}


def _shown(text):
    """A text as pages show it."""
    return _VALUE.sub("\u2026", text.replace("\\n", "")).rstrip()


def failures():
    """Every text of an error or a warning, and the failures among the outcomes."""
    texts = {texts[-1] for level, texts in _calls() if level != "INFO"}
    return ({_shown(text) for text in texts} - {"\u2026"}) | _send_failures()


def telling_informations():
    """Every text of an information line that may tell of a failure."""
    return {_shown(text) for level, texts in _calls() if level == "INFO"
            for text in texts if _FAILURE.search(text)}
