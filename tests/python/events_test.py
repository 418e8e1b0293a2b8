"""The event log: adding, reading, deleting, maintenance."""

from __future__ import annotations

import dataclasses
import itertools
import operator
import os
import time
import unittest
from collections.abc import Callable
from datetime import date, datetime, timedelta, timezone
from typing import Any, cast

import annal
from annal import Contains, Level, _records
from support import EVENTS, ApplianceTest, numbered_events, sql, without_time

UTC = timezone.utc

BOUNDS = {
    "user": ("event_user", 64),
    "computer": ("event_comp", 64),
    "message": ("event_desc", 2048),
    "message_id": ("event_msgid", 64),
    "app_id": ("event_app_id", 64),
    "app": ("event_app_name", 128),
    "category_id": ("event_category_id", 64),
    "category": ("event_category", 128),
    "client_id": ("event_client_id", 64),
    "client_app": ("event_client_app", 128),
    "client_agent": ("event_client_agent", 255),
}


def add(**texts: Any) -> None:
    texts.setdefault("message", "a message")
    annal.events.add(**texts)


class Adding(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.events.create()

    def test_stores_every_field_as_it_is_given(self) -> None:
        when = datetime(2026, 11, 22, 5, 57, 1, tzinfo=UTC)
        texts = {name: f"the {name}" for name in BOUNDS}
        annal.events.add(level=Level.ERROR, when=when, address="2001:db8::1", **texts)
        (event,) = annal.events.list()
        self.assertEqual(event, annal.Event(id=1, level=Level.ERROR, when=when, address="2001:db8::1", **texts))

    def test_takes_texts_up_to_their_bounds_and_refuses_longer_ones(self) -> None:
        for name, (field, bound) in BOUNDS.items():
            with self.subTest(name):
                self.assertEqual(getattr(_records.EventRecord, field).size - 1, bound)
                text = "é" * (bound // 2) + "x" * (bound % 2)
                add(**{name: text})
                self.assertEqual(getattr(next(annal.events.list()), name), text)
                stored = annal.events.count()
                with self.assertRaisesRegex(ValueError, f"{name} is {bound + 1} bytes long: at most {bound} are"):
                    add(**{name: text + "y"})
                self.assertEqual(annal.events.count(), stored)

    def test_brings_back_bytes_that_are_no_utf_8(self) -> None:
        text = os.fsdecode(b"caf\xe9 \xff\xfe 'quoted' \xe2\x82")
        add(message=text, user=text)
        annal.events.add("another")
        (event,) = annal.events.list(user=text)
        self.assertEqual((event.message, event.user), (text, text))
        self.assertEqual(annal.events.count(message=Contains(os.fsdecode(b"\xff\xfe"))), 1)
        self.assertEqual(sql(EVENTS, "SELECT event_desc FROM ANNAL_EVENT WHERE event_id = 1"), [(os.fsencode(text),)])

    def test_stamps_an_event_with_the_time_given_or_now(self) -> None:
        before = datetime.now(UTC).replace(microsecond=0)
        add()
        add(when=datetime(2001, 9, 9, 3, 46, 40, 999999, tzinfo=timezone(timedelta(hours=2))))
        given, now = annal.events.list()
        self.assertEqual(given.when, datetime.fromtimestamp(1000000000, UTC))
        self.assertTrue(before <= now.when <= datetime.now(UTC))
        self.assertIsNotNone(now.when.utcoffset())

    def test_refuses_times_that_cannot_be_stored(self) -> None:
        with self.assertRaisesRegex(ValueError, "when has no time zone"):
            add(when=datetime(2026, 1, 1))
        for moment in (datetime(1970, 1, 1, tzinfo=UTC), datetime(2038, 1, 19, 3, 14, 8, tzinfo=UTC)):
            with self.assertRaisesRegex(ValueError, "must be from 1 to 2147483647"):
                add(when=moment)
        with self.assertRaisesRegex(TypeError, "when must be datetime.datetime, not date"):
            add(when=date(2026, 1, 1))
        self.assertEqual(annal.events.count(), 0)

    def test_refuses_what_is_no_address(self) -> None:
        for address in ("10.0.0.256", "here", "::1::", "10.0.0.1 "):
            with self.assertRaisesRegex(ValueError, "address is not an IPv4 or IPv6 address"):
                add(address=address)
        add(address="::ffff:10.0.0.5")
        self.assertEqual(next(annal.events.list()).address, "10.0.0.5")

    def test_refuses_wrong_types_and_impossible_values(self) -> None:
        for arguments, error, message in (
            ({"user": 5}, TypeError, "user must be str, not int"),
            ({"message": b"bytes"}, TypeError, "message must be str, not bytes"),
            ({"message": None}, TypeError, "message must be str, not NoneType"),
            ({"user": "a\0b"}, ValueError, "user holds a zero character"),
            ({"user": "\ud800"}, ValueError, "user holds a surrogate that encodes no byte"),
            ({"level": 3}, ValueError, "level is 3: it must be from 0 to 2"),
            ({"level": "error"}, TypeError, "level must be int, not str"),
        ):
            with self.subTest(arguments), self.assertRaisesRegex(error, message):
                add(**cast(Any, arguments))
        self.assertEqual(annal.events.count(), 0)

    def test_hands_an_event_to_the_other_consumers(self) -> None:
        calls = self.record("evsh")
        add(message="Fan 2 failed.", level=Level.ERROR)
        self.assertTrue(any("lumo.add_local_event_log" in call or "nc.send_message" in call for call in calls()))

    def test_says_that_there_is_no_log(self) -> None:
        annal.events.drop()
        with self.assertRaises(annal.InsertFailedError) as caught:
            add()
        self.assertEqual(caught.exception.code, annal.ResultCode.INSERT_FAILED)
        self.assertEqual(caught.exception.function, "annal_event_add_msgid_ex3")
        self.assertEqual(
            str(caught.exception),
            "annal_event_add_msgid_ex3: storing a new entry failed [ANNAL_INSERT_FAILED, -23]",
        )


class Reading(ApplianceTest):
    ROWS = 5000

    def setUp(self) -> None:
        super().setUp()
        annal.events.create(limit=100000)
        numbered_events(self.ROWS)

    def messages(self, **arguments: Any) -> list[int]:
        return [int(event.message.split()[1]) for event in annal.events.list(**arguments)]

    def test_lists_all_events_the_newest_first(self) -> None:
        self.assertEqual(self.messages(), list(range(self.ROWS, 0, -1)))
        self.assertEqual(self.messages(descending=False), list(range(1, self.ROWS + 1)))

    def test_lists_long_rows_of_which_few_fill_a_page(self) -> None:
        sql(EVENTS, "UPDATE ANNAL_EVENT SET event_desc = printf('message %d %2000d', event_id, 0)")
        expected = list(range(self.ROWS, 0, -1))
        self.assertEqual(self.messages(), expected)
        self.assertEqual(self.messages(computer="localhost"), expected)
        self.assertEqual(self.messages(order="when"), expected)

    def test_delivers_rows_that_are_frozen_and_have_no_room_for_more(self) -> None:
        event = next(annal.events.list())
        self.assertIs(type(event), annal.Event)
        with self.assertRaises(dataclasses.FrozenInstanceError):
            event.message = "other"  # type: ignore[misc]
        self.assertFalse(hasattr(event, "__dict__"))
        self.assertEqual(event, dataclasses.replace(event))
        self.assertEqual(hash(event), hash(dataclasses.replace(event)))

    def test_filters_by_level_user_and_time(self) -> None:
        begin = datetime.fromtimestamp(1700000000, UTC)
        expected = [i for i in range(self.ROWS, 0, -1) if i % 21 == 4 and 1012 < i < 3007]
        found = self.messages(
            level=Level.WARNING,
            user="user4",
            since=begin + timedelta(seconds=1012, microseconds=1),
            until=(begin + timedelta(seconds=3007)).astimezone(timezone(timedelta(hours=-5))),
        )
        self.assertEqual(found, expected)

    def test_a_text_is_the_whole_one_unless_it_is_to_be_contained(self) -> None:
        self.assertEqual(self.messages(message="message 77"), [77])
        self.assertEqual(self.messages(message="message"), [])
        self.assertEqual(len(self.messages(message=Contains("MESSAGE 77"))), 1 + 10)
        self.assertEqual(self.messages(message=Contains("%")), [])
        self.assertEqual(self.messages(message=Contains("_")), [])
        annal.events.add("100 % of a_b\\c '--")
        for part in ("% o", "a_b", "b\\c", "'--"):
            self.assertEqual(annal.events.count(message=Contains(part)), 1, part)

    def test_refuses_texts_that_cannot_be_looked_for(self) -> None:
        with self.assertRaisesRegex(ValueError, "from 1 to 49990 bytes, not 0"):
            Contains("")
        with self.assertRaisesRegex(ValueError, "from 1 to 49990 bytes, not 50000"):
            Contains("x" * 50000)
        with self.assertRaisesRegex(TypeError, "user must be str, not int"):
            annal.events.list(user=5)  # type: ignore[arg-type]

    def test_counts_as_it_lists(self) -> None:
        self.assertEqual(annal.events.count(), self.ROWS)
        several: list[dict[str, Any]] = [{"level": Level.ERROR}, {"user": "user3"}, {"message": Contains("99")}]
        for filters in several:
            with self.subTest(filters):
                self.assertEqual(annal.events.count(**filters), len(self.messages(**filters)))

    def test_pages_by_limit_and_offset(self) -> None:
        everything = self.messages()
        for limit, offset in ((0, 0), (1, 0), (20, 10), (1500, 900), (None, 4990), (5, 4998), (10, 6000)):
            with self.subTest(limit=limit, offset=offset):
                expected = everything[offset:][:limit]
                self.assertEqual(self.messages(limit=limit, offset=offset), expected)
                # In an order that ids do not give.
                self.assertEqual(self.messages(limit=limit, offset=offset, order="when"), expected)

    def test_sorts_by_any_field_with_equal_rows_by_their_ids(self) -> None:
        rows = list(annal.events.list(descending=False))
        for field in ("user", "level", "message", "when", "app"):
            with self.subTest(field):
                rising = sorted(rows, key=operator.attrgetter(field))
                found = list(annal.events.list(order=cast(Any, field), descending=False))
                self.assertEqual([event.id for event in found], [event.id for event in rising])
                found = list(annal.events.list(order=cast(Any, field), descending=True))
                self.assertEqual([event.id for event in found], [event.id for event in reversed(rising)])

    def test_groups_with_sizes_and_newest_events(self) -> None:
        groups = list(annal.events.group("user"))
        self.assertEqual([group.newest.user for group in groups], [f"user{i}" for i in range(7)])
        for group in groups:
            rows = list(annal.events.list(user=group.newest.user))
            self.assertEqual((group.count, group.newest), (len(rows), rows[0]))
        both = list(annal.events.group("level", "user", largest_first=True))
        self.assertEqual(len(both), 21)
        sizes = [group.count for group in both]
        self.assertEqual((sizes, sum(sizes)), (sorted(sizes, reverse=True), self.ROWS))

    def test_takes_the_first_and_the_last_time_of_all_as_bounds(self) -> None:
        first, last = datetime.min.replace(tzinfo=timezone.utc), datetime.max.replace(tzinfo=timezone.utc)
        self.assertEqual(annal.events.count(since=first, until=last), self.ROWS)
        self.assertEqual((annal.events.count(until=first), annal.events.count(since=last)), (0, 0))

    def test_groups_that_are_more_than_a_page(self) -> None:
        groups = list(annal.events.group("message", level=Level.ERROR))
        self.assertEqual(
            sorted(int(group.newest.message.split()[1]) for group in groups),
            [i for i in range(1, self.ROWS + 1) if i % 3 == 2],
        )
        self.assertEqual({group.count for group in groups}, {1})
        texts = [group.newest.message for group in groups]
        self.assertEqual(texts, sorted(texts))
        part = annal.events.group("message", level=Level.ERROR, limit=30, offset=1200)
        self.assertEqual(list(part), groups[1200:1230])

    def test_refuses_fields_and_pages_that_are_none(self) -> None:
        calls: list[tuple[Callable[[], object], type[Exception]]] = [
            (lambda: annal.events.list(order=cast(Any, "colour")), ValueError),
            (lambda: annal.events.group(cast(Any, "colour")), ValueError),
            (lambda: annal.events.group(), TypeError),
            (lambda: annal.events.list(**cast(Any, {"colour": "red"})), TypeError),
            (lambda: annal.events.count(**cast(Any, {"limit": 5})), TypeError),
            (lambda: annal.events.list(limit=-1), ValueError),
            (lambda: annal.events.list(offset=-1), ValueError),
            (lambda: annal.events.list(limit=2**63), ValueError),
            (lambda: annal.events.list(order="user", offset=2**63), ValueError),
            (lambda: annal.events.group("user", offset=2**63), ValueError),
            (lambda: annal.events.list(limit=cast(Any, "10")), TypeError),
            (lambda: annal.events.list(since=datetime(2026, 1, 1)), ValueError),
            (lambda: annal.events.list(level=cast(Any, "error")), TypeError),
        ]
        for call, error in calls:
            with self.assertRaises(error):
                call()

    def test_closes_its_connection_at_the_end_of_a_with_block(self) -> None:
        def open_files() -> int:
            return sum(os.path.realpath(f"/proc/self/fd/{fd}") == str(EVENTS) for fd in os.listdir("/proc/self/fd"))

        with annal.events.list() as rows:
            next(rows)
            self.assertEqual(open_files(), 1)
        self.assertEqual(open_files(), 0)
        self.assertEqual(list(rows), [])
        next(annal.events.list())
        self.assertEqual(open_files(), 0)

    def test_says_when_there_is_no_log_or_none_that_can_be_read(self) -> None:
        annal.events.drop()
        with self.assertRaisesRegex(annal.QueryFailedError, "events.list: .*no such table: .*ANNAL_EVENT"):
            next(annal.events.list())
        EVENTS.write_bytes(b"no database, but long enough to be looked at " * 40)
        with self.assertRaisesRegex(annal.QueryFailedError, "file is not a database"):
            annal.events.count()
        EVENTS.unlink()
        with self.assertRaisesRegex(annal.OpenFailedError, "events.list: the log's file could not be opened"):
            next(annal.events.list())
        self.assertFalse(EVENTS.exists())

    def test_reads_rows_of_other_programs_whatever_they_hold(self) -> None:
        sql(EVENTS, "DELETE FROM ANNAL_EVENT")
        sql(
            EVENTS,
            "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_timet, event_user, event_desc) VALUES "
            "(7, '2024-02-29', '12:00:00', 0, NULL, x'66ff67'), ('none', 'never', NULL, 'x', 5, NULL), "
            "(1, '2040-01-01', '10:00:00', -2085978496, 'a', 'b')",
        )
        later, odd, old = annal.events.list()
        self.assertEqual((old.level, old.level.name, old.user, old.message), (7, "UNKNOWN_7", "", "f\udcffg"))
        self.assertEqual(old.when, datetime(2024, 2, 29, 12).astimezone())
        self.assertEqual((odd.level, odd.user, odd.message), (Level.INFORMATION, "5", ""))
        self.assertEqual(odd.when, datetime(1970, 1, 1, tzinfo=UTC))
        self.assertEqual(later.when, datetime(2040, 1, 1, 10).astimezone())
        since = datetime(2040, 1, 1, 10).astimezone()
        self.assertEqual(list(annal.events.list(since=since)), [later])

    def test_lists_each_event_once_while_others_come_and_go(self) -> None:
        for order in ("id", "user"):
            with self.subTest(order):
                sql(EVENTS, "DELETE FROM ANNAL_EVENT")
                numbered_events(self.ROWS)
                first = cast(int, sql(EVENTS, "SELECT min(event_id) FROM ANNAL_EVENT")[0][0])
                rows = annal.events.list(order=cast(Any, order), descending=False)
                seen = [event.id for event in itertools.islice(rows, 1500)]
                gone = set(range(first + 3000, first + 3500))
                sql(EVENTS, "DELETE FROM ANNAL_EVENT WHERE event_id >= ? AND event_id < ?", first + 3000, first + 3500)
                numbered_events(10)
                seen += [event.id for event in rows]
                self.assertEqual(len(seen), len(set(seen)))
                there = set(range(first, first + self.ROWS))
                self.assertEqual(there - gone - set(seen), set())
                self.assertEqual(set(seen) - there, set())

    def test_says_when_the_log_was_made_anew_meanwhile(self) -> None:
        rows = annal.events.list()
        next(rows)
        annal.events.drop()
        annal.events.create()
        annal.events.add("the only one")
        with self.assertRaisesRegex(annal.QueryFailedError, "recreated while it was read"):
            list(rows)

    def test_times_follow_the_zone_of_the_process(self) -> None:
        zone = os.environ.get("TZ")
        try:
            for name, hours in (("Asia/Tokyo", 9), ("UTC", 0)):
                os.environ["TZ"] = name
                time.tzset()
                event = next(annal.events.list())
                self.assertEqual(event.when.utcoffset(), timedelta(hours=hours))
                self.assertEqual(event.when.timestamp(), 1700000000 + self.ROWS)
        finally:
            os.environ.pop("TZ") if zone is None else os.environ.update(TZ=zone)
            time.tzset()


class ReadingLogsThatTakeLong(Reading):
    """The same, where no statement over the whole log ends in time."""

    def setUp(self) -> None:
        super().setUp()
        without_time(self)


class Deleting(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.events.create()

    def test_deletes_by_each_field_and_leaves_the_others(self) -> None:
        when = datetime(2020, 2, 3, 4, 5, 6).astimezone()
        doomed = {name: f"it's the '{name}' --" for name in ("user", "computer", "message", "message_id")}
        for name, value in [
            *doomed.items(),
            ("level", Level.ERROR),
            ("address", "10.9.8.7"),
            ("date", when.date()),
            ("time", when.time()),
        ]:
            with self.subTest(name):
                annal.events.clear()
                add(message="stays")
                add(**doomed, level=Level.ERROR, address="10.9.8.7", when=when)
                annal.events.delete(**cast(Any, {name: value}))
                self.assertEqual([event.message for event in annal.events.list()], ["stays"])
        (event,) = annal.events.list()
        annal.events.delete(id=event.id)
        self.assertEqual(annal.events.count(), 0)
        annal.events.delete(id=4711)

    def test_needs_exactly_one_field(self) -> None:
        for arguments in ({}, {"id": 1, "user": "admin"}):
            with self.assertRaisesRegex(TypeError, "exactly one of id, level, date"):
                annal.events.delete(**cast(Any, arguments))
        with self.assertRaisesRegex(ValueError, "id is 4294967297"):
            annal.events.delete(id=2**32 + 1)
        with self.assertRaisesRegex(TypeError, "date must be datetime.date, not str"):
            annal.events.delete(date=cast(Any, "2026-01-01"))
        with self.assertRaisesRegex(TypeError, "time must be datetime.time, not str"):
            annal.events.delete(time=cast(Any, "10:00:00"))


class Maintaining(ApplianceTest):
    def test_creates_a_log_once(self) -> None:
        self.assertFalse(annal.events.exists())
        annal.events.create(limit=3, drop_at_once=2)
        self.assertTrue(annal.events.exists())
        with self.assertRaises(annal.TableFailedError):
            annal.events.create()
        annal.events.create(exist_ok=True)
        for i in range(4):
            add(message=f"{i}", when=datetime.fromtimestamp(1700000000 + i, UTC))
        self.assertEqual([event.message for event in annal.events.list()], ["3", "2"])

    def test_does_not_take_another_failure_for_a_log_that_exists(self) -> None:
        EVENTS.mkdir()
        with self.assertRaises((annal.QueryFailedError, annal.OpenFailedError)):
            annal.events.create(exist_ok=True)

    def test_changes_the_limit(self) -> None:
        annal.events.create(limit=3)
        with self.assertRaises(annal.TriggerFailedError):
            annal.events.add_limit(limit=5)
        annal.events.remove_limit()
        annal.events.add_limit(limit=5)
        for i in range(9):
            add(message=f"{i}")
        self.assertEqual(annal.events.count(), 5)

    def test_trims_clears_and_drops(self) -> None:
        annal.events.create()
        for i in range(5):
            add(message=f"{i}", when=datetime.fromtimestamp(1700000000 + i, UTC))
        annal.events.trim(2)
        self.assertEqual([event.message for event in annal.events.list()], ["4", "3"])
        with self.assertRaises(ValueError):
            annal.events.trim(0)
        annal.events.clear()
        self.assertEqual(annal.events.count(), 0)
        annal.events.drop()
        self.assertFalse(annal.events.exists())
        with self.assertRaises(annal.EmptyFailedError):
            annal.events.clear()
        with self.assertRaises(annal.TableFailedError):
            annal.events.drop()

    def test_migrates_a_log_of_an_earlier_release(self) -> None:
        sql(
            EVENTS,
            "CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY AUTOINCREMENT, event_type INTEGER, "
            "event_date TEXT, event_time TEXT, event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT)",
        )
        sql(EVENTS, "INSERT INTO ANNAL_EVENT VALUES (5, 2, '2019-05-06', '07:08:09', 'admin', '---', 'host', 'old')")
        with self.assertRaisesRegex(annal.QueryFailedError, "no such column"):
            annal.events.count(app="Storage")
        annal.events.migrate()
        annal.events.migrate()
        (event,) = annal.events.list()
        self.assertEqual((event.id, event.message, event.app, event.message_id), (5, "old", "---", "0"))
        self.assertEqual(event.when, datetime(2019, 5, 6, 7, 8, 9).astimezone())
        sql(EVENTS, "ALTER TABLE ANNAL_EVENT RENAME COLUMN event_user TO other")
        with self.assertRaises(annal.ChangeFailedError):
            annal.events.migrate()

    def test_adds_columns(self) -> None:
        annal.events.create()
        annal.events.add_column("site", default="it's here")
        annal.events.add_column("rack", annal.ColumnKind.INTEGER, "5")
        self.assertEqual(annal.events.columns()[-2:], ("site", "rack"))
        add()
        self.assertEqual(sql(EVENTS, "SELECT site, rack FROM ANNAL_EVENT"), [(b"it's here", 5)])
        with self.assertRaises(annal.ChangeFailedError):
            annal.events.add_column("site")
        with self.assertRaisesRegex(ValueError, "letters, digits and underscores"):
            annal.events.add_column("x TEXT; DROP TABLE ANNAL_EVENT; --")
        with self.assertRaises(ValueError):
            annal.events.add_column("kind", cast(Any, 5))

    def test_refuses_limits_that_are_none(self) -> None:
        with self.assertRaisesRegex(ValueError, "limit is -1"):
            annal.events.create(limit=-1)
        with self.assertRaisesRegex(ValueError, "drop_at_once is 4, and limit 3"):
            annal.events.create(limit=3, drop_at_once=4)
        with self.assertRaisesRegex(TypeError, "drop_at_once must be int"):
            annal.events.create(drop_at_once=cast(Any, "1"))
        self.assertFalse(EVENTS.exists())


if __name__ == "__main__":
    unittest.main()
