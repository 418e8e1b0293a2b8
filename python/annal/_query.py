"""A query as data: conditions, an order and groups, from which statements are built.

Names of columns are this package's own; whatever a caller gives is bound.
"""

from __future__ import annotations

import dataclasses
import datetime
from collections.abc import Callable, Mapping, Sequence
from typing import Any, Generic, TypeVar, Union

from . import _arguments, _moments

Row = TypeVar("Row")

# SQLite refuses longer patterns.
_LONGEST_PATTERN = 50000


@dataclasses.dataclass(frozen=True, slots=True)
class Contains:
    """A text that a filter finds anywhere in its column, as in ``user=annal.Contains("adm")``.

    ASCII letters are the same in both cases; no character has a special meaning. Raises ValueError for an empty text
    and for one of more than 49,990 bytes.
    """

    text: str

    def __post_init__(self) -> None:
        length = len(self.pattern().encode("utf-8", "surrogateescape"))
        if not self.text or length > _LONGEST_PATTERN - 10:
            raise ValueError(f"a text to look for has from 1 to {_LONGEST_PATTERN - 10} bytes, not {length - 2}")

    def pattern(self) -> str:
        """The pattern for SQLite's LIKE, with a backslash before special characters."""
        _arguments.text("text", self.text)
        escaped = self.text.replace("\\", "\\\\").replace("%", "\\%").replace("_", "\\_")
        return f"%{escaped}%"


Text = Union[str, Contains]
"""A filter: the whole text of a column, or a part of it."""

Value = Union[int, bytes, str]


@dataclasses.dataclass(frozen=True)
class Condition:
    """An expression with a place for each of its values."""

    expression: str
    values: tuple[Value, ...]


@dataclasses.dataclass(frozen=True)
class Table(Generic[Row]):
    """A description of a log's table."""

    name: str
    id: str
    columns: tuple[str, ...]  # a row's values, as expressions
    make: Callable[[Any], Row]  # from the values of these
    fields: Mapping[str, tuple[str, ...]]  # for sorting and grouping, with their columns
    texts: Mapping[str, str]  # filters by text, and their columns
    numbers: Mapping[str, str]  # filters by number, and their columns
    stamp: str | None  # the column of seconds since 1970
    texts_of_time: tuple[str, str] | None  # those of date and time

    @property
    def filters(self) -> tuple[str, ...]:
        """The names of all filters."""
        return (*self.numbers, "since", "until", *self.texts)

    def at(self, operator: str, moment: datetime.datetime) -> Condition:
        """Rows by time: by their stamps if they have one, otherwise by their texts."""
        second = _moments.whole_second(moment)
        stamp = number_column(self.stamp or "")
        by_stamp = f"{stamp} {operator} ?"
        if self.texts_of_time is None:
            return Condition(by_stamp, (int(second.timestamp()),))
        by_text = f"{self.text_of_time()} {operator} ?"
        if self.stamp is None:
            return Condition(by_text, (_moments.local_text(second),))
        return Condition(
            f"CASE WHEN {stamp} > 0 THEN {by_stamp} ELSE {by_text} END",
            (int(second.timestamp()), _moments.local_text(second)),
        )

    def text_of_time(self) -> str:
        assert self.texts_of_time is not None
        date, time = self.texts_of_time
        return f"{date}||' '||{time}"

    def conditions(self, filters: Mapping[str, object]) -> tuple[Condition, ...]:
        """For filters by name. None means no filter."""
        conditions = []
        for name, value in filters.items():
            if name not in self.filters:
                raise TypeError(f"{name!r} is not a filter; the filters are {', '.join(self.filters)}")
            if value is None:
                continue
            if name == "since":
                conditions.append(self.at(">=", _arguments.moment(name, value)))
            elif name == "until":
                conditions.append(self.at("<", _arguments.moment(name, value)))
            elif name in self.numbers:
                conditions.append(Condition(f"{self.numbers[name]} = ?", (_arguments.number(name, value),)))
            elif isinstance(value, Contains):
                place, bound = _bound(name, value.pattern())
                conditions.append(Condition(f"{self.texts[name]} LIKE {place} ESCAPE '\\'", (bound,)))
            else:
                place, bound = _bound(name, value)
                conditions.append(Condition(f"{self.texts[name]} = {place}", (bound,)))
        return tuple(conditions)

    def columns_of(self, what: str, fields: Sequence[str]) -> tuple[str, ...]:
        """The columns of fields for sorting or grouping."""
        columns: list[str] = []
        for field in fields:
            if field not in self.fields:
                raise ValueError(f"{what} must be one of {', '.join(self.fields)}: {field!r}")
            columns += self.fields[field]
        return tuple(columns)


def _bound(name: str, value: object) -> tuple[str, Value]:
    """A text's placeholder in a statement, and its value: invalid UTF-8 cannot be bound as a text."""
    encoded = _arguments.text(name, value)
    try:
        return "?", encoded.decode("utf-8")
    except UnicodeDecodeError:
        return "CAST(? AS TEXT)", encoded


def text_column(column: str) -> str:
    """A column as text, whatever it holds; NULL is an empty text."""
    return f"IFNULL(CAST({column} AS TEXT), '')"


def number_column(column: str) -> str:
    """A column as a whole number, whatever it holds; NULL and other texts are 0."""
    return f"IFNULL(CAST({column} AS INTEGER), 0)"


def joined(columns: Sequence[str]) -> str:
    return ", ".join(columns)


@dataclasses.dataclass(frozen=True)
class Query(Generic[Row]):
    """A table and what to read of it."""

    table: Table[Row]
    conditions: tuple[Condition, ...] = ()
    sort: tuple[str, ...] = ()  # empty: by id
    descending: bool = False
    groups: tuple[str, ...] = ()
    largest_first: bool = False

    @property
    def values(self) -> tuple[Value, ...]:
        return tuple(value for condition in self.conditions for value in condition.values)

    def where(self, first: str = "") -> str:
        clauses = ([first] if first else []) + [f"({condition.expression})" for condition in self.conditions]
        return " WHERE " + " AND ".join(clauses) if clauses else ""

    def order_of_rows(self, id_column: str) -> str:
        direction = " DESC" if self.descending else ""
        return " ORDER BY " + joined([column + direction for column in (*self.sort, id_column)])

    def order_of_groups(self, size: str) -> str:
        return " ORDER BY " + joined(([f"{size} DESC"] if self.largest_first else []) + [*self.groups])
