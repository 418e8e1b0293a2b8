"""What the tests of the Python package share. They run on a private appliance: its folders are throw-away."""

from __future__ import annotations

import atexit
import functools
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys
import textwrap
import time
import unittest
from collections.abc import Callable
from unittest import mock

from annal import _reader

LOGS = pathlib.Path("/etc/logs")
EVENTS = LOGS / "event.log"
CONNECTIONS = LOGS / "conn.log"
NOTICES = LOGS / "notice.log"
COMMANDS = pathlib.Path("/usr/local/sbin")

HEADER = pathlib.Path(os.environ["ANNAL_INCLUDE"]) / "Corix_annal.h"
SOURCES = HEADER.parent.parent
COMPILER = os.environ["ANNAL_CC"]

# The name of the mount namespace, as the appliance leaves it to what runs on it.
if os.environ.get("CORIX_PRIVATE_APPLIANCE") != os.readlink("/proc/self/ns/mnt"):
    sys.exit("these tests need a private appliance: ctest runs them on one")


def empty(folder: pathlib.Path) -> None:
    for entry in folder.iterdir():
        if entry.is_dir() and not entry.is_symlink():
            shutil.rmtree(entry)
        else:
            entry.unlink()


class ApplianceTest(unittest.TestCase):
    """Each test begins with an appliance that has no log and no command."""

    def setUp(self) -> None:
        empty(LOGS)
        empty(COMMANDS)

    def record(self, command: str, folder: pathlib.Path = COMMANDS) -> Callable[[], list[list[str]]]:
        """Installs a command that records its arguments, and returns what reads them."""
        record = LOGS / f"{command}.recorded"
        program = folder / command
        each = "for text; do printf '%s\\n' \"$text\"; done"
        program.write_text(f"#!/bin/sh\n{{ {each}; printf '\\036\\n'; }} >> {record}\n")
        program.chmod(0o755)

        def calls() -> list[list[str]]:
            deadline = time.monotonic() + 20
            while not record.exists() or not record.read_text().endswith("\x1e\n"):
                if time.monotonic() > deadline:
                    return []
                time.sleep(0.01)
            return [call.split("\n")[:-1] for call in record.read_text().split("\x1e\n")[:-1]]

        return calls


def without_time(test: unittest.TestCase) -> None:
    """No statement over the whole log ends in time, so that it is read in ranges."""
    for name, value in (("_AT_ONCE_AT_MOST", -1.0), ("_INSTRUCTIONS_BETWEEN_LOOKS", 1), ("_FIRST_WIDTH", 4096)):
        patch = mock.patch.object(_reader, name, value)
        patch.start()
        test.addCleanup(patch.stop)


def sql(path: os.PathLike[str] | str, statement: str, *values: object) -> list[tuple[object, ...]]:
    """Runs a statement in a process of this test, through the same copy of SQLite."""
    connection = sqlite3.connect(path, isolation_level=None)
    try:
        connection.text_factory = bytes
        return connection.execute(statement, values).fetchall()
    finally:
        connection.close()


def elsewhere(program: str, *arguments: str) -> str:
    """Runs a program in another process, and returns what it prints."""
    done = subprocess.run(
        [sys.executable, "-c", textwrap.dedent(program), *arguments], capture_output=True, text=True, check=False
    )
    if done.returncode != 0:
        raise AssertionError(done.stderr)
    return done.stdout


_NEIGHBOUR = """
import contextlib, sqlite3, sys
for path in sys.stdin:
    with contextlib.closing(sqlite3.connect(path.rstrip("\\n"), timeout=0, isolation_level=None)) as log:
        try:
            log.execute("BEGIN EXCLUSIVE")
        except sqlite3.OperationalError as error:
            print(error, flush=True)
        else:
            print("free", flush=True)
"""


@functools.cache
def _neighbour() -> subprocess.Popen[str]:
    """A process that says whether it gets the logs that it is told of. It ends with this one."""
    return subprocess.Popen(
        [sys.executable, "-c", _NEIGHBOUR], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
    )


@atexit.register
def _dismiss() -> None:
    if _neighbour.cache_info().currsize:
        _neighbour().communicate()


def can_be_written(path: os.PathLike[str] | str) -> bool:
    """Whether another process gets the whole log at once, without waiting."""
    neighbour = _neighbour()
    assert neighbour.stdin is not None and neighbour.stdout is not None
    print(path, file=neighbour.stdin, flush=True)
    return neighbour.stdout.readline() == "free\n"


def numbered_events(rows: int) -> None:
    """Events in the log that is there: the i-th is message i, of user i % 7, at i seconds after a fixed time."""
    connection = sqlite3.connect(EVENTS)
    with connection:
        connection.execute("PRAGMA synchronous = OFF")
        connection.execute(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) INSERT INTO ANNAL_EVENT "
            "(event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
            "event_timet, event_app_id, event_app_name, event_category_id, event_category) SELECT i % 3, "
            "date(1700000000 + i, 'unixepoch', 'localtime'), time(1700000000 + i, 'unixepoch', 'localtime'), "
            "printf('user%d', i % 7), '10.0.0.1', 'localhost', printf('message %d', i), '---', 1700000000 + i, '---', "
            "'---', '---', '---' FROM n",
            (rows,),
        )
    connection.close()
