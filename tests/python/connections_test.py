"""The connection log: hostile names, batches, and logs that a batch would delete."""

from __future__ import annotations

import dataclasses
import unittest
from datetime import datetime, timedelta, timezone
from typing import Any, cast

import annal
from annal import ActionResult, Contains, Level, NewConnection, _records
from support import CONNECTIONS, ApplianceTest, elsewhere, sql

HOSTILE = "x'); DROP TABLE ANNAL_CONN; --"

BOUNDS = {
    "user": ("conn_user", 64),
    "computer": ("conn_comp", 64),
    "resource": ("conn_res", 1024),
    "app": ("conn_app", 256),
    "client_id": ("conn_client_id", 64),
    "client_app": ("conn_client_app", 128),
    "client_agent": ("conn_client_agent", 256),
}


class Adding(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.connections.create(limit=50000)

    def test_stores_every_field_as_it_is_given(self) -> None:
        texts = {name: f"{name} {HOSTILE}" for name in BOUNDS}
        before = datetime.now(timezone.utc).replace(microsecond=0)
        annal.connections.add(
            NewConnection(
                level=Level.WARNING, address="10.0.0.5", service=12, action=36, result=ActionResult.FAILED, **texts
            )
        )
        (row,) = annal.connections.list()
        self.assertTrue(before <= row.when <= datetime.now(timezone.utc))
        self.assertEqual(
            row,
            annal.Connection(
                id=1,
                level=Level.WARNING,
                when=row.when,
                service=12,
                action=36,
                result=ActionResult.FAILED,
                address="10.0.0.5",
                **texts,
            ),
        )

    def test_takes_texts_up_to_their_bounds_and_refuses_longer_ones(self) -> None:
        for name, (field, bound) in BOUNDS.items():
            with self.subTest(name):
                self.assertEqual(getattr(_records.ConnRecord, field).size - 1, bound)
                annal.connections.add(NewConnection(**cast(Any, {name: "x" * bound})))
                self.assertEqual(getattr(next(annal.connections.list()), name), "x" * bound)
                with self.assertRaisesRegex(ValueError, f"{name} is {bound + 1} bytes long: at most {bound} are"):
                    NewConnection(**cast(Any, {name: "x" * (bound + 1)}))

    def test_refuses_what_the_library_would_leave_out_or_replace(self) -> None:
        for arguments, error, message in (
            ({"service": 13}, ValueError, "service is 13: it must be from 0 to 12"),
            ({"action": 37}, ValueError, "action is 37: it must be from 0 to 36"),
            ({"action": -1}, ValueError, "action is -1"),
            ({"result": 1}, ValueError, "result is 1: it must be 0 .* or 13"),
            ({"level": 3}, ValueError, "level is 3"),
            ({"address": "nowhere"}, ValueError, "address is not an IPv4 or IPv6 address"),
            ({"user": None}, TypeError, "user must be str, not NoneType"),
            ({"service": "ssh"}, TypeError, "service must be int, not str"),
        ):
            with self.subTest(arguments), self.assertRaisesRegex(error, message):
                NewConnection(**cast(Any, arguments))
        with self.assertRaisesRegex(TypeError, "must be annal.NewConnection, not dict"):
            annal.connections.add(cast(Any, {"user": "admin"}))

    def test_stores_batches_of_any_length(self) -> None:
        self.assertEqual(annal.connections.add_many([]), 0)
        self.assertEqual(annal.connections.add_many(NewConnection(user=f"u{i}") for i in range(1201)), 1201)
        self.assertEqual(
            [row.user for row in annal.connections.list(descending=False)], [f"u{i}" for i in range(1201)]
        )

    def test_stores_what_a_batch_is_full_of_and_drops_the_rest_of_a_failed_block(self) -> None:
        with self.assertRaises(RuntimeError):
            with annal.connections.batch(size=2) as batch:
                for name in ("one", "two", "three"):
                    batch.add(NewConnection(user=name))
                self.assertEqual(batch.stored, 2)
                raise RuntimeError
        self.assertEqual([row.user for row in annal.connections.list()], ["two", "one"])
        with self.assertRaisesRegex(ValueError, "size is 0: it must be from 1 to 10000"):
            annal.connections.batch(size=0)

    def test_hands_each_connection_to_the_log_centre(self) -> None:
        calls = self.record("evsh")
        annal.connections.add(NewConnection(user=HOSTILE))
        self.assertTrue(any(f"user={HOSTILE}" in call for call in calls()), calls())


class UnsoundLogs(ApplianceTest):
    """A batch deletes what it cannot write to. It is never begun on such a log."""

    def refuses(self, message: str) -> None:
        before = CONNECTIONS.read_bytes() if CONNECTIONS.is_file() else None
        with self.assertRaisesRegex(annal.InsertFailedError, message) as caught:
            annal.connections.add(NewConnection(user="admin"))
        self.assertIn("nothing was changed", str(caught.exception))
        self.assertEqual(CONNECTIONS.read_bytes() if CONNECTIONS.is_file() else None, before)

    def test_refuses_a_log_that_is_missing(self) -> None:
        self.refuses("unable to open database file")
        self.assertFalse(CONNECTIONS.exists())

    def test_refuses_a_file_that_is_no_log(self) -> None:
        CONNECTIONS.write_text("notes that somebody has put here " * 100)
        self.refuses("file is not a database")

    def test_refuses_a_log_of_another_layout(self) -> None:
        sql(CONNECTIONS, "CREATE TABLE ANNAL_CONN (conn_id INTEGER PRIMARY KEY, conn_user TEXT)")
        sql(CONNECTIONS, "INSERT INTO ANNAL_CONN VALUES (1, 'precious')")
        self.refuses("has no column named")

    def test_refuses_a_log_that_refuses_rows(self) -> None:
        annal.connections.create()
        sql(CONNECTIONS, "CREATE TRIGGER no BEFORE INSERT ON ANNAL_CONN BEGIN SELECT RAISE(ABORT, 'not today'); END")
        self.refuses("not today")


class Reading(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.connections.create()
        annal.connections.add_many(
            NewConnection(
                user=f"user{i % 3}",
                address=f"10.0.0.{i % 5}",
                service=i % 13,
                action=i % 37,
                result=ActionResult.FAILED if i % 2 else ActionResult.SUCCEEDED,
                resource=f"/share/{i}",
            )
            for i in range(100)
        )

    def test_filters_by_numbers_and_texts(self) -> None:
        self.assertEqual(
            {row.resource for row in annal.connections.list(result=ActionResult.FAILED, user="user1", service=7)},
            {f"/share/{i}" for i in range(100) if i % 2 and i % 3 == 1 and i % 13 == 7},
        )
        self.assertEqual(annal.connections.count(action=36, resource=Contains("/share/")), 2)
        self.assertEqual(annal.connections.count(service=0), 8)

    def test_filters_by_the_local_time_of_the_log(self) -> None:
        times = "conn_date = '2026-03-01', conn_time = printf('10:00:%02d', conn_id % 50)"
        sql(CONNECTIONS, f"UPDATE ANNAL_CONN SET {times}")
        begin = datetime(2026, 3, 1, 10).astimezone()
        self.assertEqual(annal.connections.count(since=begin + timedelta(seconds=25)), 50)
        self.assertEqual(annal.connections.count(until=begin + timedelta(seconds=25)), 50)
        self.assertEqual(annal.connections.count(since=begin, until=begin + timedelta(seconds=1)), 2)
        # Bounds whose local time overflows, or has a year of less than four digits.
        for first in (datetime.min, datetime(999, 1, 1)):
            self.assertEqual(annal.connections.count(since=first.replace(tzinfo=timezone.utc)), 100)
        self.assertEqual(annal.connections.count(until=datetime.max.replace(tzinfo=timezone.utc)), 100)

    def test_sorts_and_groups(self) -> None:
        groups = list(annal.connections.group("address", result=ActionResult.FAILED, largest_first=True, limit=2))
        found = [(group.count, group.newest.address) for group in groups]
        self.assertEqual(found, [(10, "10.0.0.0"), (10, "10.0.0.1")])
        services = [row.service for row in annal.connections.list(order="service")]
        self.assertEqual(services, sorted(services))

    def test_reads_what_other_programs_have_stored(self) -> None:
        sql(CONNECTIONS, "DELETE FROM ANNAL_CONN")
        sql(CONNECTIONS, "INSERT INTO ANNAL_CONN (conn_user, conn_action_result, conn_date) VALUES (x'ff', 5, 'x')")
        (row,) = annal.connections.list()
        self.assertEqual((row.user, row.result.name, row.resource), ("\udcff", "UNKNOWN_5", ""))
        self.assertEqual(row.when.timestamp(), 0)
        self.assertEqual(row, dataclasses.replace(row))


class Maintaining(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.connections.create()
        annal.connections.add_many(NewConnection(user=f"u{i}", service=i) for i in range(5))

    def test_deletes_by_fields_and_by_age(self) -> None:
        annal.connections.add(NewConnection(user="it's '", resource="a'b", app="x'y"))
        for arguments in ({"user": "it's '"}, {"service": 4}, {"id": 1}):
            annal.connections.delete(**cast(Any, arguments))
        self.assertEqual([row.user for row in annal.connections.list()], ["u3", "u2", "u1"])
        annal.connections.delete_oldest(1)
        self.assertEqual(annal.connections.count(), 2)
        annal.connections.delete_oldest(0)
        self.assertEqual(annal.connections.count(), 2)
        with self.assertRaises(ValueError):
            annal.connections.delete_oldest(-1)

    def test_fails_at_once_when_the_log_is_locked(self) -> None:
        program = f"""
        import sqlite3, sys
        log = sqlite3.connect("{CONNECTIONS}", isolation_level=None)
        log.execute("BEGIN IMMEDIATE")
        import annal
        try:
            annal.connections.delete(id=1)
        except annal.ChangeFailedError as error:
            print(error.code.name)
        """
        self.assertEqual(elsewhere(program), "CHANGE_FAILED\n")

    def test_migrates_limits_and_clears(self) -> None:
        sql(CONNECTIONS, "ALTER TABLE ANNAL_CONN DROP COLUMN conn_client_agent")
        annal.connections.migrate()
        self.assertEqual(annal.connections.columns()[-1], "conn_client_agent")
        annal.connections.remove_limit()
        annal.connections.add_limit(limit=2, drop_at_once=1)
        annal.connections.add_many(NewConnection() for _ in range(6))
        self.assertLessEqual(annal.connections.count(), 5)
        annal.connections.clear()
        self.assertEqual(annal.connections.count(), 0)
        annal.connections.add_column("rack")
        annal.connections.drop()
        self.assertFalse(annal.connections.exists())


if __name__ == "__main__":
    unittest.main()
