"""How much the tests do, and what they measured.

Each amount has a short form and a long one; scripts/torture chooses the long ones and may set
any by its variable.
"""

import json
import os


def amount(name, short, long):
    """The variable KEX_TORTURE_<NAME>, or the amount of the chosen form."""
    default = long if long_form() else short
    return int(os.environ.get("KEX_TORTURE_" + name, default))


def long_form():
    return os.environ.get("KEX_TORTURE_FORM") == "long"


def measured(what, value):
    """Notes a figure, of which several of one name are added up, in the file that
    KEX_TORTURE_FIGURES names."""
    path = os.environ.get("KEX_TORTURE_FIGURES")
    if path:
        # Tests run in several processes: one short write to a file that is appended to is whole.
        with open(path, "ab", buffering=0) as file:
            file.write(json.dumps([what, value]).encode() + b"\n")
