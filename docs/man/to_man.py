#!/usr/bin/env python3
"""Writes kex-commands(7) from the table of commands.

usage: to_man.py TABLE-FOLDER
"""

import sys
import textwrap

_HEAD = """\
.Dd November 20, 2026
.Dt KEX-COMMANDS 7
.Os
.Sh NAME
.Nm kex-commands
.Nd the commands of kex and their arguments
.Sh DESCRIPTION
Each command is shown as
.Xr kexctl 1
takes it.
What is in lower case is typed as it stands, what is in upper case is an
argument, [X] may be left out and X... may be given several times.
Words are compared letter for letter.
.Sh COMMANDS
"""

_TAIL = """\
.Sh SEE ALSO
.Xr kexctl 1 ,
.Xr kex 8
"""


def escape(text):
    """A text that roff leaves alone."""
    text = text.replace("\\", "\\e").replace("-", "\\-").replace('"', '\\(dq')
    return "\\&" + text if text.startswith((".", "'")) else text


def describe(slot):
    words = ", ".join(slot.words)
    return ": ".join(part for part in (words, slot.text) if part)


def paragraph(text):
    """A text in lines as short as roff sources have them."""
    return [escape(line) for line in textwrap.wrap(text, 72, break_on_hyphens=False)]


def sentence(text):
    return paragraph(text[0].upper() + text[1:] + ".")


def form_lines(command, form):
    yield ".Pp"
    yield f".Dl kexctl {command.name} {escape(form.use)}"
    if form.does:
        yield ".Pp"
        yield from sentence(form.does)
    arguments = {slot.name: slot for slot in form.slots if not slot.literal}
    if arguments:
        yield ".Bl -tag -width DESTINATION -compact"
        for name, slot in arguments.items():
            yield f".It {escape(name)}"
            yield from paragraph(describe(slot))
        yield ".El"
    yield ".Pp"
    yield "Example:"
    yield f".Dl kexctl {command.name} {escape(' '.join(form.example))}"


def main():
    sys.path.insert(0, sys.argv[1])
    import table as commands_table  # found by the line above
    lines = []
    for command in commands_table.load().commands:
        lines.append(f".Ss {command.name} ({command.value})")
        lines += sentence(command.does)
        for form in command.forms:
            lines += form_lines(command, form)
    sys.stdout.write(_HEAD + "\n".join(lines) + "\n" + _TAIL)


if __name__ == "__main__":
    main()
