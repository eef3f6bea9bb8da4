"""What the two sinks of the log must have in common, checked behind a test."""

from harness import parse

_WORDS = {"2": " - ERROR - ", "3": " - WARN - "}
TRACE = "5"
_OWN_COMPONENT = "320"


def traces(sandbox):
    """The messages since the mark that only the debug-log library has."""
    return [record["MESSAGE"] for record in sandbox.journal.records()
            if record["PRIORITY"] == TRACE]


class Sinks:
    """Compares what the library and the log file get from here on."""

    def __init__(self, sandbox):
        self._sandbox = sandbox
        self._records = len(sandbox.journal.records())
        self._lines = len(parse(sandbox.log.content()))

    def assert_agreement(self):
        """The same messages in the same order but for the traces, each at the level
        that its first word tells."""
        # The binding writes to the library by itself when its object goes.
        records = [record for record in self._sandbox.journal.records()[self._records:]
                   if record["QLOG_COMPONENT"] == _OWN_COMPONENT]
        lines = parse(self._sandbox.log.content())[self._lines:]
        in_library = [record["MESSAGE"] for record in records if record["PRIORITY"] != TRACE]
        in_file = [text.rstrip("\n") for text in lines]
        assert in_file == [text.rstrip("\n") for text in in_library], (in_file, in_library)
        assert all(text.endswith("\n") for text in lines)
        for record in records:
            told = [level for level, word in _WORDS.items()
                    if word in record["MESSAGE"].partition("()")[2][:20]]
            assert record["PRIORITY"] in (told or ["4", TRACE, "6"]), record
