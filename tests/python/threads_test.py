"""Threads, forks, and interpreters that the package refuses. The same holds with and without the global lock."""

from __future__ import annotations

import concurrent.futures
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
from typing import Any
from unittest import mock

import annal
from annal import NewConnection, _library, _reader
from support import COMPILER, CONNECTIONS, EVENTS, ApplianceTest, elsewhere, numbered_events

THREADS = 8


class Threads(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        # As many changes of threads as can be had.
        self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())
        sys.setswitchinterval(1e-6)

    def at_once(self, work: Any) -> list[Any]:
        with concurrent.futures.ThreadPoolExecutor(THREADS) as pool:
            return list(pool.map(work, range(THREADS)))

    def test_store_each_entry_once(self) -> None:
        annal.events.create()
        annal.connections.create()

        def work(thread: int) -> None:
            for i in range(5):
                annal.events.add(f"{thread} {i}", user=f"thread{thread}")
            annal.connections.add_many(NewConnection(user=f"{thread} {i}") for i in range(20))

        self.at_once(work)
        self.assertEqual(
            sorted(event.message for event in annal.events.list()),
            sorted(f"{thread} {i}" for thread in range(THREADS) for i in range(5)),
        )
        for event in annal.events.list():
            self.assertEqual(event.user, f"thread{event.message.split()[0]}")
        self.assertEqual(annal.connections.count(), THREADS * 20)

    def test_read_the_same_log_at_once_each_by_an_iterator_of_its_own(self) -> None:
        annal.events.create()
        numbered_events(2500)
        orders: tuple[annal.EventField, ...] = ("id", "user", "when", "message")

        def work(thread: int) -> list[int]:
            return [event.id for event in annal.events.list(order=orders[thread % 4])]

        for ids in self.at_once(work):
            self.assertEqual(sorted(ids), list(range(1, 2501)))

    def test_read_while_others_write(self) -> None:
        annal.events.create()
        numbered_events(1500)

        def work(thread: int) -> int:
            if thread % 2:
                for i in range(5):
                    annal.events.add(f"{thread} {i}")
                return 1500
            return sum(event.message.startswith("message") for event in annal.events.list(descending=False))

        self.assertEqual(set(self.at_once(work)), {1500})
        self.assertEqual(annal.events.count(), 1500 + THREADS // 2 * 5)

    def test_may_hand_an_iterator_on(self) -> None:
        annal.events.create()
        numbered_events(2500)
        rows = annal.events.list(descending=False)

        def take(_: int) -> list[int]:
            return [next(rows).id for _ in range(300)]

        with concurrent.futures.ThreadPoolExecutor(1) as one, concurrent.futures.ThreadPoolExecutor(1) as other:
            taken = [i for pool in (one, other, one, other) for i in pool.submit(take, 0).result()]
        self.assertEqual(taken, list(range(1, 1201)))

    def test_find_the_same_catalog(self) -> None:
        found = self.at_once(lambda _: [len(application) for application in annal.Catalog().values()])
        self.assertEqual(found, [[len(application) for application in annal.catalog.values()]] * THREADS)

    def test_run_while_another_waits_for_a_lock(self) -> None:
        annal.connections.create()
        # Another process holds the lock, until this thread tells it to let go.
        reading, writing = os.pipe()
        program = (
            "import sqlite3, sys\n"
            f"log = sqlite3.connect('{CONNECTIONS}', isolation_level=None)\n"
            "log.execute('BEGIN IMMEDIATE')\nprint('locked', flush=True)\nsys.stdin.read()\n"
        )
        with os.fdopen(writing, "w") as release, os.fdopen(reading) as held:
            with subprocess.Popen([sys.executable, "-c", program], stdin=held, stdout=subprocess.PIPE) as process:
                assert process.stdout is not None
                self.assertEqual(process.stdout.readline(), b"locked\n")
                with concurrent.futures.ThreadPoolExecutor(1) as pool:
                    waiting = pool.submit(annal.connections.clear)
                    with self.assertRaises(concurrent.futures.TimeoutError):
                        waiting.result(0.3)
                    release.close()
                    waiting.result()

    def test_keep_their_locks_while_others_read(self) -> None:
        # Whoever closes a file gives up the locks that the process has on it, unless it is SQLite that closes it.
        annal.events.create()
        numbered_events(10)
        connection = _reader.connect(os.fsencode(EVENTS))
        connection.execute("BEGIN IMMEDIATE")
        list(annal.events.tail())
        annal.events.count()
        self.assertEqual(
            elsewhere(
                f"""
                import sqlite3
                try:
                    sqlite3.connect("{EVENTS}", timeout=0, isolation_level=None).execute("BEGIN IMMEDIATE")
                except sqlite3.OperationalError as error:
                    print(error)
                """
            ),
            "database is locked\n",
        )
        connection.execute("ROLLBACK")
        connection.close()


class WithoutTheGlobalLock(ApplianceTest):
    """As far as an interpreter that has it can show: the package takes the other way, and threads find the same."""

    def test_builds_the_same_rows_by_their_own_constructors(self) -> None:
        annal.events.create()
        numbered_events(1500)
        printed = elsewhere(
            """
            import concurrent.futures, sys
            sys._is_gil_enabled = lambda: False
            sys.setswitchinterval(1e-6)
            import annal
            from annal import _drafts
            for row in (annal.Event, annal.Connection, annal.Notice, annal.FileOperation):
                assert _drafts.maker(row) is row
            with concurrent.futures.ThreadPoolExecutor(8) as pool:
                found = list(pool.map(lambda _: list(annal.events.list(order="user")), range(8)))
            assert all(rows == found[0] for rows in found)
            print(*found[0], sep="\\n")
            """
        )
        self.assertEqual(printed.splitlines(), [repr(event) for event in annal.events.list(order="user")])


class Forks(ApplianceTest):
    def test_a_child_cannot_read_on_and_does_not_disturb_its_parent(self) -> None:
        annal.events.create()
        numbered_events(2500)
        rows = annal.events.list()
        taken = [next(rows).id for _ in range(10)]
        child = os.fork()
        if child == 0:
            try:
                list(rows)
            except RuntimeError:
                os._exit(len([*annal.events.list()]) == 2500 and 7)
            os._exit(1)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 7)
        taken += [event.id for event in rows]
        self.assertEqual(taken, list(range(2500, 0, -1)))


class Interpreters(unittest.TestCase):
    def test_with_a_copy_of_sqlite_of_their_own_are_refused(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder, "copy.so")
            source = pathlib.Path(folder, "copy.c")
            source.write_text("int sqlite3_open_v2(void) { return 0; }\n")
            subprocess.run([COMPILER, "-shared", "-fPIC", str(source), "-o", str(copy)], check=True)
            # One that brings a copy, and one that hides it.
            for module in (str(copy), "libm.so.6"):
                with mock.patch("importlib.import_module", return_value=mock.Mock(__file__=module)):
                    with self.assertRaisesRegex(ImportError, "has its own copy of SQLite"):
                        _library.require_one_sqlite(_library.library)
        _library.require_one_sqlite(_library.library)

    def test_without_the_library_say_what_is_missing(self) -> None:
        for path, message in (
            ("/nowhere/libCorix_annal.so.2", "cannot load the log library: .* name its file in ANNAL_LIBRARY"),
            ("libm.so.6", "libm.so.6 has no function annal_checkip: it is not the log library"),
        ):
            done = subprocess.run(
                [sys.executable, "-c", "import annal"],
                env={**os.environ, "ANNAL_LIBRARY": path},
                capture_output=True,
                text=True,
                check=False,
            )
            self.assertRegex(done.stderr.splitlines()[-1], f"ImportError: {message}")


if __name__ == "__main__":
    unittest.main()
