"""Rows and groups as iterators, which hold no lock while the caller has a row."""

from __future__ import annotations

import dataclasses
from collections.abc import Callable, Generator, Iterator
from types import TracebackType
from typing import Generic, TypeVar

from . import _arguments, _moments
from ._query import Query, Table, joined
from ._reader import HIGHEST_ID, ROWS_OF_PAGE, IN_RANGE, Reader, Values, pages_by_id, ranges_of

Row = TypeVar("Row")
Item = TypeVar("Item", covariant=True)

_UNLIMITED = 2**63 - 1

# Beyond it, keeping only the best rows of each range saves nothing.
_FEW_ROWS = 1000


class Rows(Generic[Item]):
    """An iterator over rows or groups, for one thread at a time.

    Reading begins with the first row, and raises OpenFailedError or QueryFailedError there or later. Between two rows
    no lock is held: take as long as you like. A connection to the log is open until the last row, ``close()`` or the
    end of a ``with`` block; an iterator that is dropped is closed when it is collected.
    """

    __slots__ = ("_items",)

    def __init__(self, items: Generator[Item, None, None]) -> None:
        self._items = items

    def __iter__(self) -> Iterator[Item]:
        return self._items

    def __next__(self) -> Item:
        return next(self._items)

    def close(self) -> None:
        """Closes the connection and ends the iteration. Closing twice is allowed."""
        self._items.close()

    def __enter__(self) -> Rows[Item]:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()


@dataclasses.dataclass(frozen=True, slots=True)
class Group(Generic[Row]):
    """Entries that share the fields by which they are grouped.

    :ivar count: how many they are
    :ivar newest: the one with the highest id; the shared fields are read from it
    """

    count: int
    newest: Row


@dataclasses.dataclass(frozen=True)
class Window:
    """Which rows of all."""

    limit: int
    offset: int


def window(limit: int | None, offset: int) -> Window:
    return Window(
        _UNLIMITED if limit is None else _arguments.number("limit", limit, 0, _UNLIMITED),
        _arguments.number("offset", offset, 0, _UNLIMITED),
    )


def rows_of(table: Table[Row], path: bytes, function: str, query: Query[Row], part: Window) -> Rows[Row]:
    """The rows of a query."""

    def items() -> Generator[Row, None, None]:
        _moments.forget_zones()
        make = table.make
        reader = Reader(table, path, function)
        try:
            pages = _pages_by_id if not query.sort else _pages_sorted
            for page in pages(reader, query, part):
                for values in page:
                    yield make(values)
        finally:
            reader.close()

    return Rows(items())


def groups_of(table: Table[Row], path: bytes, function: str, query: Query[Row], part: Window) -> Rows[Group[Row]]:
    """The groups of a query."""

    def items() -> Generator[Group[Row], None, None]:
        _moments.forget_zones()
        reader = Reader(table, path, function)
        try:
            for page in _pages_of_groups(reader, query, part):
                for size, *values in page:
                    yield Group(size, table.make(values))
        finally:
            reader.close()

    return Rows(items())


def count_of(table: Table[Row], path: bytes, function: str, query: Query[Row]) -> int:
    """The number of a query's rows."""
    reader = Reader(table, path, function)
    try:
        counted = reader.fetch_at_once(f"SELECT count(*) FROM main.{table.name}{query.where()}", query.values)
        if counted is not None:
            return int(counted[0][0])
        # Too many to count at once: writers would wait.
        statement = f"SELECT count(*) FROM main.{table.name} NOT INDEXED{query.where(IN_RANGE)}"
        total = 0

        def add(bounds: tuple[int, int]) -> None:
            nonlocal total
            total += reader.first(statement, bounds + query.values)

        _for_each_range(reader, query, add)
        return total
    finally:
        reader.close()


def _for_each_range(reader: Reader[Row], query: Query[Row], read: Callable[[tuple[int, int]], None]) -> None:
    """Reads all rows that exist at the start, a range at a time, each in a turn of its own."""
    with reader.turn():
        through = reader.highest_id()
    ranges = ranges_of(reader, query, through=through)
    while True:
        with reader.turn():
            bounds = ranges.next()
            if bounds is None:
                return
            read(bounds)
            ranges.learn()


def _pages_by_id(reader: Reader[Row], query: Query[Row], part: Window) -> Iterator[list[Values]]:
    left, skipped = part.limit, part.offset
    if left == 0:
        return
    through = HIGHEST_ID
    if not query.descending:
        with reader.turn():
            through = reader.highest_id()
    for page in pages_by_id(reader, query, falling=query.descending, through=through):
        shown = page[skipped : skipped + left]
        skipped -= min(skipped, len(page))
        left -= len(shown)
        yield [values[1:] for values in shown]
        if left == 0:
            return


# In memory up to the size of the cache, then in a file without a name, which ends with the process. After a failure its
# content is of no use, so it needs no journal.
def _prepare_temporary(reader: Reader[Row]) -> None:
    with reader.own_work():
        for setting in ("temp_store = FILE", "temp.cache_size = -4096", "temp.journal_mode = OFF"):
            reader.run(f"PRAGMA {setting}")


def _pages_sorted(reader: Reader[Row], query: Query[Row], part: Window) -> Iterator[list[Values]]:
    if part.limit == 0:
        return
    name = query.table.name
    columns = joined(query.table.columns)
    page = reader.fetch_at_once(
        f"SELECT {columns} FROM main.{name}{query.where()}{query.order_of_rows('rowid')} LIMIT ? OFFSET ?",
        (*query.values, min(part.limit, ROWS_OF_PAGE + 1), part.offset),
    )
    if page is not None:
        yield page
        return

    # Only the keys are sorted, in a private temporary database, without locking the log.
    _prepare_temporary(reader)
    keys = joined([f"{column} AS key{place}" for place, column in enumerate(query.sort)])
    listed = f"SELECT rowid AS annal_id, {keys} FROM main.{name} NOT INDEXED"
    few = part.limit < _FEW_ROWS and part.offset < _FEW_ROWS
    best = f"{query.order_of_rows('rowid')} LIMIT {part.limit + part.offset}" if few else ""
    with reader.turn():
        reader.run(f"CREATE TEMP TABLE kept AS {listed} WHERE 0")
    insert = f"INSERT INTO temp.kept {listed}{query.where(IN_RANGE)}{best}"
    _for_each_range(reader, query, lambda bounds: reader.run(insert, bounds + query.values))
    by_keys = dataclasses.replace(query, sort=tuple(f"key{place}" for place in range(len(query.sort))))
    with reader.own_work():
        reader.run(
            f"CREATE TEMP TABLE ranked AS SELECT annal_id FROM temp.kept{by_keys.order_of_rows('annal_id')} "
            f"LIMIT {part.limit} OFFSET {part.offset}"
        )
        reader.run("DROP TABLE temp.kept")
        last = reader.first("SELECT IFNULL(max(rowid), 0) FROM temp.ranked")
    # Leaves out a row that is deleted before its turn.
    statement = (
        f"SELECT ranked.rowid, {columns} FROM temp.ranked CROSS JOIN main.{name} AS t ON t.rowid = ranked.annal_id "
        "WHERE ranked.rowid > ? AND ranked.rowid <= ? ORDER BY ranked.rowid"
    )
    place = 0
    while place < last:
        with reader.turn():
            page = reader.fetch(statement, (place, place + ROWS_OF_PAGE))
        place = place + ROWS_OF_PAGE if reader.exhausted else page[-1][0]
        yield [values[1:] for values in page]


def _pages_of_groups(reader: Reader[Row], query: Query[Row], part: Window) -> Iterator[list[Values]]:
    """For each group its size, then the columns of its newest row."""
    if part.limit == 0:
        return
    name = query.table.name
    columns = query.table.columns

    # Looks up each group's newest row by its id.
    def groups(listed: str, where: str, hint: str = "") -> str:
        return (
            f"SELECT {listed} FROM (SELECT max(rowid) AS annal_id, count(*) AS annal_size "
            f"FROM main.{name}{hint}{where} GROUP BY {joined(query.groups)}) AS g "
            f"JOIN main.{name} AS t ON t.rowid = g.annal_id"
        )

    page = reader.fetch_at_once(
        f"{groups(f'g.annal_size, {joined(columns)}', query.where())}{query.order_of_groups('g.annal_size')} "
        "LIMIT ? OFFSET ?",
        (*query.values, min(part.limit, ROWS_OF_PAGE + 1), part.offset),
    )
    if page is not None:
        yield page
        return

    # The groups of each range, combined at the end.
    _prepare_temporary(reader)
    keys = tuple(f"key{place}" for place in range(len(query.groups)))
    cells = [f"cell{place}" for place in range(len(columns))]
    listed = joined(
        ["g.annal_id AS annal_id", "g.annal_size AS annal_size"]
        + [f"{column} AS {key}" for column, key in zip(query.groups, keys)]
        + [f"{column} AS {cell}" for column, cell in zip(columns, cells)]
    )
    with reader.turn():
        reader.run(f"CREATE TEMP TABLE kept AS {groups(listed, ' WHERE 0')}")
    insert = f"INSERT INTO temp.kept {groups(listed, query.where(IN_RANGE), ' NOT INDEXED')}"
    _for_each_range(reader, query, lambda bounds: reader.run(insert, bounds + query.values))
    by_keys = dataclasses.replace(query, groups=keys)
    with reader.own_work():
        # Beside a single max(), SQLite takes the other columns from the row that has the maximum.
        reader.run(
            f"CREATE TEMP TABLE ranked AS SELECT sum(annal_size) AS annal_size, {joined(cells)}, max(annal_id) "
            f"FROM temp.kept GROUP BY {joined(keys)}{by_keys.order_of_groups('sum(annal_size)')} "
            f"LIMIT {part.limit} OFFSET {part.offset}"
        )
        reader.run("DROP TABLE temp.kept")
    place = 0
    while True:
        with reader.own_work():
            page = reader.fetch(
                f"SELECT rowid, annal_size, {joined(cells)} FROM temp.ranked WHERE rowid > ? ORDER BY rowid", (place,)
            )
        if not page:
            return
        place = page[-1][0]
        yield [values[1:] for values in page]
