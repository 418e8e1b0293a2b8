"""The tail of a log: the newest entries, then each new one, once."""

from __future__ import annotations

import os
import threading
import time
import unittest
from typing import Any, cast

import annal
from annal import Level
from support import EVENTS, ApplianceTest, can_be_written, elsewhere, numbered_events, sql

SOON = 30.0


class Following(threading.Thread):
    """Follows the log in another thread, and keeps the messages."""

    def __init__(self, **arguments: Any) -> None:
        super().__init__()
        self.stop = threading.Event()
        self.messages: list[str] = []
        self.failure: Exception | None = None
        self._news = threading.Condition()
        self._arguments = {"lines": 0, "interval": 0.02, **arguments}

    def run(self) -> None:
        try:
            for event in annal.events.tail(follow=True, stop=self.stop, **cast(Any, self._arguments)):
                with self._news:
                    self.messages.append(event.message)
                    self._news.notify()
        except Exception as error:
            self.failure = error

    def has(self, *messages: str) -> bool:
        with self._news:
            return self._news.wait_for(lambda: self.messages == [*messages] or self.failure is not None, SOON)

    def __enter__(self) -> Following:
        self.start()
        time.sleep(0.2)
        return self

    def __exit__(self, *_: object) -> None:
        self.stop.set()
        self.join(SOON)
        assert not self.is_alive()


def store(*messages: str) -> None:
    for message in messages:
        sql(
            EVENTS,
            "INSERT INTO ANNAL_EVENT (event_type, event_timet, event_user, event_desc) "
            "VALUES (0, 1700000000, 'admin', ?)",
            message,
        )


class Tail(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.events.create()

    def check(self, following: Following, *messages: str) -> None:
        self.assertTrue(following.has(*messages), (following.messages, following.failure))
        self.assertIsNone(following.failure)

    def test_shows_the_newest_in_the_order_in_which_they_were_stored(self) -> None:
        numbered_events(2500)

        def messages(**arguments: Any) -> list[str]:
            return [event.message for event in annal.events.tail(**arguments)]

        self.assertEqual(messages(), [f"message {i}" for i in range(2491, 2501)])
        self.assertEqual(messages(lines=2100), [f"message {i}" for i in range(401, 2501)])
        self.assertEqual(messages(lines=0), [])
        self.assertEqual(messages(lines=2, level=Level.ERROR, user="user2"), ["message 2459", "message 2480"])

    def test_shows_each_new_entry_once(self) -> None:
        store("before")
        with Following(lines=1) as following:
            self.check(following, "before")
            store("one", "two")
            self.check(following, "before", "one", "two")
            annal.events.add("three")
            self.check(following, "before", "one", "two", "three")

    def test_shows_only_what_passes_the_filters(self) -> None:
        with Following(user="admin") as following:
            annal.events.add("of another", user="other")
            store("of admin")
            self.check(following, "of admin")

    def test_shows_more_than_a_page(self) -> None:
        with Following() as following:
            numbered_events(2500)
            self.check(following, *(f"message {i}" for i in range(1, 2501)))

    def test_goes_on_after_the_log_was_emptied_and_trimmed(self) -> None:
        store("old")
        with Following() as following:
            annal.events.clear()
            store("one")
            self.check(following, "one")
            annal.events.trim(1)
            store("two")
            self.check(following, "one", "two")

    def test_shows_a_log_that_was_made_anew_from_its_first_entry_on(self) -> None:
        store("old", "older")
        with Following() as following:
            annal.events.drop()
            annal.events.create()
            store("one", "two", "three")
            self.check(following, "one", "two", "three")

    def test_waits_for_a_log_that_was_removed(self) -> None:
        store("old")
        with Following() as following:
            EVENTS.unlink()
            time.sleep(0.1)
            annal.events.create()
            time.sleep(0.1)
            store("one")
            self.check(following, "one")

    def test_goes_on_in_a_copy_that_took_the_logs_place(self) -> None:
        store("old")
        with Following() as following:
            store("one")
            self.check(following, "one")
            sql(EVENTS, "VACUUM INTO '/etc/logs/copy'")
            os.rename("/etc/logs/copy", EVENTS)
            store("two")
            self.check(following, "one", "two")

    def test_waits_while_the_log_is_locked(self) -> None:
        with Following() as following:
            elsewhere(
                f"""
                import sqlite3, time
                log = sqlite3.connect("{EVENTS}", isolation_level=None)
                log.execute("BEGIN EXCLUSIVE")
                log.execute("INSERT INTO ANNAL_EVENT (event_desc) VALUES ('one')")
                time.sleep(0.5)
                log.execute("COMMIT")
                """
            )
            self.check(following, "one")

    def test_keeps_no_lock_while_it_waits(self) -> None:
        with Following(interval=600):
            self.assertTrue(can_be_written(EVENTS))

    def test_says_when_a_followed_log_turns_out_to_be_none(self) -> None:
        with Following() as following:
            EVENTS.write_bytes(b"no database " * 1000)
            following.join(SOON)
            self.assertIsInstance(following.failure, annal.QueryFailedError)

    def test_stops_among_the_rows_to_start_with(self) -> None:
        store("a", "b", "c")
        stop = threading.Event()
        seen = []
        for event in annal.events.tail(follow=True, stop=stop):
            seen.append(event.message)
            stop.set()
        self.assertEqual(seen, ["a"])

    def test_says_that_there_is_no_log_to_begin_with(self) -> None:
        EVENTS.unlink()
        with self.assertRaises(annal.OpenFailedError):
            next(annal.events.tail(follow=True))

    def test_refuses_wrong_arguments(self) -> None:
        for arguments, error in (
            ({"lines": -1}, ValueError),
            ({"lines": "10"}, TypeError),
            ({"interval": 0}, ValueError),
            ({"interval": 1e6}, ValueError),
            ({"stop": True}, TypeError),
        ):
            with self.subTest(arguments), self.assertRaises(error):
                annal.events.tail(follow=True, **cast(Any, arguments))


if __name__ == "__main__":
    unittest.main()
