"""The event log, /etc/logs/event.log."""

# mypy: enable-incomplete-feature=Unpack

from __future__ import annotations

import ctypes
import dataclasses
import datetime
import threading
from typing import Any, Literal, TypedDict, Unpack

from . import _arguments, _moments
from ._codes import EventSelector, Level
from ._drafts import maker
from ._library import call
from ._log import (
    Calls,
    Group,
    MigratingLog,
    Rows,
    date_value,
    number_value,
    text_value,
    time_value,
)
from ._query import Table, Text, number_column, text_column
from ._records import EventRecord
from ._tail import Following

PATH = b"/etc/logs/event.log"

EventField = Literal[
    "id",
    "when",
    "level",
    "user",
    "address",
    "computer",
    "message",
    "message_id",
    "app_id",
    "app",
    "category_id",
    "category",
    "client_id",
    "client_app",
    "client_agent",
]
"""What events can be sorted and grouped by."""


@dataclasses.dataclass(frozen=True, slots=True)
class Event:
    """One entry of the event log.

    Texts are as stored; what the storing program left out is mostly "---". A column without a value (NULL) is an empty
    text or 0, and ``when`` is 1970-01-01 00:00 UTC in a row whose time cannot be read.

    :ivar id: rises with each entry, and is never reused
    :ivar when: in local time, to the second
    """

    id: int
    level: Level
    when: datetime.datetime
    user: str
    address: str
    computer: str
    message: str
    message_id: str
    app_id: str
    app: str
    category_id: str
    category: str
    client_id: str
    client_app: str
    client_agent: str


class _Levels(dict[int, Level]):
    def __missing__(self, number: int) -> Level:
        return Level(number)


# Faster than the enumeration itself.
LEVELS = _Levels({level.value: level for level in Level})


_build = maker(Event)


def _make(values: Any) -> Event:
    number, level, stamp, text, *rest = values
    return _build(number, LEVELS[level], _moments.of_either(stamp, text), *rest)


_TEXTS = {
    "user": "event_user",
    "address": "event_ip",
    "computer": "event_comp",
    "message": "event_desc",
    "message_id": "event_msgid",
    "app_id": "event_app_id",
    "app": "event_app_name",
    "category_id": "event_category_id",
    "category": "event_category",
    "client_id": "event_client_id",
    "client_app": "event_client_app",
    "client_agent": "event_client_agent",
}

# Rows that are older than stamps have only these.
_TIME = "event_date||' '||event_time"

TABLE: Table[Event] = Table(
    name="ANNAL_EVENT",
    id="event_id",
    columns=(
        "event_id",
        number_column("event_type"),
        number_column("event_timet"),
        f"CASE WHEN {number_column('event_timet')} > 0 THEN NULL ELSE {text_column(_TIME)} END",
        *(text_column(column) for column in _TEXTS.values()),
    ),
    make=_make,
    fields={
        "id": ("event_id",),
        "when": ("event_date", "event_time"),
        "level": ("event_type",),
        **{name: (column,) for name, column in _TEXTS.items()},
    },
    texts=_TEXTS,
    numbers={"level": "event_type"},
    stamp="event_timet",
    texts_of_time=("event_date", "event_time"),
)


class EventFilters(TypedDict, total=False):
    """Filters for events, all of which an event must pass."""

    level: Level | None
    since: datetime.datetime | None
    until: datetime.datetime | None
    user: Text | None
    address: Text | None
    computer: Text | None
    message: Text | None
    message_id: Text | None
    app_id: Text | None
    app: Text | None
    category_id: Text | None
    category: Text | None
    client_id: Text | None
    client_app: Text | None
    client_agent: Text | None


class EventLog(MigratingLog[Event]):
    """The event log. ``annal.events`` is the only one.

    ``list``, ``count``, ``group`` and ``tail`` share these filters, all of which an event must pass:

    * ``level``: exactly this level
    * ``since``, ``until``: from this time on, and before that time; aware datetimes
    * the texts: the whole text of the column, or ``annal.Contains("part")``

    Reading waits up to 20 s for a lock, and holds none while your code has a row. It raises OpenFailedError if there is
    no log, and QueryFailedError if the log cannot be read.
    """

    _table = TABLE
    _name = "events"
    _calls = Calls(
        create="annal_event_create_tbl",
        drop="annal_event_remove_tbl",
        clear="annal_event_flush_tbl",
        add_limit="annal_event_add_trigger_logfull",
        remove_limit="annal_event_remove_trigger_logfull",
        delete="annal_event_del",
    )
    _add_column = "annal_event_table_add_column"
    _selectors = {
        "id": (EventSelector.ID, number_value),
        "level": (EventSelector.TYPE, number_value),
        "date": (EventSelector.DATE, date_value),
        "time": (EventSelector.TIME, time_value),
        "user": (EventSelector.USER, text_value),
        "address": (EventSelector.IP, text_value),
        "computer": (EventSelector.COMP, text_value),
        "message": (EventSelector.DESC, text_value),
        "message_id": (EventSelector.MSGID, text_value),
    }

    def __init__(self) -> None:
        super().__init__(PATH)

    def add(
        self,
        message: str,
        *,
        level: Level = Level.INFORMATION,
        when: datetime.datetime | None = None,
        user: str = "",
        address: str = "",
        computer: str = "",
        message_id: str = "",
        app_id: str = "",
        app: str = "",
        category_id: str = "",
        category: str = "",
        client_id: str = "",
        client_app: str = "",
        client_agent: str = "",
    ) -> None:
        """Stores an event, and forwards it to the appliance's other log consumers.

        :param message: up to 2048 bytes; the library removes control characters
        :param when: an aware datetime from 1970 to January 2038, kept to the second; None means now
        :param user, address, computer, message_id, app_id, category_id, client_id: up to 64 bytes each. ``address`` is
            an IPv4 or IPv6 address
        :param app, category, client_app: up to 128 bytes each
        :param client_agent: up to 255 bytes

        An empty text is stored as "---", an empty computer as "localhost". An event with neither address nor client
        application counts as one of the appliance itself.

        Raises ValueError for what the library would cut, replace or refuse; OpenFailedError; InsertFailedError if there
        is no log, or it is locked, damaged or on a full disk: then nothing is stored. Waits up to 20 s for a lock, and
        then for the notification centre's command. Forwarding reads the environment: no other thread may change
        ``os.environ`` meanwhile.
        """
        record = EventRecord(
            event_type=_arguments.number("level", level, 0, 2),
            event_timet=0 if when is None else _arguments.stamp("when", when),
            event_desc=_arguments.text("message", message, 2048),
            event_user=_arguments.text("user", user, 64),
            event_ip=_arguments.address("address", address),
            event_comp=_arguments.text("computer", computer, 64),
            event_msgid=_arguments.text("message_id", message_id, 64),
            event_app_id=_arguments.text("app_id", app_id, 64),
            event_app_name=_arguments.text("app", app, 128),
            event_category_id=_arguments.text("category_id", category_id, 64),
            event_category=_arguments.text("category", category, 128),
            event_client_id=_arguments.text("client_id", client_id, 64),
            event_client_app=_arguments.text("client_app", client_app, 128),
            event_client_agent=_arguments.text("client_agent", client_agent, 255),
        )
        call("annal_event_add_msgid_ex3", ctypes.byref(record))

    def list(
        self,
        *,
        order: EventField = "id",
        descending: bool | None = None,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[EventFilters],
    ) -> Rows[Event]:
        """An iterator over the events that pass the filters, the newest first.

        :param order: the field to sort by; events with equal values come in the order of their ids
        :param descending: None means descending for "id" and "when", and ascending otherwise
        :param limit: the largest number of events; None means all
        :param offset: how many to skip at the start

        Each event that exists when the listing starts, and is not deleted before its turn, is delivered once. Memory
        does not grow with their number; any order but "id" keeps its keys in a temporary file. Raises ValueError and
        TypeError at once, OpenFailedError and QueryFailedError while you iterate.
        """
        return self._rows(filters, order, descending, limit, offset)

    def count(self, **filters: Unpack[EventFilters]) -> int:
        """The number of events that pass the filters."""
        return self._count(filters)

    def group(
        self,
        *by: EventField,
        largest_first: bool = False,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[EventFilters],
    ) -> Rows[Group[Event]]:
        """Counts events by the fields that they share: ``group("level", "user")``.

        The groups come in the order of those fields, or by size. Each has its newest event. Memory does not grow with
        their number.
        """
        return self._groups(by, filters, largest_first, limit, offset)

    def tail(
        self,
        *,
        lines: int = 10,
        follow: bool = False,
        interval: float = 1.0,
        stop: threading.Event | None = None,
        **filters: Unpack[EventFilters],
    ) -> Rows[Event]:
        """The newest events in the order in which they were stored, and then each new one.

        :param lines: how many to start with
        :param follow: whether to continue: the iterator then waits for each new event, and ends only with ``stop``
        :param interval: how often to look, in seconds, from 0.01 to 86400
        :param stop: ends the iterator within an interval once it is set, by another thread or a signal handler; a log that
            is locked at that moment delays the end by up to 20 s

        While following, waits for a log that is locked or being recreated, and shows a recreated log from its first
        event. Misses what was stored and deleted again between two looks.
        """
        return self._tail(filters, lines, Following(follow, interval, stop))

    def delete(
        self,
        *,
        id: int | None = None,
        level: Level | None = None,
        date: datetime.date | None = None,
        time: datetime.time | None = None,
        user: str | None = None,
        address: str | None = None,
        computer: str | None = None,
        message: str | None = None,
        message_id: str | None = None,
    ) -> None:
        """Deletes the events whose column equals the one given argument. Finding none is not a failure.

        ``date`` and ``time`` are local. Quotes in texts are safe. Raises OpenFailedError, and
        ChangeFailedError, also for a locked log: this does not wait.
        """
        arguments = dict(locals())
        del arguments["self"]
        self._delete(arguments)

    def trim(self, limit: int) -> None:
        """Deletes the oldest events, by date and time, so that ``limit`` are left: 1 or more.

        Raises OpenFailedError, TriggerFailedError; waits up to 20 s for a lock.
        """
        call("annal_event_del_logfull_over_size", _arguments.number("limit", limit, 1))

    def migrate(self) -> None:
        """Adds the columns that a log of an earlier release lacks; does nothing when it lacks none.

        Raises OpenFailedError, and ChangeFailedError when its columns are others: nothing is changed then. Waits up
        to 20 s for a lock.
        """
        call("annal_event_modify_tbl")


events = EventLog()
"""The appliance's event log."""
