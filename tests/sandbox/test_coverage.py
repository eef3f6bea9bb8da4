"""Every value of the command table has a test of its own."""

import ast
import pathlib

import pytest
import yaml

from harness import expected

HERE = pathlib.Path(__file__).parent
INTERFACE = HERE.parents[1] / "src/dbus/com/orvel/bmc/network/KEX.interface.yaml"

# These go through all commands by their names and say nothing about what one does.
GENERAL = {"test_coverage.py", "test_commands_page.py"}


def interface_commands():
    described = yaml.safe_load(INTERFACE.read_text("utf-8"))
    (enumeration,) = [entry for entry in described["enumerations"] if entry["name"] == "CmdID"]
    return [value["name"] for value in enumeration["values"]]


def definitions(module):
    """The functions, methods and values of a module, by their names."""
    found = {}
    for node in ast.walk(module):
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
            found.setdefault(node.name, []).append(node)
    for node in module.body:
        if isinstance(node, ast.Assign):
            for target in node.targets:
                for name in ast.walk(target):
                    if isinstance(name, ast.Name):
                        found.setdefault(name.id, []).append(node)
    return found


def words_of(function, known):
    """The texts that a test mentions, itself or in what it uses of its module."""
    words, seen, waiting = set(), set(), [function]
    while waiting:
        for node in ast.walk(waiting.pop()):
            if isinstance(node, ast.Constant) and isinstance(node.value, str):
                words.add(node.value)
            name = node.id if isinstance(node, ast.Name) else \
                node.arg if isinstance(node, ast.arg) else None  # a fixture
            if name in known and name not in seen:
                seen.add(name)
                waiting += known[name]
    return words


def mentions_by_test(source):
    """Each test function of a module with the texts that it mentions."""
    module = ast.parse(source)
    known = definitions(module)
    return {node.name: words_of(node, known) for node in ast.walk(module)
            if isinstance(node, ast.FunctionDef) and node.name.startswith("test_")}


def without_test(commands, sources):
    """The commands that no test of the sources mentions."""
    mentioned = set()
    for source in sources:
        for words in mentions_by_test(source).values():
            mentioned |= words
    return [command for command in commands if command not in mentioned]


def sources():
    return [path.read_text("utf-8") for path in sorted(HERE.glob("test_*.py"))
            if path.name not in GENERAL]


def test_every_command_has_a_test():
    assert without_test(interface_commands(), sources()) == []


def test_names_and_values_agree_with_the_interface():
    assert list(expected.COMMANDS) == interface_commands()
    assert list(expected.COMMANDS.values()) == list(range(32))


# The commands that do nothing but log are looked at one by one in one place.
HANDLED = [command for command in expected.COMMANDS
           if command not in ("UNKNOWN", "IP4_DAD_START", "SMARTNIC_INIT", "INIT_FRONTDED",
                              "INIT_FLOP_USB_NIC", "TERMINATE")]


@pytest.mark.parametrize("command", HANDLED)
def test_command_with_a_handler_has_tests_beyond_the_dispatch(command):
    beyond = [path.read_text("utf-8") for path in sorted(HERE.glob("test_*.py"))
              if path.name not in GENERAL | {"test_dispatch.py"}]
    assert without_test([command], beyond) == []


@pytest.mark.parametrize("source, missing", [
    ("def test_a(kex): kex.call('A')", ["B"]),
    ("def helper(kex): kex.call('A')\ndef test_a(kex): helper(kex)", ["B"]),
    ("NAMES = {'A': 1}\n@pytest.mark.parametrize('n', NAMES)\ndef test_a(kex, n): kex.call(n)",
     ["B"]),
    ("@pytest.fixture\ndef a(kex): kex.call('A')\ndef test_a(a): pass", ["B"]),
    ("class TestX:\n    def test_a(self, kex): kex.call('A')", ["B"]),
    # Not used by any test.
    ("A = 'A'\ndef helper(kex): kex.call('A')\ndef test_b(kex): kex.call('B')", ["A"]),
    ("# A and B\n'''A B'''\ndef test_c(kex): kex.call('AB')", ["A", "B"]),
])
def test_what_has_no_test_is_found(source, missing):
    assert without_test(["A", "B"], [source]) == missing
