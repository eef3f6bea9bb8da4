"""What the packages' recipes repeat of the sources is the same there."""

import hashlib
import pathlib
import re

ROOT = pathlib.Path(__file__).parents[2]
(RECIPE,) = (ROOT / "dist/yocto").glob("*.bb")


def read(path):
    return (ROOT / path).read_text("utf-8")


def used_options(text):
    return set(re.findall(r"-D(\w+)=", text))


def test_versions_are_one():
    (version,) = re.findall(r"^  version: '(.*)'", read("meson.build"), re.MULTILINE)
    assert RECIPE.name == f"kex_{version}.bb"
    assert read("debian/changelog").startswith(f"kex ({version}) ")


def test_options_exist():
    known = set(re.findall(r"^option\('(\w+)'", read("meson_options.txt"), re.MULTILINE))
    for text in (RECIPE.read_text("utf-8"), read("debian/rules")):
        assert used_options(text)
        assert used_options(text) <= known
    assert used_options(read("README.md")) == known


def test_purge_removes_the_default_group():
    (group,) = re.findall(r"'clients_group'.*value: '(.*)'", read("meson_options.txt"))
    assert f"for group in kex {group}; do" in read("debian/kex.postrm")
    assert "clients_group" not in read("debian/rules")


def test_recipe_has_the_sum_of_the_licence():
    digest = hashlib.md5((ROOT / "LICENSE").read_bytes()).hexdigest()
    assert f"file://LICENSE;md5={digest}" in RECIPE.read_text("utf-8")
