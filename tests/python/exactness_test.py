"""Listing delivers what the library's own queries deliver, row for row and byte for byte."""

from __future__ import annotations

import ctypes
import os
import random
import subprocess
import sys
import unittest
from typing import Any

import annal
from annal import _connections, _events, _file_operations, _library, _notices
from support import EVENTS, LOGS, ApplianceTest, elsewhere, numbered_events, sql

ROW = ctypes.CFUNCTYPE(
    ctypes.c_int, ctypes.c_void_p, ctypes.c_int, ctypes.POINTER(ctypes.c_char_p), ctypes.POINTER(ctypes.c_char_p)
)
OPERATIONS = LOGS / "operations.db"
BY_ID = 12
ROWS = 2300


def listed_by_library(function: str, *leading: object) -> list[dict[str, bytes]]:
    """All rows of a log, each column by its name."""
    rows: list[dict[str, bytes]] = []

    def take(_: object, columns: int, values: Any, names: Any) -> int:
        rows.append({names[i].decode(): values[i] or b"" for i in range(columns)})
        return 0

    # Kept as long as the call lasts.
    callback = ROW(take)
    arguments = [callback, BY_ID, 0, 0, 0, None]
    result = getattr(_library.library, function)(*leading, *arguments)
    assert result == 0, result
    return rows


class Exactness(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        self.random = random.Random(7)

    def text(self) -> bytes:
        """Any bytes but zero; mostly no UTF-8."""
        alphabet = [b"'", b'"', b"%", b"\\", b"\xff", b"\xc3\xa9", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\n", b"x"]
        return b"".join(self.random.choices(alphabet, k=self.random.randrange(30)))

    def check(self, log: Any, columns: dict[str, str], listed: list[dict[str, bytes]]) -> None:
        rows = list(log.list(descending=False))
        self.assertEqual(len(rows), ROWS)
        for row, expected in zip(rows, listed, strict=True):
            for field, column in columns.items():
                value = getattr(row, field)
                found = os.fsencode(value) if isinstance(value, str) else b"%d" % value
                self.assertEqual(found, expected[column], (field, row))

    def fill(self, path: str, table: str, texts: list[str], numbers: list[str]) -> None:
        columns = ", ".join([*texts, *numbers])
        places = ", ".join(["CAST(? AS TEXT)"] * len(texts) + ["?"] * len(numbers))
        for _ in range(10):
            sql(path, f"INSERT INTO {table} ({columns}) VALUES ({places})", *self.values(texts, numbers))
        # The same again in other combinations, without a call for each.
        while (there := int(str(sql(path, f"SELECT count(*) FROM {table}")[0][0]))) < ROWS:
            sql(
                path,
                f"INSERT INTO {table} ({columns}) SELECT {columns} FROM {table} ORDER BY random() LIMIT {ROWS - there}",
            )

    def values(self, texts: list[str], numbers: list[str]) -> list[object]:
        return [self.text() for _ in texts] + [self.random.randrange(-5, 2**31) for _ in numbers]

    def test_lists_what_the_library_lists(self) -> None:
        annal.events.create()
        annal.connections.create()
        annal.notices.create()
        operations = annal.FileOperationLog(OPERATIONS)
        operations.create()
        logs: list[tuple[Any, Any, str, list[object]]] = [
            (annal.events, _events, "annal_event_query", []),
            (annal.connections, _connections, "annal_conn_query", [None]),
            (annal.notices, _notices, "annal_notice_query", []),
            (operations, _file_operations, "pavo2log_event_query", [os.fsencode(OPERATIONS)]),
        ]
        for log, module, function, leading in logs:
            with self.subTest(function):
                table = module.TABLE
                numbers = [column.strip('"') for column in table.numbers.values()]
                texts = [column.strip('"') for column in table.texts.values()]
                self.fill(log.path, table.name, [f'"{column}"' for column in texts], numbers)
                fields = dict(zip(table.texts, texts)) | dict(zip(table.numbers, numbers)) | {"id": table.id}
                self.check(log, fields, listed_by_library(function, *leading))


class CutOffChanges(ApplianceTest):
    def test_are_undone_before_a_log_is_read(self) -> None:
        annal.events.create(limit=100000)
        numbered_events(2000)
        dying = subprocess.run(
            [
                sys.executable,
                "-c",
                "import os, sqlite3\n"
                f"log = sqlite3.connect('{EVENTS}', isolation_level=None)\n"
                "log.execute('PRAGMA cache_size = 1')\n"
                "log.execute('BEGIN')\n"
                "log.execute(\"UPDATE ANNAL_EVENT SET event_desc = printf('%500d', 0)\")\n"
                "os.kill(os.getpid(), 9)\n",
            ],
            check=False,
        )
        self.assertEqual(dying.returncode, -9)
        self.assertTrue(os.path.getsize(f"{EVENTS}-journal") > 0)
        self.assertEqual(
            [event.message for event in annal.events.list(descending=False)], [f"message {i}" for i in range(1, 2001)]
        )
        self.assertFalse(os.path.exists(f"{EVENTS}-journal"))


class OtherUsers(ApplianceTest):
    def test_read_a_log_that_they_may_not_write(self) -> None:
        if os.geteuid() != 0:
            self.skipTest("only root can become another user")
        annal.events.create()
        annal.events.add("for everybody")
        answer = elsewhere(
            """
            import os
            import annal
            os.setgroups([])
            os.setresgid(65534, 65534, 65534)
            os.setresuid(65534, 65534, 65534)
            print(next(annal.events.list()).message, annal.events.count())
            try:
                annal.events.clear()
            except annal.EmptyFailedError:
                print("not allowed")
            """
        )
        self.assertEqual(answer, "for everybody 1\nnot allowed\n")


if __name__ == "__main__":
    unittest.main()
