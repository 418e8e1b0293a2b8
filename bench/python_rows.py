#!/usr/bin/env python3
"""What listing costs a program in Python, beside a plain loop over the sqlite3 module. bench/python.sh calls it.

Each figure is of a process of its own, so that its memory is its own. The two sides take turns.
"""

from __future__ import annotations

import collections
import sqlite3
import statistics
import subprocess
import sys
import time
from collections.abc import Callable, Iterable

LOG = "/etc/logs/event.log"
COLUMNS = (
    "event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, event_client_app, "
    "event_client_agent"
)


def fill(rows: int) -> None:
    """Rows follow from their numbers."""
    import annal

    annal.events.create(limit=rows)
    with sqlite3.connect(LOG) as log:
        log.execute("PRAGMA synchronous = OFF")
        log.execute("DROP TRIGGER annal_event_logfull")
        log.execute(
            f"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) INSERT INTO ANNAL_EVENT "
            f"({COLUMNS}) SELECT i, i % 3, date(1795255200 + i, 'unixepoch', 'localtime'), "
            "time(1795255200 + i, 'unixepoch', 'localtime'), printf('user%d', i * 7919 % 50), "
            "printf('10.0.%d.%d', i % 16, i % 250), 'localhost', "
            "printf('[Storage & Snapshots] Volume %d on pool %d is nearly full.', i, i % 9), '---', 1795255200 + i, "
            "'A002', 'Storage', 'C001', 'Volumes', '---', 'localhost', '---' FROM n",
            (rows,),
        )


def consume(rows: Iterable[object]) -> int:
    """Takes rows as fast as they come, and keeps none."""
    counted = 0
    for counted, _ in enumerate(rows, 1):
        pass
    return counted


def most_memory() -> int:
    """Of this program, in KiB; what getrusage tells begins with its parent's."""
    with open("/proc/self/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:"))


def plain(query: str) -> Callable[[], int]:
    return lambda: consume(sqlite3.connect(LOG).execute(f"SELECT {COLUMNS} FROM ANNAL_EVENT {query}"))


def package(**arguments: object) -> Callable[[], int]:
    def run() -> int:
        import annal

        return consume(annal.events.list(**arguments))  # type: ignore[arg-type]

    return run


LISTINGS: dict[str, tuple[Callable[[], int], Callable[[], int]]] = {
    "all, newest first": (package(), plain("ORDER BY event_id DESC")),
    "of one level": (package(level=1), plain("WHERE event_type = 1 ORDER BY event_id DESC")),
    "of one user": (package(user="user7"), plain("WHERE event_user = 'user7' ORDER BY event_id DESC")),
    "all, by user": (package(order="user"), plain("ORDER BY event_user, event_id")),
}


def measure(side: str, listing: str) -> None:
    """In a process of its own: rows, seconds and the most memory that it had, in KiB."""
    run = LISTINGS[listing][0 if side == "annal" else 1]
    if side == "annal":
        import annal

        annal.events.count()
    begun = time.process_time()
    rows = run()
    seconds = time.process_time() - begun
    print(rows, seconds, most_memory())


def compare(rows: int, rounds: int) -> None:
    for listing in LISTINGS:
        rates: dict[str, list[float]] = collections.defaultdict(list)
        memory: dict[str, int] = {}
        counts = set()
        for place in range(rounds):
            for side in ("annal", "sqlite3") if place % 2 else ("sqlite3", "annal"):
                command = [sys.executable, __file__, "measure", side, listing]
                counted, seconds, most = subprocess.run(command, check=True, capture_output=True).stdout.split()
                counts.add(int(counted))
                rates[side].append(int(counted) / float(seconds))
                memory[side] = max(memory.get(side, 0), int(most))
        if len(counts) != 1:
            sys.exit(f"{listing}: different work: {counts} rows")
        ours, other = (statistics.median(rates[side]) / 1000 for side in ("annal", "sqlite3"))
        print(
            f"| {listing}, of {rows:,} | {counts.pop():,} | {ours:.0f} | {other:.0f} "
            f"| {memory['annal'] / 1024:.1f} | {memory['sqlite3'] / 1024:.1f} |",
            flush=True,
        )


def main() -> None:
    if sys.argv[1:2] == ["measure"]:
        measure(*sys.argv[2:])
    elif sys.argv[1:2] == ["fill"]:
        fill(int(sys.argv[2]))
    else:
        fill(int(sys.argv[1]))
        compare(int(sys.argv[1]), int(sys.argv[2]))


main()
