"""Reads the table of commands and refuses one that does not hold together."""

import os
import re
from dataclasses import dataclass, field

import yaml

PATH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "commands.yaml")

_LITERAL = re.compile(r"[a-z0-9]+")


class TableError(Exception):
    """The table contradicts itself or the interface description."""


@dataclass(frozen=True)
class Slot:
    """One position of a form. A word to be typed as it stands has itself as its only word."""
    name: str
    text: str = ""
    word_set: str = ""
    words: tuple = ()
    literal: bool = False
    interface: bool = False
    lenient: bool = False
    optional: bool = False
    repeated: bool = False


@dataclass(frozen=True)
class Form:
    use: str
    does: str
    example: tuple
    slots: tuple


@dataclass(frozen=True)
class Command:
    value: int
    name: str
    does: str
    forms: tuple


@dataclass(frozen=True)
class Table:
    words: dict = field(default_factory=dict)
    commands: tuple = ()


def _slot(token, words, arguments):
    optional = token.startswith("[") and token.endswith("]")
    name = token.strip("[]")
    repeated = name.endswith("...")
    name = name.removesuffix("...")
    if _LITERAL.fullmatch(name):
        return Slot(name, words=(name,), literal=True)
    if name not in arguments:
        raise TableError(f"argument {name} is not described")
    argument = arguments[name]
    word_set = argument.get("words", "")
    return Slot(name, argument.get("text", ""), word_set,
                tuple(words[word_set]) if word_set else (),
                interface=argument.get("interface", False),
                lenient=argument.get("lenient", False), optional=optional, repeated=repeated)


def slot_at(form, position):
    """The slot that an argument's position falls into, or None behind the last."""
    if position < len(form.slots):
        return form.slots[position]
    return form.slots[-1] if form.slots and form.slots[-1].repeated else None


def fits(form, arguments):
    """Whether a list of arguments is one of this form."""
    needed = sum(not slot.optional for slot in form.slots)
    slots = [slot_at(form, position) for position in range(len(arguments))]
    return len(arguments) >= needed and None not in slots and all(
        not slot.words or slot.lenient or argument in slot.words
        for slot, argument in zip(slots, arguments))


def _form(entry, words, arguments):
    slots = tuple(_slot(token, words, arguments) for token in entry["use"].split())
    form = Form(entry["use"], entry.get("does", ""), tuple(entry["example"].split()), slots)
    if not fits(form, form.example):
        raise TableError(f"the example of {form.use!r} does not fit it")
    return form


def _command(value, name, entry, words, arguments):
    forms = tuple(_form(form, words, arguments) for form in entry.get("forms", ()))
    if "first" in entry and {form.slots[0].name for form in forms} != set(words[entry["first"]]):
        raise TableError(f"the forms of {name} do not begin with the words of {entry['first']}")
    return Command(value, name, entry["does"], forms)


def _check_all_used(raw, commands):
    slots = [slot for command in commands for form in command.forms for slot in form.slots]
    used = {slot.name for slot in slots} | {slot.word_set for slot in slots} | {
        entry.get("first") for entry in raw["commands"].values()}
    unused = (set(raw["arguments"]) | set(raw["words"])) - used
    if unused:
        raise TableError(f"described but not used: {', '.join(sorted(unused))}")


def load(path=PATH):
    """The table; raises TableError when it contradicts itself."""
    with open(path, encoding="utf-8") as file:
        raw = yaml.safe_load(file)
    words, arguments = raw["words"], raw["arguments"]
    commands = tuple(_command(value, name, entry, words, arguments)
                     for value, (name, entry) in enumerate(raw["commands"].items()))
    _check_all_used(raw, commands)
    return Table(words, commands)


def check_interface(table, interface_path):
    """Raises TableError unless the interface description has the same commands in this order."""
    with open(interface_path, encoding="utf-8") as file:
        (enumeration,) = yaml.safe_load(file)["enumerations"]
    expected = [value["name"] for value in enumeration["values"]]
    if expected != [command.name for command in table.commands]:
        raise TableError("the commands are not those of the interface description")
