"""What the four logs have in common: reading, and the maintenance of a table."""

from __future__ import annotations

import ctypes
import dataclasses
import datetime
import os
from collections.abc import Callable, Mapping
from typing import Generic, TypeVar

from . import _arguments
from ._codes import ColumnKind
from ._errors import TableFailedError
from ._library import call
from ._query import Query, Table
from ._reader import Reader
from ._rows import Group, Rows, count_of, groups_of, rows_of, window
from ._tail import Following, tail_of

Row = TypeVar("Row")


def number_value(name: str, value: object) -> object:
    """A number to delete by: the library takes its address."""
    return ctypes.byref(ctypes.c_int(_arguments.number(name, value)))


def text_value(name: str, value: object) -> object:
    """A text to delete by, for between single quotes in the statement."""
    return _arguments.quoted(name, value)


def expression_value(name: str, value: object) -> object:
    """An SQL expression to delete by."""
    return b"'" + _arguments.quoted(name, value) + b"'"


def plain_value(name: str, value: object) -> object:
    """A text to delete by, whose quotes the library doubles."""
    return _arguments.text(name, value)


def path_value(name: str, value: object) -> object:
    """A path to delete by, for between single quotes."""
    return _arguments.path(name, value).replace(b"'", b"''")


def date_value(name: str, value: object) -> object:
    """A date to delete by, as the logs write it."""
    if not isinstance(value, datetime.date) or isinstance(value, datetime.datetime):
        raise TypeError(f"{name} must be datetime.date, not {type(value).__name__}")
    return value.isoformat().encode()


def time_value(name: str, value: object) -> object:
    """A time of day to delete by, as the logs write it."""
    if not isinstance(value, datetime.time):
        raise TypeError(f"{name} must be datetime.time, not {type(value).__name__}")
    return f"{value:%H:%M:%S}".encode()


@dataclasses.dataclass(frozen=True)
class Calls:
    """The library's functions that maintain a log."""

    create: str
    drop: str
    clear: str
    add_limit: str
    remove_limit: str
    delete: str


class Log(Generic[Row]):
    """Reading and maintenance. Objects of the logs have no state: any number of threads may use one at once."""

    _table: Table[Row]
    _calls: Calls
    _selectors: Mapping[str, tuple[int, Callable[[str, object], object]]]
    _name: str

    def __init__(self, path: bytes) -> None:
        self._path = path

    @property
    def path(self) -> str:
        """The log's file."""
        return os.fsdecode(self._path)

    def __repr__(self) -> str:
        return f"<annal.{self._name} {self.path!r}>"

    # --- reading ---

    def _rows(
        self,
        filters: Mapping[str, object],
        order: str,
        descending: bool | None,
        limit: int | None,
        offset: int,
    ) -> Rows[Row]:
        sort = () if order == "id" else self._table.columns_of("order", (order,))
        falling = order in ("id", "when") if descending is None else descending
        query = Query(self._table, self._table.conditions(filters), sort, falling)
        return rows_of(self._table, self._path, f"{self._name}.list", query, window(limit, offset))

    def _count(self, filters: Mapping[str, object]) -> int:
        query = Query(self._table, self._table.conditions(filters))
        return count_of(self._table, self._path, f"{self._name}.count", query)

    def _groups(
        self,
        fields: tuple[str, ...],
        filters: Mapping[str, object],
        largest_first: bool,
        limit: int | None,
        offset: int,
    ) -> Rows[Group[Row]]:
        if not fields:
            raise TypeError("group needs at least one field to group by")
        columns = self._table.columns_of("a field to group by", fields)
        query = Query(self._table, self._table.conditions(filters), groups=columns, largest_first=largest_first)
        return groups_of(self._table, self._path, f"{self._name}.group", query, window(limit, offset))

    def _tail(self, filters: Mapping[str, object], lines: int, following: Following) -> Rows[Row]:
        query = Query(self._table, self._table.conditions(filters))
        _arguments.number("lines", lines, 0)
        return tail_of(query, self._path, f"{self._name}.tail", lines, following)

    # --- deletion ---

    def _delete(self, arguments: dict[str, object]) -> None:
        name, value = _arguments.only_one(arguments)
        selector, convert = self._selectors[name]
        self._call(self._calls.delete, selector, convert(name, value))

    # --- the table ---

    def _call(self, function: str, *arguments: object) -> int:
        return call(function, *arguments)

    def exists(self) -> bool:
        """Whether the log's table exists and can be read. Waits up to 20 s for a lock; changes nothing."""
        return bool(self.columns())

    def columns(self) -> tuple[str, ...]:
        """The names of the table's columns, in its own order; none if the file or the table does not exist.

        Raises QueryFailedError for a file that is not a log, or is locked for more than 20 s.
        """
        if not os.path.exists(self._path):
            return ()
        reader = Reader(self._table, self._path, f"{self._name}.columns")
        try:
            with reader.turn():
                found = reader.fetch(f"PRAGMA main.table_info({self._table.name})", ())
            return tuple(column[1] for column in found)
        finally:
            reader.close()

    def create(self, *, limit: int = 0, drop_at_once: int = 0, exist_ok: bool = False) -> None:
        """Creates the log: its file, table, indexes and row limit.

        :param limit: the largest number of entries to keep; 0 means the log's default
        :param drop_at_once: how many of the oldest entries a full log deletes when it stores one more; 0 means 1. A
            hundredth of the limit makes adding to a full log several times cheaper
        :param exist_ok: whether to leave an existing log alone instead of raising TableFailedError

        Raises OpenFailedError, TableFailedError, TriggerFailedError. Waits up to 20 s for a lock, twice.
        """
        numbers = self._limits(limit, drop_at_once)
        if exist_ok and self.exists():
            return
        try:
            self._call(self._calls.create, *numbers)
        except TableFailedError:
            # Another process may have been first.
            if not exist_ok or not self.exists():
                raise

    def _limits(self, limit: int, drop_at_once: int) -> tuple[int, int]:
        numbers = _arguments.number("limit", limit, 0), _arguments.number("drop_at_once", drop_at_once, 0)
        if 0 < numbers[0] < numbers[1]:
            raise ValueError(f"drop_at_once is {drop_at_once}, and limit {limit}: a full log would drop all its entries")
        return numbers

    def drop(self) -> None:
        """Deletes the table with all its entries. Raises OpenFailedError, TableFailedError; does not wait."""
        self._call(self._calls.drop)

    def clear(self) -> None:
        """Deletes every entry, and keeps the log. Raises OpenFailedError, EmptyFailedError; waits up to 20 s."""
        self._call(self._calls.clear)

    def add_limit(self, *, limit: int = 0, drop_at_once: int = 0) -> None:
        """Limits the number of entries; arguments as for ``create``. To change a limit, remove the old one first.

        Storing the next entry deletes those beyond it. Raises OpenFailedError, and TriggerFailedError if there is
        a limit already. Waits up to 20 s.
        """
        self._call(self._calls.add_limit, *self._limits(limit, drop_at_once))

    def remove_limit(self) -> None:
        """Lets the log grow without limit. Raises OpenFailedError, RemoveTriggerFailedError; waits up to 20 s."""
        self._call(self._calls.remove_limit)


class MigratingLog(Log[Row]):
    """A log to whose table the library can add columns."""

    _add_column: str

    def add_column(self, name: str, kind: ColumnKind = ColumnKind.TEXT, default: str = "") -> None:
        """Adds a column of your own; the library neither reads nor writes it.

        :param name: letters, digits and underscores
        :param default: its value in every entry, as text for either kind

        Raises ValueError for another name; OpenFailedError; ChangeFailedError if the column exists already. Does
        not wait for a lock.
        """
        self._call(
            self._add_column,
            _arguments.column("name", name),
            int(ColumnKind(kind)),
            _arguments.quoted("default", default),
        )


__all__ = ["Calls", "Group", "Log", "MigratingLog", "Rows"]
