"""The connection log, /etc/logs/conn.log."""

# mypy: enable-incomplete-feature=Unpack

from __future__ import annotations

import ctypes
import dataclasses
import datetime
import os
import sqlite3
import threading
from collections.abc import Iterable
from contextlib import closing
from types import TracebackType
from typing import Any, Literal, TypedDict, Unpack

from . import _arguments, _moments
from ._codes import ActionResult, ConnSelector, Level
from ._errors import InsertFailedError
from ._events import LEVELS
from ._drafts import maker
from ._library import call
from ._log import Calls, Group, MigratingLog, Rows, date_value, number_value, text_value, time_value
from ._query import Table, Text, number_column, text_column
from ._reader import connect
from ._records import ConnRecord
from ._tail import Following

PATH = b"/etc/logs/conn.log"

ConnectionField = Literal[
    "id",
    "when",
    "level",
    "user",
    "address",
    "computer",
    "resource",
    "service",
    "action",
    "app",
    "result",
    "client_id",
    "client_app",
    "client_agent",
]
"""What connections can be sorted and grouped by."""


@dataclasses.dataclass(frozen=True, slots=True)
class Connection:
    """One entry of the connection log. Its texts, numbers and time are like an Event's.

    :ivar service: the number of the service, 0 to 12
    :ivar action: the number of the action, 0 to 36
    """

    id: int
    level: Level
    when: datetime.datetime
    service: int
    action: int
    result: ActionResult
    user: str
    address: str
    computer: str
    resource: str
    app: str
    client_id: str
    client_app: str
    client_agent: str


@dataclasses.dataclass(frozen=True, slots=True, kw_only=True)
class NewConnection:
    """A connection to store, checked on construction.

    :ivar user, address, computer, client_id: up to 64 bytes each; ``address`` is an IPv4 or IPv6 address
    :ivar resource: the path, share or page that was accessed, up to 1024 bytes; the library removes control characters
    :ivar service: 0 to 12
    :ivar action: 0 to 36
    :ivar app: up to 256 bytes
    :ivar client_app: up to 128 bytes
    :ivar client_agent: up to 256 bytes

    An empty user is stored as "System", an empty address as "127.0.0.1", an empty computer as "localhost" and any
    other empty text as "---". The library stamps the connection when it stores it.

    Raises ValueError for what the library would cut, replace or refuse. Texts may contain any character, even quotes.
    """

    user: str = ""
    address: str = ""
    computer: str = ""
    resource: str = ""
    level: Level = Level.INFORMATION
    service: int = 0
    action: int = 0
    app: str = ""
    result: ActionResult = ActionResult.SUCCEEDED
    client_id: str = ""
    client_app: str = ""
    client_agent: str = ""

    def __post_init__(self) -> None:
        self.fill(ConnRecord())

    def fill(self, record: ConnRecord) -> None:
        """Fills a zeroed record."""
        record.conn_type = _arguments.number("level", self.level, 0, 2)
        record.conn_user = _arguments.text("user", self.user, 64)
        record.conn_ip = _arguments.address("address", self.address)
        record.conn_comp = _arguments.text("computer", self.computer, 64)
        record.conn_res = _arguments.text("resource", self.resource, 1024)
        record.conn_serv = _arguments.number("service", self.service, 0, 12)
        record.conn_action = _arguments.number("action", self.action, 0, 36)
        record.conn_app = _arguments.text("app", self.app, 256)
        result = _arguments.number("result", self.result)
        if result not in (ActionResult.SUCCEEDED, ActionResult.FAILED):
            raise ValueError(f"result is {result}: it must be 0 (succeeded) or 13 (failed)")
        record.conn_action_result = result
        record.conn_client_id = _arguments.text("client_id", self.client_id, 64)
        record.conn_client_app = _arguments.text("client_app", self.client_app, 128)
        record.conn_client_agent = _arguments.text("client_agent", self.client_agent, 256)


class _Results(dict[int, ActionResult]):
    def __missing__(self, number: int) -> ActionResult:
        return ActionResult(number)


_RESULTS = _Results({result.value: result for result in ActionResult})


_build = maker(Connection)


def _make(values: Any) -> Connection:
    number, level, time, service, action, result, *rest = values
    return _build(number, LEVELS[level], _moments.of_text(time), service, action, _RESULTS[result], *rest)


_TEXTS = {
    "user": "conn_user",
    "address": "conn_ip",
    "computer": "conn_comp",
    "resource": "conn_res",
    "app": "conn_app",
    "client_id": "conn_client_id",
    "client_app": "conn_client_app",
    "client_agent": "conn_client_agent",
}

_NUMBERS = {
    "level": "conn_type",
    "service": "conn_serv",
    "action": "conn_action",
    "result": "conn_action_result",
}

TABLE: Table[Connection] = Table(
    name="ANNAL_CONN",
    id="conn_id",
    columns=(
        "conn_id",
        number_column("conn_type"),
        text_column("conn_date||' '||conn_time"),
        number_column("conn_serv"),
        number_column("conn_action"),
        number_column("conn_action_result"),
        *(text_column(column) for column in _TEXTS.values()),
    ),
    make=_make,
    fields={
        "id": ("conn_id",),
        "when": ("conn_date", "conn_time"),
        **{name: (column,) for name, column in (_NUMBERS | _TEXTS).items()},
    },
    texts=_TEXTS,
    numbers=_NUMBERS,
    stamp=None,
    texts_of_time=("conn_date", "conn_time"),
)

# Tries what a batch does, and rolls it back: takes the write lock, and inserts into the table with its triggers and
# indexes. Two equal rows, because an added unique index would refuse only the second.
_TRIAL = (
    "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
    "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent) "
    "SELECT 0, strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, "
    "'LOCALTIME'), '---', '---', '---', '---', 0, 0, '---', 0, '---', '---', '---' FROM (VALUES (1), (2))"
)


def _require_log_that_takes_entries(path: bytes) -> None:
    """The library's batch deletes a log that it cannot write to. Raises InsertFailedError first."""
    try:
        with closing(connect(path)) as log:
            log.execute("BEGIN IMMEDIATE")
            log.execute(_TRIAL)
            log.execute("ROLLBACK")
    except sqlite3.Error as error:
        raise InsertFailedError("connections.add", f"{os.fsdecode(path)}: {error}; nothing was changed") from error


class Batch:
    """Stores connections together, which is much cheaper than one by one.

    Collects connections and stores them in transactions of ``size``, and the rest when the ``with`` block ends. If it
    ends with an exception, drops those that are not stored yet. For one thread at a time.

    :ivar stored: how many are in the log
    """

    def __init__(self, path: bytes, size: int) -> None:
        self._path = path
        self._size = _arguments.number("size", size, 1, 10000)
        self._waiting: list[NewConnection] = []
        self.stored = 0

    def add(self, connection: NewConnection) -> None:
        """Collects a connection, and stores the batch when it is full."""
        if not isinstance(connection, NewConnection):
            raise TypeError(f"connection must be annal.NewConnection, not {type(connection).__name__}")
        self._waiting.append(connection)
        if len(self._waiting) >= self._size:
            self.flush()

    def flush(self) -> None:
        """Stores the collected connections in one transaction.

        Raises InsertFailedError if the log is missing, locked for more than 20 s, damaged or on a full disk, or refuses
        rows; ``stored`` says how many are stored. Either way the collected ones are dropped: a second try would store
        some of them twice.
        """
        waiting, self._waiting = self._waiting, []
        if not waiting:
            return
        _require_log_that_takes_entries(self._path)
        records = (ConnRecord * len(waiting))()
        for record, connection in zip(records, waiting):
            connection.fill(record)
        inserted = ctypes.c_int(0)
        call("annal_conn_add_entries2", records, len(waiting), ctypes.byref(inserted))
        self.stored += inserted.value
        if inserted.value != len(waiting):
            raise InsertFailedError("connections.add", f"{inserted.value} of {len(waiting)} were stored")

    def __enter__(self) -> Batch:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        if kind is None:
            self.flush()
        self._waiting = []


class ConnectionFilters(TypedDict, total=False):
    """Filters for connections, all of which a connection must pass."""

    level: Level | None
    since: datetime.datetime | None
    until: datetime.datetime | None
    user: Text | None
    address: Text | None
    computer: Text | None
    resource: Text | None
    service: int | None
    action: int | None
    app: Text | None
    result: ActionResult | None
    client_id: Text | None
    client_app: Text | None
    client_agent: Text | None


class ConnectionLog(MigratingLog[Connection]):
    """The connection log. ``annal.connections`` is the only one.

    Filters as of the event log; ``service``, ``action`` and ``result`` are numbers that the column equals.
    """

    _table = TABLE
    _name = "connections"
    _calls = Calls(
        create="annal_conn_create_tbl",
        drop="annal_conn_remove_tbl",
        clear="annal_conn_flush_tbl",
        add_limit="annal_conn_add_trigger_logfull",
        remove_limit="annal_conn_remove_trigger_logfull",
        delete="annal_conn_del",
    )
    _add_column = "annal_conn_table_add_column"
    _selectors = {
        "id": (ConnSelector.ID, number_value),
        "level": (ConnSelector.TYPE, number_value),
        "date": (ConnSelector.DATE, date_value),
        "time": (ConnSelector.TIME, time_value),
        "user": (ConnSelector.USER, text_value),
        "address": (ConnSelector.IP, text_value),
        "computer": (ConnSelector.COMP, text_value),
        "resource": (ConnSelector.RES, text_value),
        "service": (ConnSelector.SERV, number_value),
        "action": (ConnSelector.ACTION, number_value),
        "app": (ConnSelector.APP, text_value),
        "result": (ConnSelector.ACTION_RESULT, number_value),
    }

    def __init__(self) -> None:
        super().__init__(PATH)

    def add(self, connection: NewConnection) -> None:
        """Stores a connection, and forwards it to the appliance's other log consumers.

        Stores it as a batch of one, in which a quote is a character like any other: names from the network are safe.
        Refuses a log that is not sound, and never deletes it.

        Raises InsertFailedError as ``Batch.flush`` does, OpenFailedError, BatchFailedError. Waits up to 20 s for each
        lock, and for the start of the consumers' commands.
        """
        with self.batch() as batch:
            batch.add(connection)

    def add_many(self, connections: Iterable[NewConnection]) -> int:
        """Stores connections in batches, and returns how many. Raises as ``add`` does: some may then be stored."""
        with self.batch() as batch:
            for connection in connections:
                batch.add(connection)
        return batch.stored

    def batch(self, size: int = 500) -> Batch:
        """A context manager that stores what is added to it, ``size`` connections at a time, from 1 to 10000::

            with annal.connections.batch() as batch:
                batch.add(annal.NewConnection(user="admin", address="10.0.0.5", service=7, action=9))

        A record takes 2 KiB of memory. Other writers wait while a batch is stored, so it should not be larger than
        necessary.
        """
        return Batch(self._path, size)

    def list(
        self,
        *,
        order: ConnectionField = "id",
        descending: bool | None = None,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[ConnectionFilters],
    ) -> Rows[Connection]:
        """An iterator over the connections that pass the filters, the newest first: as ``EventLog.list``."""
        return self._rows(filters, order, descending, limit, offset)

    def count(self, **filters: Unpack[ConnectionFilters]) -> int:
        """The number of connections that pass the filters."""
        return self._count(filters)

    def group(
        self,
        *by: ConnectionField,
        largest_first: bool = False,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[ConnectionFilters],
    ) -> Rows[Group[Connection]]:
        """Counts connections by the fields that they share: as ``EventLog.group``."""
        return self._groups(by, filters, largest_first, limit, offset)

    def tail(
        self,
        *,
        lines: int = 10,
        follow: bool = False,
        interval: float = 1.0,
        stop: threading.Event | None = None,
        **filters: Unpack[ConnectionFilters],
    ) -> Rows[Connection]:
        """The newest connections in the order in which they were stored, then each new one: as ``EventLog.tail``."""
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
        resource: str | None = None,
        service: int | None = None,
        action: int | None = None,
        app: str | None = None,
        result: ActionResult | None = None,
    ) -> None:
        """Deletes the connections whose column equals the one given argument: as ``EventLog.delete``."""
        arguments = dict(locals())
        del arguments["self"]
        self._delete(arguments)

    def delete_oldest(self, count: int) -> None:
        """Deletes the oldest connections, by date and time, ``count`` of them.

        Raises OpenFailedError, TriggerFailedError; waits up to 20 s for a lock.
        """
        call("annal_conn_del_full", _arguments.number("count", count, 0))

    def migrate(self) -> None:
        """Adds the columns that a log of an earlier release lacks: as ``EventLog.migrate``."""
        call("annal_conn_modify_tbl")


connections = ConnectionLog()
"""The appliance's connection log."""
