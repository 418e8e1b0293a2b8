"""File-operation logs: what users of the web file manager did, in files that callers name."""

# mypy: enable-incomplete-feature=Unpack

from __future__ import annotations

import ctypes
import dataclasses
import datetime
import os
import threading
from typing import Any, Literal, TypedDict, Unpack

from . import _arguments, _moments
from ._codes import FileOpSelector, Level
from ._errors import TableFailedError
from ._events import LEVELS
from ._drafts import maker
from ._library import call
from ._log import Calls, Group, Log, Rows, date_value, number_value, path_value, text_value, time_value
from ._query import Table, Text, number_column, text_column
from ._records import FileOpRecord, Tm
from ._tail import Following

FileOperationField = Literal[
    "id",
    "when",
    "level",
    "user",
    "address",
    "computer",
    "device",
    "old_path",
    "path",
    "kind",
    "action",
    "size",
    "description",
]
"""What file operations can be sorted and grouped by."""


@dataclasses.dataclass(frozen=True, slots=True)
class FileOperation:
    """One entry of a file-operation log. Its texts, numbers and time are like an Event's.

    :ivar kind: 0 to 2, as the file manager defines it (a folder or not)
    :ivar action: 1 to 35, as the file manager defines it
    :ivar size: in bytes, as far as 32 bits hold it
    :ivar path, old_path: bytes that are not UTF-8 are as in ``os.listdir``: ``os.fsencode`` returns them
    """

    id: int
    level: Level
    when: datetime.datetime
    kind: int
    action: int
    size: int
    pid: int
    user: str
    address: str
    computer: str
    device: str
    old_path: str
    path: str
    description: str
    sub_user: str


_build = maker(FileOperation)


def _make(values: Any) -> FileOperation:
    number, level, time, *rest = values
    return _build(number, LEVELS[level], _moments.of_text(time), *rest)


_TEXTS = {
    "user": "event_user",
    "address": "event_ip",
    "computer": "event_comp",
    "device": "event_duid",
    "old_path": "event_oldfilepath",
    "path": "event_filepath",
    "description": "event_desc",
}

_NUMBERS = {
    "level": "event_type",
    "kind": "event_isFolder",
    "action": "event_action",
    "size": "event_filesize",
}

TABLE: Table[FileOperation] = Table(
    name="PAVO2LOG_EVENT",
    id="event_id",
    columns=(
        "event_id",
        number_column("event_type"),
        text_column("event_date||' '||event_time"),
        number_column("event_isFolder"),
        number_column("event_action"),
        number_column("event_filesize"),
        number_column("pid"),
        *(text_column(column) for column in _TEXTS.values()),
        text_column("sub_user"),
    ),
    make=_make,
    fields={
        "id": ("event_id",),
        "when": ("event_date", "event_time"),
        **{name: (column,) for name, column in (_NUMBERS | _TEXTS).items()},
    },
    texts=_TEXTS,
    numbers=_NUMBERS,
    stamp=None,
    texts_of_time=("event_date", "event_time"),
)


def _local_time(when: datetime.datetime) -> Tm:
    local = _arguments.moment("when", when).astimezone()
    if local.year <= 1900:
        raise ValueError(f"when is in the year {local.year}: it must be after 1900")
    return Tm(
        tm_sec=local.second,
        tm_min=local.minute,
        tm_hour=local.hour,
        tm_mday=local.day,
        tm_mon=local.month - 1,
        tm_year=local.year - 1900,
        tm_isdst=-1,
    )


class FileOperationFilters(TypedDict, total=False):
    """Filters for file operations, all of which a file operation must pass."""

    level: Level | None
    since: datetime.datetime | None
    until: datetime.datetime | None
    user: Text | None
    address: Text | None
    computer: Text | None
    device: Text | None
    old_path: Text | None
    path: Text | None
    kind: int | None
    action: int | None
    size: int | None
    description: Text | None


class FileOperationLog(Log[FileOperation]):
    """A file-operation log: ``annal.FileOperationLog("/share/.log/operations.db")``.

    :param path: the log's file, which need not exist yet

    **Rights.** If other users may write the log, its folder or a folder above it, use it with no more rights than
    theirs: a journal that they put beside the log can make SQLite delete any file that the caller may delete.
    ``os.setgroups``, ``os.setresgid`` and ``os.setresuid``, in a process of its own, assume a user's rights.

    Filters as of the event log; ``kind``, ``action`` and ``size`` are numbers that the column equals.
    """

    _table = TABLE
    _name = "FileOperationLog"
    _calls = Calls(
        create="pavo2log_event_create_tbl",
        drop="pavo2log_event_remove_tbl",
        clear="pavo2log_event_flush_tbl",
        add_limit="pavo2log_event_add_trigger_logfull",
        remove_limit="pavo2log_event_remove_trigger_logfull",
        delete="pavo2log_event_del",
    )
    _selectors = {
        "id": (FileOpSelector.ID, number_value),
        "level": (FileOpSelector.TYPE, number_value),
        "date": (FileOpSelector.DATE, date_value),
        "time": (FileOpSelector.TIME, time_value),
        "user": (FileOpSelector.USER, text_value),
        "address": (FileOpSelector.IP, text_value),
        "kind": (FileOpSelector.ISFOLDER, number_value),
        "action": (FileOpSelector.ACTION, number_value),
        "size": (FileOpSelector.FILESIZE, number_value),
        "computer": (FileOpSelector.COMP, text_value),
        "device": (FileOpSelector.DUID, text_value),
        "description": (FileOpSelector.DESC, text_value),
        "path": (FileOpSelector.FILEPATH, path_value),
    }

    def __init__(self, path: str | bytes | os.PathLike[str] | os.PathLike[bytes]) -> None:
        encoded = _arguments.path("path", path)
        if not encoded:
            raise ValueError("path is empty: it must name the log's file")
        # An absolute path always names a file, never a URI or a database in memory.
        super().__init__(os.path.abspath(encoded))

    def _call(self, function: str, *arguments: object) -> int:
        return call(function, self._path, *arguments)

    def create(self, *, limit: int = 0, drop_at_once: int = 0, exist_ok: bool = False) -> None:
        """Creates the log: as ``EventLog.create``. Leaves a file that holds anything else alone: TableFailedError."""
        if self.exists() and not exist_ok:
            raise TableFailedError("FileOperationLog.create", f"{self.path} exists already")
        super().create(limit=limit, drop_at_once=drop_at_once, exist_ok=exist_ok)
        if not self.exists():
            raise TableFailedError("FileOperationLog.create", f"{self.path} holds something else")

    def add(
        self,
        path: str | bytes | os.PathLike[str] | os.PathLike[bytes],
        *,
        action: int,
        old_path: str | bytes | os.PathLike[str] | os.PathLike[bytes] = "",
        level: Level = Level.INFORMATION,
        when: datetime.datetime | None = None,
        user: str = "",
        address: str = "",
        computer: str = "",
        device: str = "",
        kind: int = 0,
        size: int = 0,
        description: str = "",
    ) -> int:
        """Stores a file operation, and returns its id.

        :param path, old_path: of any length; the old one before a move or renaming
        :param action: 1 to 35
        :param kind: 0 to 2
        :param size: a number of 32 bits
        :param when: an aware datetime after 1900, kept to the second; None means now
        :param user, computer, device: up to 64 bytes each, each single quote counting twice. Empty they become
            "System", "localhost" and "localhost"
        :param address: an IPv4 or IPv6 address, up to 64 bytes; more may follow an IPv4 address ("10.0.0.5:8080").
            Empty it becomes "127.0.0.1"
        :param description: up to 1024 bytes

        Raises ValueError for what the library would cut, replace or refuse; OpenFailedError; InsertFailedError: then
        nothing is stored. Waits 5 s for a lock by trying 50 times, so it may fail beside many writers: try again.
        """
        record = FileOpRecord(
            event_type=_arguments.number("level", level, 0, 2),
            event_user=_arguments.quoted("user", user, 64),
            event_ip=_arguments.address("address", address, "pavo2log_checkip"),
            event_oldfilepath=_arguments.path("old_path", old_path),
            event_filepath=_arguments.path("path", path),
            event_isFolder=_arguments.number("kind", kind, 0, 2),
            event_action=_arguments.number("action", action, 1, 35),
            event_filesize=_arguments.number("size", size),
            event_comp=_arguments.quoted("computer", computer, 64),
            event_duid=_arguments.quoted("device", device, 64),
            event_desc=_arguments.text("description", description, 1024),
        )
        if when is not None:
            record.event_tm = _local_time(when)
        return self._call("pavo2log_event_add", ctypes.byref(record))

    def list(
        self,
        *,
        order: FileOperationField = "id",
        descending: bool | None = None,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[FileOperationFilters],
    ) -> Rows[FileOperation]:
        """An iterator over the file operations that pass the filters, the newest first: as ``EventLog.list``."""
        return self._rows(filters, order, descending, limit, offset)

    def count(self, **filters: Unpack[FileOperationFilters]) -> int:
        """The number of file operations that pass the filters."""
        return self._count(filters)

    def group(
        self,
        *by: FileOperationField,
        largest_first: bool = False,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[FileOperationFilters],
    ) -> Rows[Group[FileOperation]]:
        """Counts file operations by the fields that they share: as ``EventLog.group``."""
        return self._groups(by, filters, largest_first, limit, offset)

    def tail(
        self,
        *,
        lines: int = 10,
        follow: bool = False,
        interval: float = 1.0,
        stop: threading.Event | None = None,
        **filters: Unpack[FileOperationFilters],
    ) -> Rows[FileOperation]:
        """The newest file operations in the order of their storing, then each new one: as ``EventLog.tail``."""
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
        kind: int | None = None,
        action: int | None = None,
        size: int | None = None,
        computer: str | None = None,
        device: str | None = None,
        description: str | None = None,
        path: str | None = None,
    ) -> None:
        """Deletes the file operations whose column equals the one given argument: as ``EventLog.delete``."""
        arguments = dict(locals())
        del arguments["self"]
        self._delete(arguments)
