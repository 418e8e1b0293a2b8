"""The notice list and the notification command."""

from __future__ import annotations

import os
import unittest
from datetime import datetime, timedelta, timezone
from typing import Any, cast

import annal
from annal import Contains, Severity, _records
from support import NOTICES, ApplianceTest, sql

BOUNDS = {
    "description": ("desc", 2048),
    "service": ("serviceName", 1024),
    "user": ("user", 64),
    "client": ("client", 64),
    "message_code": ("msgCode", 64),
    "variables": ("varContent", 2048),
    "name": ("name", 128),
    "title": ("title", 256),
    "link_id": ("link_id", 256),
    "link_option": ("link_option", 1024),
}
NUMBERS = {"variable_count": 3, "server": 4, "action": 5, "facility": 7, "status": 8, "uid": 1000, "gid": 1001}


def add(**arguments: Any) -> None:
    arguments.setdefault("description", "a notice")
    annal.notices.add(**arguments)


class Adding(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.notices.create()

    def test_stores_every_field_as_it_is_given(self) -> None:
        texts = {name: f"it's the {name}" for name in BOUNDS}
        add(severity=Severity.CRITICAL, address="::1", **texts, **NUMBERS)
        (notice,) = annal.notices.list()
        self.assertLess(abs((datetime.now(timezone.utc) - notice.when).total_seconds()), 60)
        self.assertEqual(
            notice,
            annal.Notice(
                id=1,
                severity=Severity.CRITICAL,
                when=notice.when,
                end=notice.when,
                address="::1",
                **cast(Any, {**texts, **NUMBERS}),
            ),
        )

    def test_takes_texts_up_to_their_bounds_and_refuses_longer_ones(self) -> None:
        for name, (field, bound) in BOUNDS.items():
            with self.subTest(name):
                self.assertEqual(getattr(_records.NoticeRecord, field).size - 1, bound)
                add(**{name: "x" * bound})
                self.assertEqual(getattr(next(annal.notices.list()), name), "x" * bound)
                with self.assertRaisesRegex(ValueError, f"{name} is {bound + 1} bytes long: at most {bound} are"):
                    add(**{name: "x" * (bound + 1)})

    def test_refuses_wrong_types_and_impossible_values(self) -> None:
        for arguments, error, message in (
            ({"severity": 8}, ValueError, "severity is 8: it must be from 0 to 7"),
            ({"severity": -1}, ValueError, "severity is -1"),
            ({"facility": 2**31}, ValueError, "facility is 2147483648"),
            ({"address": "here"}, ValueError, "address is no"),
            ({"title": 5}, TypeError, "title must be str, not int"),
            ({"uid": 1.5}, TypeError, "uid must be int, not float"),
        ):
            with self.subTest(arguments), self.assertRaisesRegex(error, message):
                add(**cast(Any, arguments))
        self.assertEqual(annal.notices.count(), 0)


class ReadingAndDeleting(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.notices.create()

    def test_filters_sorts_and_groups(self) -> None:
        for i in range(12):
            add(description=f"notice {i}", severity=Severity(i % 4), facility=i % 3, user=f"u{i % 2}")
        self.assertEqual([n.description for n in annal.notices.list(severity=Severity.ERROR, user="u1")],
                         ["notice 11", "notice 7", "notice 3"])
        self.assertEqual(annal.notices.count(facility=2, description=Contains("notice 1")), 1)
        self.assertEqual([n.facility for n in annal.notices.list(order="facility", limit=5)], [0, 0, 0, 0, 1])
        self.assertEqual([(g.count, g.newest.severity) for g in annal.notices.group("severity")],
                         [(3, Severity(i)) for i in range(4)])
        now = datetime.now(timezone.utc)
        day = timedelta(days=1)
        self.assertEqual(annal.notices.count(since=now - day, until=now + day), 12)
        self.assertEqual(annal.notices.count(until=now - day), 0)

    def test_deletes_by_each_field_and_leaves_the_others(self) -> None:
        moment = datetime(2020, 2, 3, 4, 5, 6, tzinfo=timezone.utc)
        doomed: dict[str, Any] = {name: f"it's \\ \"{name}\" é" for name in BOUNDS if name != "client"}
        doomed |= {"severity": Severity.ALERT, "address": "10.9.8.7", **NUMBERS}
        doomed["title"] = "x'é" * 60
        for name, value in [*doomed.items(), ("when", moment), ("end", moment)]:
            with self.subTest(name):
                annal.notices.clear()
                add()
                add(**doomed)
                times = f"time = {moment.timestamp():.0f}, endtime = {moment.timestamp():.0f}"
                sql(NOTICES, f"UPDATE ANNAL_NOTICE SET {times} WHERE severity = 1")
                annal.notices.delete(**{name: value})
                self.assertEqual([notice.description for notice in annal.notices.list()], ["a notice"])

    def test_deletes_by_age(self) -> None:
        add()
        add(description="old")
        sql(NOTICES, "UPDATE ANNAL_NOTICE SET time = time - 3 * 86400 WHERE \"desc\" = 'old'")
        annal.notices.delete_older_than(4)
        self.assertEqual(annal.notices.count(), 2)
        annal.notices.delete_older_than(2)
        self.assertEqual(annal.notices.count(), 1)
        for days in (0, 24856):
            with self.assertRaisesRegex(ValueError, f"days is {days}: it must be from 1 to 24855"):
                annal.notices.delete_older_than(days)


class Migrating(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        annal.notices.create()
        add()

    def test_adds_the_title_to_a_list_that_lacks_it_alone(self) -> None:
        sql(NOTICES, "ALTER TABLE ANNAL_NOTICE DROP COLUMN title")
        annal.notices.migrate()
        annal.notices.migrate()
        (notice,) = annal.notices.list()
        self.assertEqual((notice.description, notice.title), ("a notice", ""))

    def test_deletes_no_notice_unless_it_is_told_to(self) -> None:
        sql(NOTICES, "ALTER TABLE ANNAL_NOTICE DROP COLUMN varContent")
        with self.assertRaisesRegex(annal.ChangeFailedError, "the list lacks varContent and can only be recreated"):
            annal.notices.migrate()
        self.assertEqual(sql(NOTICES, 'SELECT "desc" FROM ANNAL_NOTICE'), [(b"a notice",)])
        annal.notices.migrate(recreate=True)
        self.assertEqual(annal.notices.count(), 0)
        self.assertIn("varContent", annal.notices.columns())

    def test_says_that_there_is_nothing_to_migrate(self) -> None:
        annal.notices.drop()
        with self.assertRaisesRegex(annal.ChangeFailedError, "has no such table"):
            annal.notices.migrate(recreate=True)


class Command(ApplianceTest):
    def setUp(self) -> None:
        super().setUp()
        for variable in ("HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"):
            os.environ.pop(variable, None)

    def test_hands_a_notice_to_the_notification_command(self) -> None:
        calls = self.record("notify")
        annal.notices.send(
            "UPS {0} is at {1}.",
            "one",
            "5 %",
            app_id="A011",
            category_id="C002",
            number="3",
            level=annal.CatalogLevel.WARNING,
            user="admin",
            address="10.0.0.5",
            computer="desk",
        )
        self.assertEqual(
            calls(),
            [["send2", "-A", "A011", "-C", "C002", "-M", "3", "-l", "warn", "-t", "0", "-p", "10.0.0.5", "-u", "admin",
              "--comp=desk", "UPS {0} is at {1}.", "one", "5 %"]],
        )

    def test_hands_on_a_message_without_values(self) -> None:
        calls = self.record("notify")
        annal.notices.send("text", app_id="A", category_id="C", number="1")
        self.assertEqual(calls()[0][-1], "text")

    def test_hands_a_message_of_the_catalog_to_the_notification_command(self) -> None:
        calls = self.record("notify")
        message = annal.catalog["A011"][7]
        message.notify(60, user="admin", type=7, client_app="web")
        self.assertEqual(
            calls(),
            [["send2", "--user=admin", "--client_app=web", "-t7", f"-l{2 if message.level == 2 else message.level ^ 5}",
              "-AA011", f"-C{message.category_id}", "-M7", message.template, "60"]],
        )

    def test_refuses_what_the_command_would_not_be_given(self) -> None:
        with self.assertRaisesRegex(ValueError, "takes 1 value, not 0"):
            annal.catalog["A011"][7].notify()
        with self.assertRaisesRegex(ValueError, "there is room for 10240"):
            annal.catalog["A011"][7].notify("x" * 10240)
        many = annal.Message("A011", annal.CatalogLevel.ERROR, "C001", "7", " ".join(f"{{{i}}}" for i in range(15)))
        with self.assertRaisesRegex(ValueError, "at most 14 are passed on"):
            many.notify(*range(15))
        with self.assertRaisesRegex(ValueError, "at most 42 are passed on"):
            annal.notices.send("text", *["x"] * 43, app_id="A", category_id="C", number="1")
        with self.assertRaisesRegex(TypeError, "a value must be str, not int"):
            annal.notices.send("text", cast(Any, 5), app_id="A", category_id="C", number="1")

    def test_hands_on_as_many_values_as_it_says(self) -> None:
        calls = self.record("notify")
        many = annal.Message("A011", annal.CatalogLevel.ERROR, "C001", "7", " ".join(f"{{{i}}}" for i in range(14)))
        many.notify(*range(14))
        self.assertEqual(calls()[0][-14:], [str(i) for i in range(14)])

    def test_hands_on_as_many_values_of_a_text_as_it_says(self) -> None:
        calls = self.record("notify")
        values = [f"v{i}" for i in range(42)]
        os.environ.update(HTTP_CLIENT_ID="i", HTTP_CLIENT_APP="a", HTTP_CLIENT_AGENT="g")
        annal.notices.send("t", *values, app_id="A", category_id="C", number="1", user="u", address="a", computer="c")
        self.assertEqual(calls()[0][-43:], ["t", *values])


class Facilities(unittest.TestCase):
    def test_have_their_names(self) -> None:
        self.assertEqual(annal.facilities[99], "Background Task")
        self.assertEqual(list(annal.facilities)[:21], list(range(21)))
        self.assertEqual(annal.facilities[0], "")
        with self.assertRaises(TypeError):
            annal.facilities[0] = "x"  # type: ignore[index]


if __name__ == "__main__":
    unittest.main()
