"""How much of everything is done: enough for steady numbers, or just enough to see it run."""

from dataclasses import dataclass


@dataclass
class Settings:
    kex: str
    programs: str
    scratch: str
    kex_arm64: str = ""
    peers: str = ""
    rounds: int = 15
    calls: int = 500
    spawns: int = 30
    batch_lines: int = 500
    repetitions: int = 15
    min_time: float = 0.05
    flush_rounds: int = 9
    entries: int = 1000
    journal_rounds: int = 7
    journal_entries: int = 100_000
    starts: int = 31
    memory_rounds: int = 3
    many_calls: int = 10_000
    load_rounds: int = 7
    load_ms: int = 1000
    scales: tuple = (100, 1000)
    counts: tuple = (200, 1200)


QUICK = {
    "rounds": 3, "calls": 5, "spawns": 2, "batch_lines": 5, "repetitions": 2, "min_time": 0.001,
    "flush_rounds": 1, "entries": 50, "journal_rounds": 1, "journal_entries": 500, "starts": 2,
    "memory_rounds": 1, "many_calls": 50, "load_rounds": 1, "load_ms": 50, "scales": (2, 5),
    "counts": (2, 4),
}
