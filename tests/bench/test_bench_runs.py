"""The benchmark runs, every row of it. What it measures is no matter of a test."""

import json
import os
import subprocess

_ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
_ROWS = set(range(1, 14))


def test_every_row_is_measured(tmp_path):
    # The sanitizers' settings are for the daemon under test, not for what is measured here.
    environment = {name: value for name, value in os.environ.items()
                   if not name.endswith("SAN_OPTIONS")}
    run = subprocess.run(
        [os.path.join(_ROOT, "scripts/bench"), "--quick", "--results", str(tmp_path)],
        env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=1800)
    assert run.returncode == 0, run.stderr
    with open(tmp_path / "table.json", encoding="utf-8") as file:
        table = json.load(file)
    assert {line["row"] for line in table["lines"]} == _ROWS
    for line in table["lines"]:
        assert line["kex"] and all(value > 0 for value in line["kex"]), line
        assert line["cells"][-1] in ("met", "NOT MET", "shown")
    assert table["machine"]["processor"]
    with open(tmp_path / "instructions.json", encoding="utf-8") as file:
        counts = json.load(file)
    assert counts["TERMINATE"] > 0 and counts["LINK_CTRL"] > counts["TERMINATE"]
