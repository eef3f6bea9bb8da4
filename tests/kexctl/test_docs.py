"""The pages and manuals agree with the source and the table."""

import os
import re
import subprocess
import sys

import pytest

import log_texts
import table as commands_table
from kexctl_program import REPOSITORY

MANUALS = os.path.join(REPOSITORY, "docs/man")
TABLE = os.path.join(REPOSITORY, "src/kexctl/table")
FREE_VALUES = {"default", "0.0.0.0", ":"}


def page(name):
    with open(os.path.join(REPOSITORY, "docs", name), encoding="utf-8") as file:
        return file.read()


def test_troubleshooting_has_each_text_of_the_source_once():
    rows = re.findall(r"^\| `([^`]+)` \|", page("troubleshooting.md"), re.MULTILINE)
    texts = log_texts.failures() | log_texts.telling_informations()
    assert len(texts) > 100
    assert sorted(rows) == sorted(set(rows)), "a text stands there twice"
    assert set(rows) - texts == set(), "not in the source"
    assert texts - set(rows) == set(), "not on the page"


def test_an_information_is_not_among_the_errors():
    before, after = page("troubleshooting.md").split("## Lines without ERROR")
    rows = [set(re.findall(r"^\| `([^`]+)` \|", part, re.MULTILINE)) for part in (before, after)]
    assert rows[0] == log_texts.failures()
    assert rows[1] == log_texts.telling_informations() - log_texts.failures()


def test_commands_page_lists_the_commands_of_the_table(table):
    rows = re.findall(r"^\| (\d+) \| \[(\w+)\]\(#(\w+)\) \|", page("commands.md"), re.MULTILINE)
    assert rows == [(str(command.value), command.name, command.name.lower())
                    for command in table.commands]


def sections():
    """The text of each command's section."""
    parts = re.split(r"^### (\w+)$", page("commands.md"), flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def words_at(command, position):
    """Every word that an argument may be in one form or another."""
    slots = [commands_table.slot_at(form, position) for form in command.forms]
    return {word for slot in slots if slot for word in slot.words}


def test_commands_page_has_the_words_of_the_table(table):
    shown = sections()
    assert set(shown) == {command.name for command in table.commands}
    for command in table.commands:
        for position, cell in re.findall(r"^\| (\d+) \|[^|]*\|(.*)\|$", shown[command.name],
                                         re.MULTILINE):
            # "with `vlan`" names a form; what is left is a word of it or the value of a free text.
            page_words = set(re.findall(r"`([^`]+)`", re.sub(r"with `\w+`", "", cell)))
            assert page_words - FREE_VALUES == words_at(command, int(position)), (
                command.name, position)


def test_commands_page_has_examples_of_the_forms(table):
    shown = sections()
    for command in table.commands:
        calls = re.findall(r"CmdID\.(\w+)[ \\\n]+(\d+)(.*)", shown[command.name])
        assert calls, command.name
        for name, count, rest in calls:
            arguments = [word.strip("'\"") for word in rest.split()]
            assert (name, int(count)) == (command.name, len(arguments))
            assert not command.forms or any(
                commands_table.fits(form, arguments) for form in command.forms), arguments


def manuals(tmp_path):
    generated = tmp_path / "kex-commands.7"
    with open(generated, "wb") as file:
        subprocess.run([sys.executable, "-B", os.path.join(MANUALS, "to_man.py"), TABLE],
                       stdout=file, check=True)
    return {"kex.8": os.path.join(MANUALS, "kex.8"), "kexctl.1": os.path.join(MANUALS, "kexctl.1"),
            "kex-commands.7": str(generated)}


@pytest.mark.parametrize("name", ["kex.8", "kexctl.1", "kex-commands.7"])
def test_mandoc_has_nothing_to_say(tmp_path, name):
    done = subprocess.run(["mandoc", "-T", "lint", "-W", "style", manuals(tmp_path)[name]],
                          capture_output=True, text=True)
    # Which manuals the machine has says nothing about this one.
    told = [line for line in (done.stdout + done.stderr).splitlines()
            if "referenced manual not found" not in line and "outdated mandoc.db" not in line]
    assert told == []


def test_kex_commands_describes_the_whole_table(tmp_path, table):
    path = manuals(tmp_path)["kex-commands.7"]
    text = subprocess.run(["mandoc", "-T", "utf8", "-O", "width=1000", path], check=True,
                          capture_output=True, text=True).stdout
    text = re.sub(r"(.)\b\1", r"\1", re.sub(".\x08", "", text))
    for command in table.commands:
        assert f"{command.name} ({command.value})" in text
        for form in command.forms:
            assert f"kexctl {command.name} {form.use}\n" in text
            assert f"kexctl {command.name} {' '.join(form.example)}\n" in text


def test_kexctl_manual_names_every_option_and_status():
    with open(os.path.join(MANUALS, "kexctl.1"), encoding="utf-8") as file:
        manual = file.read()
    with open(os.path.join(REPOSITORY, "src/kexctl/options.cpp"), encoding="utf-8") as file:
        options = set(re.findall(r'"--([a-z-]+)"', file.read()))
    assert options >= {"json", "dry-run", "errors", "follow", "help", "version"}
    for option in options:
        assert f"Fl -{option}" in manual
    assert re.findall(r"^\.It (\d)$", manual, re.MULTILINE) == ["0", "1", "2", "3", "4"]
