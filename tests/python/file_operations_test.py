"""File-operation logs."""

from __future__ import annotations

import os
import pathlib
import unittest
from datetime import datetime, timezone
from typing import Any, cast

import annal
from annal import Contains, Level, _records
from support import LOGS, ApplianceTest, sql

PATH = LOGS / "operations.db"

BOUNDS = {
    "user": ("event_user", 64),
    "computer": ("event_comp", 64),
    "device": ("event_duid", 64),
    "description": ("event_desc", 1024),
}


class FileOperations(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        self.log = annal.FileOperationLog(PATH)
        self.log.create()

    def test_stores_every_field_as_it_is_given(self) -> None:
        when = datetime(2024, 7, 1, 12, 30, 15).astimezone()
        texts = {name: f"it's the {name}" for name in BOUNDS}
        number = self.log.add(
            "/share/it's new",
            old_path=b"/share/\xff old",
            action=35,
            kind=2,
            size=-1,
            level=Level.ERROR,
            when=when,
            address="10.0.0.5:8080",
            **cast(Any, texts),
        )
        (row,) = self.log.list()
        self.assertEqual(
            row,
            annal.FileOperation(
                id=number,
                level=Level.ERROR,
                when=when,
                kind=2,
                action=35,
                size=-1,
                pid=0,
                address="10.0.0.5:8080",
                old_path="/share/\udcff old",
                path="/share/it's new",
                sub_user="",
                **texts,
            ),
        )
        self.assertEqual(os.fsencode(row.old_path), b"/share/\xff old")

    def test_numbers_what_it_stores(self) -> None:
        self.assertEqual([self.log.add(f"/{i}", action=1) for i in range(3)], [1, 2, 3])

    def test_takes_texts_up_to_their_bounds_and_refuses_longer_ones(self) -> None:
        for name, (field, bound) in BOUNDS.items():
            with self.subTest(name):
                self.assertEqual(getattr(_records.FileOpRecord, field).size - 1, bound)
                self.log.add("/x", action=1, **cast(Any, {name: "x" * bound}))
                self.assertEqual(getattr(next(self.log.list()), name), "x" * bound)
                with self.assertRaisesRegex(ValueError, f"{name} is {bound + 1} bytes long"):
                    self.log.add("/x", action=1, **cast(Any, {name: "x" * (bound + 1)}))
        with self.assertRaisesRegex(ValueError, "user is 66 bytes long, counting each single quote twice: at most 64"):
            self.log.add("/x", action=1, user="'" * 33)
        self.log.add("/" + "x" * 100000, action=1)
        self.assertEqual(len(next(self.log.list()).path), 100001)

    def test_refuses_wrong_types_and_impossible_values(self) -> None:
        refused: list[tuple[dict[str, object], type[Exception], str]] = [
            ({"action": 0}, ValueError, "action is 0: it must be from 1 to 35"),
            ({"action": 36}, ValueError, "action is 36"),
            ({"kind": 3}, ValueError, "kind is 3: it must be from 0 to 2"),
            ({"size": 2**31}, ValueError, "size is 2147483648"),
            ({"address": "10.0.0.5', (SELECT 1)) --"}, ValueError, "address is no"),
            ({"address": "here"}, ValueError, "address is no"),
            ({"when": datetime(1900, 6, 1, tzinfo=timezone.utc)}, ValueError, "must be after 1900"),
            ({"when": datetime(2024, 6, 1)}, ValueError, "when has no time zone"),
            ({"old_path": 5}, TypeError, "old_path must be str, bytes or os.PathLike, not int"),
            ({"old_path": "a\0b"}, ValueError, "old_path holds a zero character"),
        ]
        for arguments, error, message in refused:
            with self.subTest(arguments), self.assertRaisesRegex(error, message):
                self.log.add("/x", **cast(Any, {"action": 1, **arguments}))
        self.assertEqual(self.log.count(), 0)

    def test_filters_sorts_groups_and_deletes(self) -> None:
        for i in range(10):
            self.log.add(pathlib.Path(f"/share/{i}"), action=1 + i % 3, size=100 - i, user=f"o'neil {i % 2}")
        self.assertEqual([row.path for row in self.log.list(action=2, user="o'neil 1")], ["/share/7", "/share/1"])
        self.assertEqual(self.log.count(path=Contains("SHARE/1")), 1)
        self.assertEqual([row.size for row in self.log.list(order="size", limit=3)], [91, 92, 93])
        self.assertEqual([(group.count, group.newest.action) for group in self.log.group("action")],
                         [(4, 1), (3, 2), (3, 3)])
        self.assertEqual([row.path for row in self.log.tail(lines=2)], ["/share/8", "/share/9"])
        self.log.delete(user="o'neil 0")
        self.log.delete(path="/share/1")
        self.log.delete(size=100 - 3)
        self.assertEqual([row.path for row in self.log.list()], ["/share/9", "/share/7", "/share/5"])

    def test_creates_a_log_once_and_leaves_other_files_alone(self) -> None:
        with self.assertRaisesRegex(annal.TableFailedError, "exists already"):
            self.log.create()
        self.log.create(exist_ok=True)
        other = LOGS / "other.db"
        sql(other, "CREATE TABLE mine (x)")
        with self.assertRaisesRegex(annal.TableFailedError, "holds something else"):
            annal.FileOperationLog(other).create(exist_ok=True)
        with self.assertRaises(annal.OpenFailedError):
            annal.FileOperationLog("/etc/logs/no/such/folder.db").create()

    def test_keeps_limits(self) -> None:
        self.log.remove_limit()
        self.log.add_limit(limit=2)
        for i in range(5):
            self.log.add(f"/{i}", action=1)
        self.assertEqual(self.log.count(), 2)
        self.log.clear()
        self.log.drop()
        self.assertFalse(self.log.exists())

    def test_an_empty_path_is_not_the_current_folder(self) -> None:
        with self.assertRaisesRegex(ValueError, "path is empty"):
            annal.FileOperationLog("")
        with self.assertRaisesRegex(ValueError, "path is empty"):
            annal.FileOperationLog(b"")

    def test_a_path_is_a_file_whatever_it_looks_like(self) -> None:
        before = os.getcwd()
        os.chdir(LOGS)
        try:
            for name in ("file:x?mode=memory", ":memory:", "100%41 ?#.db", os.fsdecode(b"\xff.db")):
                log = annal.FileOperationLog(name)
                log.create()
                log.add("/x", action=1)
                self.assertEqual(log.count(), 1)
                self.assertEqual(log.path, f"{LOGS}/{name}")
                self.assertTrue(pathlib.Path(log.path).is_file())
        finally:
            os.chdir(before)
        with self.assertRaisesRegex(TypeError, "path must be str, bytes or os.PathLike, not int"):
            annal.FileOperationLog(cast(Any, 5))


if __name__ == "__main__":
    unittest.main()
