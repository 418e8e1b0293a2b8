"""The newest rows of a log, and then each new one."""

from __future__ import annotations

import dataclasses
import os
import sqlite3
import threading
import time
from collections.abc import Generator, Iterator
from typing import Generic, TypeVar

from . import _moments
from ._errors import OpenFailedError, QueryFailedError
from ._query import Query
from ._reader import LOWEST_ID, LogRecreated, Reader, Values, pages_by_id
from ._rows import Rows

Row = TypeVar("Row")

_SHORTEST_INTERVAL = 0.01
_LONGEST_INTERVAL = 86400.0


@dataclasses.dataclass(frozen=True)
class Following:
    """Whether to continue after the newest rows, and how often to look."""

    follow: bool
    interval: float
    stop: threading.Event | None

    def __post_init__(self) -> None:
        if not _SHORTEST_INTERVAL <= self.interval <= _LONGEST_INTERVAL:
            raise ValueError(
                f"interval is {self.interval} seconds: it must be from {_SHORTEST_INTERVAL} to {_LONGEST_INTERVAL}"
            )
        if self.stop is not None and not isinstance(self.stop, threading.Event):
            raise TypeError(f"stop must be threading.Event, not {type(self.stop).__name__}")

    @property
    def stopped(self) -> bool:
        return self.stop is not None and self.stop.is_set()

    def wait(self) -> bool:
        """Sleeps for an interval; False if following has ended."""
        if self.stop is None:
            time.sleep(self.interval)
            return True
        return not self.stop.wait(self.interval)


class _Follower(Generic[Row]):
    def __init__(self, query: Query[Row], path: bytes, function: str) -> None:
        self._query = query
        self._path = path
        self._function = function
        self._reader: Reader[Row] | None = None
        self._file: tuple[int, int] | None = None
        self._schema: int | None = None
        self._last = LOWEST_ID
        self._last_row: list[Values] = []

    def close(self) -> None:
        if self._reader is not None:
            self._reader.close()
            self._reader = None

    def newest(self, lines: int) -> Iterator[list[Values]]:
        """The newest of the existing rows."""
        reader = self._open()
        with reader.turn():
            through = reader.highest_id()
            self._schema = reader.schema
        ids = dataclasses.replace(self._query, table=dataclasses.replace(self._query.table, columns=("NULL",)))
        after = through
        for page in pages_by_id(reader, ids, falling=True, through=through) if lines > 0 else ():
            page = page[:lines]
            lines -= len(page)
            after = page[-1][0] - 1
            if lines == 0:
                break
        yield from self._rows(reader, after, through)

    def news(self) -> Iterator[list[Values]]:
        """The rows stored since. None if the log cannot be read at this moment."""
        try:
            self._forget_another_file()
            reader = self._open()
            with reader.turn():
                changed = reader.schema != self._schema
                self._schema = reader.schema
                if changed and self._row(reader, self._last) != self._last_row:
                    self._last = LOWEST_ID
                through = reader.highest_id()
            if through > self._last:
                yield from self._rows(reader, self._last, through)
        except LogRecreated:
            self.close()
        except (OpenFailedError, QueryFailedError) as error:
            if not _passes(error):
                raise
            self.close()

    def _open(self) -> Reader[Row]:
        while self._reader is None:
            before = self._file_there()
            reader = Reader(self._query.table, self._path, self._function)
            # While it is open, no other file can have its number.
            if before == self._file_there():
                self._reader = reader
                self._file = before
            else:
                reader.close()
        return self._reader

    # Never open the file: closing it would drop this process's locks.
    def _file_there(self) -> tuple[int, int] | None:
        try:
            status = os.stat(self._path)
        except FileNotFoundError:
            return None
        return status.st_dev, status.st_ino

    def _forget_another_file(self) -> None:
        if self._reader is not None and self._file_there() != self._file:
            self.close()
            self._schema = None

    def _row(self, reader: Reader[Row], row_id: int) -> list[Values]:
        table = self._query.table
        columns = ", ".join(table.columns)
        return reader.fetch(f"SELECT {columns} FROM main.{table.name} WHERE rowid = ?", (row_id,), 1)

    def _rows(self, reader: Reader[Row], after: int, through: int) -> Iterator[list[Values]]:
        for page in pages_by_id(reader, self._query, after=after, through=through):
            self._last = page[-1][0]
            self._last_row = [page[-1][1:]]
            yield [values[1:] for values in page]
        if self._last != through and through != LOWEST_ID:
            with reader.turn():
                self._last_row = self._row(reader, through)
            self._last = through


def _passes(error: Exception) -> bool:
    """Whether the failure is temporary: the log is being recreated, or is locked."""
    cause = error.__cause__
    primary = getattr(cause, "sqlite_errorcode", 0) & 0xFF
    if primary in (sqlite3.SQLITE_BUSY, sqlite3.SQLITE_LOCKED, sqlite3.SQLITE_CANTOPEN):
        return True
    return primary == sqlite3.SQLITE_ERROR and "no such table" in str(cause)


def tail_of(query: Query[Row], path: bytes, function: str, lines: int, following: Following) -> Rows[Row]:
    """The newest rows of a query in the order in which they were stored, then each new one."""

    def items() -> Generator[Row, None, None]:
        _moments.forget_zones()
        make = query.table.make
        follower = _Follower(query, path, function)
        try:
            for page in follower.newest(lines):
                for values in page:
                    yield make(values)
                    if following.stopped:
                        return
            while following.follow and following.wait():
                for page in follower.news():
                    for values in page:
                        yield make(values)
                        if following.stopped:
                            return
        finally:
            follower.close()

    return Rows(items())
