"""Reads a log without delaying writers.

Every read transaction is short, and none is open while the caller has a row: rows are fetched a page at a time, which
takes a few milliseconds. The library's own listing would lock writers out until its last row, and cannot start after an
id.
"""

from __future__ import annotations

import functools
import os
import sqlite3
import time
from collections.abc import Iterator
from contextlib import closing, contextmanager
from typing import Any, Generic, TypeVar

from ._errors import OpenFailedError, QueryFailedError
from ._query import Query, Table, Value, joined

Row = TypeVar("Row")
Values = tuple[Any, ...]

# As the library waits.
_WAIT_SECONDS = 20

_PRIMARY = 0xFF  # of an extended code

ROWS_OF_PAGE = 1000
_BYTES_OF_PAGE = 1 << 20
_FETCHED_AT_ONCE = 100

# No writer waits longer than this for one statement over the whole log, nor for one range of it by much.
_AT_ONCE_AT_MOST = 0.025
_RANGE_IS_SHORT = 0.002
_RANGE_IS_LONG = 0.008
_INSTRUCTIONS_BETWEEN_LOOKS = 2000

_FIRST_WIDTH = 128
_GREATEST_WIDTH = 4096

LOWEST_ID = -(2**63)
HIGHEST_ID = 2**63 - 1

IN_RANGE = "rowid > ? AND rowid <= ?"

_as_it_is = functools.partial(str, encoding="utf-8", errors="surrogateescape")


def _uri(path: bytes) -> str:
    unreserved = b"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/-._~"
    name = "".join(chr(byte) if byte in unreserved else f"%{byte:02X}" for byte in os.path.abspath(path))
    return f"file:{name}?mode=rw"


def connect(path: bytes) -> sqlite3.Connection:
    """Opens an existing log. Raises sqlite3.Error."""
    # Used by one thread at a time, but not always the same.
    return sqlite3.connect(
        _uri(path), uri=True, timeout=_WAIT_SECONDS, isolation_level=None, check_same_thread=False
    )


class LogRecreated(QueryFailedError):
    """The log was recreated while it was read: its ids start again, so the listing cannot continue."""


class Reader(Generic[Row]):
    """A connection to a log, for one thread at a time.

    It opens the log as the library does, so that a change that was cut off is undone first, and creates none.
    """

    def __init__(self, table: Table[Row], path: bytes, function: str) -> None:
        self.table = table
        self.path = path
        self.function = function
        self.exhausted = False  # whether the last fetch reached the statement's end
        self._process = os.getpid()
        self.schema: int | None = None
        self._highest_id_ever: int | None = None
        try:
            self._connection = connect(path)
        except sqlite3.Error as error:
            raise OpenFailedError(function, f"{os.fsdecode(path)}: {error}") from error

    def close(self) -> None:
        # A child process cannot use the connection, and closing it there would drop the parent's locks.
        if self._process == os.getpid():
            self._connection.close()

    def failure(self, error: sqlite3.Error) -> QueryFailedError | OpenFailedError:
        detail = f"{os.fsdecode(self.path)}: {error}"
        if getattr(error, "sqlite_errorcode", 0) & _PRIMARY == sqlite3.SQLITE_CANTOPEN:
            return OpenFailedError(self.function, detail)
        return QueryFailedError(self.function, detail)

    def run(self, statement: str, values: tuple[Value, ...] = ()) -> None:
        """Runs a statement that returns no rows."""
        with closing(self._connection.execute(statement, values)) as cursor:
            cursor.fetchall()

    def fetch(self, statement: str, values: tuple[Value, ...], rows: int = ROWS_OF_PAGE) -> list[Values]:
        """A statement's rows: a limited number, and not many more than fill a page's bytes."""
        try:
            return self._fetch(statement, values, rows)
        except sqlite3.OperationalError as error:
            # SQLite's errors have a code; only Python's module reports invalid UTF-8.
            if hasattr(error, "sqlite_errorcode") or self._connection.text_factory is _as_it_is:
                raise
        # Slower, so only if needed.
        self._connection.text_factory = _as_it_is
        return self._fetch(statement, values, rows)

    def _fetch(self, statement: str, values: tuple[Value, ...], rows: int) -> list[Values]:
        fetched: list[Values] = []
        size = 0
        self.exhausted = False
        # Always close the cursor: one that is not at its end keeps the log locked.
        with closing(self._connection.execute(statement, values)) as cursor:
            while len(fetched) < rows and size < _BYTES_OF_PAGE:
                try:
                    some = cursor.fetchmany(min(_FETCHED_AT_ONCE, rows - len(fetched)))
                except sqlite3.OperationalError as error:
                    # If the time is up, the rows found so far are a page.
                    if fetched and getattr(error, "sqlite_errorcode", 0) == sqlite3.SQLITE_INTERRUPT:
                        break
                    raise
                if not some:
                    self.exhausted = True
                    break
                fetched += some
                # A row is as long as all its texts; a sample is good enough.
                size += len(some) * sum(len(value) for value in some[-1] if isinstance(value, str))
        return fetched

    def first(self, statement: str, values: tuple[Value, ...] = ()) -> Any:
        """The first value of a statement's first row."""
        return self.fetch(statement, values, 1)[0][0]

    @contextmanager
    def own_work(self) -> Iterator[None]:
        """Work on temporary tables, which does not lock the log."""
        if self._process != os.getpid():
            raise RuntimeError("a listing cannot be read on in a child process: begin a new one there")
        try:
            yield
        except sqlite3.Error as error:
            raise self.failure(error) from error

    @contextmanager
    def turn(self) -> Iterator[None]:
        """Locks the log for reading meanwhile: nothing inside may wait."""
        with self.own_work():
            self.run("BEGIN")
            try:
                self._require_same_log()
                yield
            finally:
                if self._connection.in_transaction:
                    self.run("COMMIT")

    # The schema also changes with a trigger, an index or a compaction. A recreated table shows in its ids, which start
    # again.
    def _require_same_log(self) -> None:
        schema = self.first("PRAGMA main.schema_version")
        if schema == self.schema:
            return
        highest = self._highest_id_of_all_time()
        if self._highest_id_ever is not None and highest < self._highest_id_ever:
            raise LogRecreated(
                self.function, f"{os.fsdecode(self.path)} was recreated while it was read: begin a new listing"
            )
        self.schema = schema
        self._highest_id_ever = highest

    def _highest_id_of_all_time(self) -> int:
        has_sequence = self.first("SELECT count(*) FROM main.sqlite_master WHERE name = 'sqlite_sequence'")
        if not has_sequence:
            return 0
        found = self.fetch("SELECT seq FROM main.sqlite_sequence WHERE name = ?", (self.table.name,), 1)
        return int(found[0][0]) if found else 0

    def highest_id(self) -> int:
        """Of the existing rows."""
        found = self.first(f"SELECT max(rowid) FROM main.{self.table.name}")
        return LOWEST_ID if found is None else int(found)

    @contextmanager
    def _deadline(self) -> Iterator[None]:
        """Interrupts a statement that runs for too long. Waiting for a lock does not count."""
        end: float | None = None

        def passed() -> int:
            nonlocal end
            now = time.monotonic()
            if end is None:
                end = now + _AT_ONCE_AT_MOST
            return now > end

        self._connection.set_progress_handler(passed, _INSTRUCTIONS_BETWEEN_LOOKS)
        try:
            yield
        finally:
            self._connection.set_progress_handler(None, 0)

    def fetch_in_time(self, statement: str, values: tuple[Value, ...], rows: int = ROWS_OF_PAGE) -> list[Values] | None:
        """Rows of a statement that may use any index, as many as it finds in the time that writers may wait.

        None when that is not one.
        """
        try:
            with self.turn(), self._deadline():
                return self.fetch(statement, values, rows)
        except QueryFailedError as error:
            if getattr(error.__cause__, "sqlite_errorcode", 0) != sqlite3.SQLITE_INTERRUPT:
                raise
            return None

    def fetch_at_once(self, statement: str, values: tuple[Value, ...]) -> list[Values] | None:
        """All of them; None if there are more than a page, too."""
        rows = self.fetch_in_time(statement, values, ROWS_OF_PAGE + 1)
        return rows if self.exhausted else None


class Ranges:
    """Goes through a table's ids in ranges that take a few milliseconds each."""

    def __init__(self, reader: Reader[Row], *, falling: bool, after: int, through: int, widest: int) -> None:
        self._reader = reader
        self._falling = falling
        self._after = after
        self._through = through
        self._ended = False
        self._width = min(_FIRST_WIDTH, widest)
        self._widest = widest
        self._begun = 0.0
        self._end = (
            f"SELECT rowid FROM main.{reader.table.name} NOT INDEXED WHERE {IN_RANGE} "
            f"ORDER BY rowid{' DESC' if falling else ''} LIMIT 1 OFFSET ?"
        )

    def next(self) -> tuple[int, int] | None:
        """Within a turn: the next range, as the id before it and its last id; None at the end."""
        if self._ended:
            return None
        self._begun = time.monotonic()
        after, through = self._after, self._through
        last = self._reader.fetch(self._end, (after, through, self._width - 1), 1)
        if not last:
            self._ended = True
        elif self._falling:
            self._through = last[0][0] - 1
            after = self._through
        else:
            through = self._after = last[0][0]
        return after, through

    def stopped_at(self, row_id: int) -> None:
        """Reading stopped at a row in the range."""
        if self._falling:
            self._through = row_id - 1
        else:
            self._after = row_id
        self._ended = False

    def learn(self) -> None:
        """At the end of a turn: adapts the length of the next range."""
        lasted = time.monotonic() - self._begun
        if lasted < _RANGE_IS_SHORT:
            self._width = min(self._width * 2, self._widest)
        elif lasted > _RANGE_IS_LONG:
            self._width = max(self._width // 2, 1)


def ranges_of(
    reader: Reader[Row],
    query: Query[Row],
    *,
    falling: bool = False,
    after: int = LOWEST_ID,
    through: int = HIGHEST_ID,
) -> Ranges:
    # If every row is listed, a range longer than a page is of no use.
    widest = _GREATEST_WIDTH if query.conditions or query.groups else ROWS_OF_PAGE
    return Ranges(reader, falling=falling, after=after, through=through, widest=widest)


def pages_by_id(
    reader: Reader[Row],
    query: Query[Row],
    *,
    falling: bool = False,
    after: int = LOWEST_ID,
    through: int = HIGHEST_ID,
) -> Iterator[list[Values]]:
    """The rows of a query by their ids, a page at a time: each row's id, then its columns."""
    rows = f"SELECT rowid, {joined(query.table.columns)} FROM main.{query.table.name}"
    order = f"{query.where(IN_RANGE)} ORDER BY rowid{' DESC' if falling else ''}"
    # By an index, while it finds a page in time.
    while query.conditions:
        found = reader.fetch_in_time(f"{rows}{order} LIMIT {ROWS_OF_PAGE}", (after, through, *query.values))
        if found is None:
            break
        if found:
            yield found
            after, through = (after, found[-1][0] - 1) if falling else (found[-1][0], through)
        if reader.exhausted:
            return

    ranges = ranges_of(reader, query, falling=falling, after=after, through=through)
    statement = f"{rows} NOT INDEXED{order}"
    while True:
        with reader.turn():
            bounds = ranges.next()
            if bounds is None:
                return
            page = reader.fetch(statement, bounds + query.values)
            if not reader.exhausted:
                ranges.stopped_at(page[-1][0])
            ranges.learn()
        if page:
            yield page
