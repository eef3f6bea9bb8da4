#!/usr/bin/env python3
"""Writes the table of commands as C++.

usage: to_cpp.py INTERFACE-YAML
"""

import json
import sys

import table as commands_table

_HEAD = """\
#include "kexctl/command_table.hpp"

#include <array>

namespace kex::ctl
{
namespace
{

using std::string_view;
"""


def text(value):
    """A C++ string literal; the table's texts are ASCII."""
    return json.dumps(value)


def flag(value):
    return "true" if value else "false"


def array(kind, name, rows):
    body = "".join(f"    {row},\n" for row in rows)
    return f"constexpr std::array<{kind}, {len(rows)}> {name}{{{{\n{body}}}}};\n"


def word_array(name, words):
    return array("string_view", name, [text(word) for word in words])


def slot_row(slot):
    words = f"literal_{slot.name}" if slot.literal else slot.word_set or "no_words"
    flags = ", ".join(map(flag, (slot.literal, slot.interface, slot.lenient, slot.optional,
                                 slot.repeated)))
    return f"{{{text(slot.name)}, {text(slot.text)}, {text(slot.word_set)}, {words}, {flags}}}"


def command_arrays(command):
    """The arrays of one command: the slots of each form, then the forms."""
    for index, form in enumerate(command.forms):
        yield array("Slot", f"{command.name}_{index}", [slot_row(slot) for slot in form.slots])
    yield array("Form", f"{command.name}_forms", [
        f"{{{text(form.use)}, {text(form.does)}, {text(' '.join(form.example))}, "
        f"{command.name}_{index}}}" for index, form in enumerate(command.forms)])


def main():
    table = commands_table.load()
    commands_table.check_interface(table, sys.argv[1])
    literals = sorted({slot.name for command in table.commands for form in command.forms
                       for slot in form.slots if slot.literal})
    parts = [_HEAD, word_array("no_words", [])]
    parts += [word_array(name, words) for name, words in table.words.items()]
    parts += [word_array(f"literal_{name}", [name]) for name in literals]
    for command in table.commands:
        parts += command_arrays(command)
    parts.append(array("Command", "table", [
        f"{{{command.value}, {text(command.name)}, {text(command.does)}, {command.name}_forms}}"
        for command in table.commands]))
    parts.append(array("WordSet", "sets", [f"{{{text(name)}, {name}}}" for name in table.words]))
    parts.append("} // namespace\n\n"
                 "std::span<const Command> commands()\n{\n    return table;\n}\n\n"
                 "std::span<const WordSet> word_sets()\n{\n    return sets;\n}\n\n"
                 "} // namespace kex::ctl\n")
    sys.stdout.write("\n".join(parts))


if __name__ == "__main__":
    main()
