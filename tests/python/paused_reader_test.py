"""A reader that pauses between two rows, for however long, keeps nobody from writing, and needs little memory."""

from __future__ import annotations

import concurrent.futures
import itertools
import os
import unittest
from collections.abc import Iterator

import annal
from support import CONNECTIONS, EVENTS, LOGS, NOTICES, ApplianceTest, can_be_written, elsewhere, numbered_events, sql, without_time

ROWS = 3500

# The first row of a page, one in its midst, its last one, and those of later pages.
PLACES = (1, 2, 1000, 1001, 2500, ROWS)


class PausedReader(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.events.create(limit=1000000)
        numbered_events(ROWS)

    def pauses(self, rows: Iterator[object], path: os.PathLike[str] = EVENTS) -> None:
        taken = 0
        for place in PLACES:
            taken += len(list(itertools.islice(rows, place - taken)))
            self.assertEqual(taken, place)
            self.assertTrue(can_be_written(path), f"locked behind row {place}")
        self.assertEqual(list(rows), [])

    def test_lists_by_id(self) -> None:
        self.pauses(annal.events.list())

    def test_lists_by_id_with_filters(self) -> None:
        self.pauses(annal.events.list(computer="localhost", message=annal.Contains("message"), descending=False))

    def test_lists_long_rows_of_which_few_fill_a_page(self) -> None:
        sql(EVENTS, "UPDATE ANNAL_EVENT SET event_desc = printf('%2000d', event_id)")
        self.pauses(annal.events.list())
        self.pauses(annal.events.list(order="user"))

    def test_lists_in_an_order_that_needs_sorting(self) -> None:
        self.pauses(annal.events.list(order="user"))

    def test_groups(self) -> None:
        self.pauses(annal.events.group("message"))

    def test_tails(self) -> None:
        self.pauses(annal.events.tail(lines=ROWS))

    def test_lists_the_other_logs(self) -> None:
        numbers = f"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {ROWS}) SELECT i FROM n"
        operations = annal.FileOperationLog(LOGS / "operations.db")
        annal.connections.create()
        annal.notices.create()
        operations.create()
        sql(CONNECTIONS, f"INSERT INTO ANNAL_CONN (conn_type) {numbers}")
        sql(NOTICES, f"INSERT INTO ANNAL_NOTICE (severity) {numbers}")
        sql(operations.path, f"INSERT INTO PAVO2LOG_EVENT (event_type) {numbers}")
        self.pauses(annal.connections.list(), CONNECTIONS)
        self.pauses(annal.notices.list(), NOTICES)
        self.pauses(operations.list(), LOGS / "operations.db")

    def test_a_dropped_iterator_and_one_that_failed_leave_nothing_locked(self) -> None:
        rows = annal.events.list(order="user")
        next(rows)
        del rows
        self.assertTrue(can_be_written(EVENTS))
        rows = annal.events.list()
        next(rows)
        rows.close()
        self.assertTrue(can_be_written(EVENTS))
        sql(EVENTS, "ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_id")
        with self.assertRaises(annal.QueryFailedError):
            next(annal.events.list())
        self.assertTrue(can_be_written(EVENTS))

    def test_waits_for_seconds_while_another_program_writes_at_once(self) -> None:
        rows = annal.events.list()
        next(rows)
        writer = """
            import time, annal
            begun, most, number = time.monotonic(), 0.0, 0
            while time.monotonic() - begun < 2:
                before = time.monotonic()
                annal.events.add(f"while the reader sleeps {number}")
                most = max(most, time.monotonic() - before)
                number += 1
            print(most, number)
            """
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            written = pool.submit(elsewhere, writer)
            longest, number = written.result().split()
        self.assertGreater(int(number), 10)
        # Behind a lock it would be twenty seconds, and nothing stored.
        self.assertLess(float(longest), 10)
        self.assertEqual(len(list(rows)), ROWS - 1)

    def test_writers_of_the_same_program_get_through_between_two_rows(self) -> None:
        for event in itertools.islice(annal.events.list(order="message"), 20):
            # Neither waits for a lock.
            annal.events.delete(id=event.id)
        self.assertEqual(annal.events.count(), ROWS - 20)


class PausedReaderOfLogsThatTakeLong(PausedReader):
    """The same, where no statement over the whole log ends in time."""

    def setUp(self) -> None:
        super().setUp()
        without_time(self)


class Memory(ApplianceTest):
    LIMIT = 40 * 1024  # KiB

    def peak(self, listing: str) -> int:
        return int(
            elsewhere(
                f"""
                import annal
                rows = 0
                for row in {listing}:
                    rows += 1
                assert rows == 60000, rows
                # What getrusage tells begins with this program's parent's.
                print(*(line.split()[1] for line in open("/proc/self/status") if line.startswith("VmHWM:")))
                """
            )
        )

    def test_does_not_grow_with_the_rows(self) -> None:
        annal.events.create(limit=1000000)
        numbered_events(60000)
        for listing in ("annal.events.list()", 'annal.events.list(order="user")', 'annal.events.group("message")'):
            with self.subTest(listing):
                self.assertLess(self.peak(listing), self.LIMIT)

    def test_does_not_grow_with_the_length_of_the_rows(self) -> None:
        annal.events.create(limit=1000000)
        numbered_events(60000)
        sql(EVENTS, "UPDATE ANNAL_EVENT SET event_desc = printf('%2000d', event_id)")
        self.assertLess(self.peak("annal.events.list()"), self.LIMIT)


if __name__ == "__main__":
    unittest.main()
