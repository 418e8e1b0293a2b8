"""What the package says of each log's table, in three places, agrees with itself and with the table."""

from __future__ import annotations

import dataclasses
import inspect
import typing
import unittest
from typing import Any

import annal
from annal import _connections, _events, _file_operations, _moments, _notices
from support import LOGS, ApplianceTest

# A log, its table, its rows, its filters and its fields.
LOGGED: tuple[tuple[Any, Any, Any, Any, Any], ...] = (
    (annal.events, _events.TABLE, annal.Event, annal.EventFilters, annal.EventField),
    (annal.connections, _connections.TABLE, annal.Connection, annal.ConnectionFilters, annal.ConnectionField),
    (annal.notices, _notices.TABLE, annal.Notice, annal.NoticeFilters, annal.NoticeField),
    (
        annal.FileOperationLog(LOGS / "operations.db"),
        _file_operations.TABLE,
        annal.FileOperation,
        annal.FileOperationFilters,
        annal.FileOperationField,
    ),
)


class Tables(ApplianceTest):
    def test_filters_and_fields_are_those_of_their_types(self) -> None:
        for log, table, row, filters, fields in LOGGED:
            with self.subTest(log):
                self.assertEqual(set(filters.__annotations__), set(table.filters))
                self.assertEqual(set(typing.get_args(fields)), set(table.fields))
                self.assertLessEqual(set(table.fields), {field.name for field in dataclasses.fields(row)})

    def test_every_filter_and_every_order_reads_a_log_that_is_there(self) -> None:
        for log, table, _, _, _ in LOGGED:
            log.create()
            for name in table.filters:
                value = 1 if name in table.numbers else "x"
                if name in ("since", "until"):
                    value = _moments.EPOCH
                self.assertEqual(list(log.list(**{name: value})), [])
            for name in table.fields:
                self.assertEqual(list(log.list(order=name)), [])
                self.assertEqual(list(log.group(name)), [])

    def test_every_column_that_a_log_is_made_with_is_read(self) -> None:
        for log, table, _, _, _ in LOGGED:
            log.create()
            for column in log.columns():
                self.assertTrue(any(column in read for read in table.columns), column)

    def test_every_deletion_has_its_argument(self) -> None:
        for log, *_ in LOGGED:
            arguments = set(inspect.signature(log.delete).parameters)
            self.assertEqual(arguments, set(log._selectors))

    def test_everything_public_says_what_it_does(self) -> None:
        for name in annal.__all__:
            thing = getattr(annal, name)
            if inspect.isclass(thing):
                self.assertTrue(thing.__doc__, name)
                for method, function in inspect.getmembers(thing, inspect.isfunction):
                    if not method.startswith("_") and thing.__module__.startswith("annal"):
                        self.assertTrue(inspect.getdoc(function), f"{name}.{method}")


if __name__ == "__main__":
    unittest.main()
