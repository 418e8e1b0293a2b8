"""The notice list, /etc/logs/notice.log."""

# mypy: enable-incomplete-feature=Unpack

from __future__ import annotations

import ctypes
import dataclasses
import datetime
import threading
from collections.abc import Mapping
from types import MappingProxyType
from typing import Any, Literal, TypedDict, Unpack

from . import _arguments, _moments
from ._codes import CatalogLevel, ColumnKind, NoticeSelector, Severity
from ._command import send
from ._drafts import maker
from ._errors import ChangeFailedError
from ._library import call, library
from ._log import Calls, Group, MigratingLog, Rows, number_value, plain_value
from ._query import Table, Text, number_column, text_column
from ._records import NoticeFacility, NoticeRecord
from ._tail import Following

PATH = b"/etc/logs/notice.log"

NoticeField = Literal[
    "id",
    "when",
    "severity",
    "service",
    "facility",
    "user",
    "address",
    "client",
    "description",
    "message_code",
    "name",
    "server",
    "action",
    "status",
    "uid",
    "gid",
    "link_id",
    "link_option",
    "title",
    "variables",
    "variable_count",
]
"""What notices can be sorted and grouped by."""

_BACKGROUND_TASK = 99


def _facilities() -> Mapping[int, str]:
    listed = (NoticeFacility * 22).in_dll(library, "notice_facility_list")
    names = {entry.number: entry.name.decode() for entry in listed if entry.name is not None}
    buffer = ctypes.create_string_buffer(64)
    call("Get_Facility_String_By_Facility", _BACKGROUND_TASK, buffer, len(buffer))
    names[_BACKGROUND_TASK] = buffer.value.decode()
    return MappingProxyType(names)


facilities: Mapping[int, str] = _facilities()
"""The display names of the facilities that notices come from, by number."""


@dataclasses.dataclass(frozen=True, slots=True)
class Notice:
    """One notice. What holds for an Event's texts, numbers and time holds here.

    :ivar when: when it was stored
    :ivar end: the same, unless another program has changed it
    :ivar facility: see ``annal.facilities``
    :ivar uid, gid: -1 for none
    """

    id: int
    severity: Severity
    when: datetime.datetime
    end: datetime.datetime
    server: int
    action: int
    facility: int
    variable_count: int
    status: int
    uid: int
    gid: int
    service: str
    user: str
    address: str
    client: str
    description: str
    message_code: str
    variables: str
    name: str
    link_id: str
    link_option: str
    title: str


class _Severities(dict[int, Severity]):
    def __missing__(self, number: int) -> Severity:
        return Severity(number)


_SEVERITIES = _Severities({severity.value: severity for severity in Severity})


_build = maker(Notice)


def _make(values: Any) -> Notice:
    number, severity, when, end, *rest = values
    return _build(number, _SEVERITIES[severity], _moments.of_stamp(when), _moments.of_stamp(end), *rest)


_TEXTS = {
    "service": "serviceName",
    "user": "user",
    "address": "ip",
    "client": "client",
    "description": '"desc"',
    "message_code": "msgCode",
    "variables": "varContent",
    "name": "name",
    "link_id": "link_id",
    "link_option": "link_option",
    "title": "title",
}

_NUMBERS = {
    "server": "server",
    "action": "action",
    "facility": "facility",
    "variable_count": "varNum",
    "status": "status",
    "uid": "uid",
    "gid": "gid",
}

TABLE: Table[Notice] = Table(
    name="ANNAL_NOTICE",
    id="id",
    columns=(
        "id",
        number_column("severity"),
        number_column("time"),
        number_column("endtime"),
        *(number_column(column) for column in _NUMBERS.values()),
        *(text_column(column) for column in _TEXTS.values()),
    ),
    make=_make,
    fields={
        "id": ("id",),
        "when": ("time",),
        "severity": ("severity",),
        **{name: (column,) for name, column in (_NUMBERS | _TEXTS).items()},
    },
    texts=_TEXTS,
    numbers={"severity": "severity", **_NUMBERS},
    stamp="time",
    texts_of_time=None,
)


def _stamp_value(name: str, value: object) -> object:
    return ctypes.byref(ctypes.c_int(_arguments.stamp(name, value)))


def _stamp_text_value(name: str, value: object) -> object:
    return str(_arguments.stamp(name, value)).encode()


# The library doubles the quotes of these three but puts none around them, so they need an expression without quotes.
def _spelled_value(name: str, value: object) -> object:
    points = [str(ord(character)) for character in _arguments.text(name, value).decode("utf-8", "strict")]
    parts = [f"char({','.join(points[i : i + 100])})" for i in range(0, len(points), 100)]
    return "||".join(parts or ["char()"]).encode()


class NoticeFilters(TypedDict, total=False):
    """Filters for notices, all of which a notice must pass."""

    severity: Severity | None
    since: datetime.datetime | None
    until: datetime.datetime | None
    service: Text | None
    facility: int | None
    user: Text | None
    address: Text | None
    client: Text | None
    description: Text | None
    message_code: Text | None
    variable_count: int | None
    variables: Text | None
    name: Text | None
    title: Text | None
    server: int | None
    action: int | None
    status: int | None
    uid: int | None
    gid: int | None
    link_id: Text | None
    link_option: Text | None


class NoticeList(MigratingLog[Notice]):
    """The notice list. ``annal.notices`` is the only one.

    Filters as of the event log; those that are not texts are numbers that the column equals.
    """

    _table = TABLE
    _name = "notices"
    _calls = Calls(
        create="annal_notice_create_tbl",
        drop="annal_notice_remove_tbl",
        clear="annal_notice_flush_tbl",
        add_limit="annal_notice_add_trigger_logfull",
        remove_limit="annal_notice_remove_trigger_logfull",
        delete="annal_notice_del",
    )
    _add_column = "annal_notice_table_add_column"
    _selectors = {
        "id": (NoticeSelector.ID, number_value),
        "severity": (NoticeSelector.SEVERITY, number_value),
        "server": (NoticeSelector.SERVER, number_value),
        "action": (NoticeSelector.ACTION, number_value),
        "service": (NoticeSelector.SERVICENAME, plain_value),
        "facility": (NoticeSelector.FACILITY, number_value),
        "when": (NoticeSelector.TIME, _stamp_text_value),
        "end": (NoticeSelector.ENDTIME, _stamp_value),
        "user": (NoticeSelector.USER, plain_value),
        "address": (NoticeSelector.IP, plain_value),
        "description": (NoticeSelector.DESC, plain_value),
        "message_code": (NoticeSelector.MSGCODE, plain_value),
        "variable_count": (NoticeSelector.VARNUM, number_value),
        "variables": (NoticeSelector.VARCONTENT, plain_value),
        "name": (NoticeSelector.NAME, plain_value),
        "status": (NoticeSelector.STATUS, number_value),
        "uid": (NoticeSelector.UID, number_value),
        "gid": (NoticeSelector.GID, number_value),
        "link_id": (NoticeSelector.LINK_ID, _spelled_value),
        "link_option": (NoticeSelector.LINK_OPTION, _spelled_value),
        "title": (NoticeSelector.TITLE, _spelled_value),
    }

    def __init__(self) -> None:
        super().__init__(PATH)

    def add(
        self,
        description: str,
        *,
        severity: Severity = Severity.INFORMATIONAL,
        service: str = "",
        facility: int = 0,
        user: str = "",
        address: str = "",
        client: str = "",
        message_code: str = "",
        variable_count: int = 0,
        variables: str = "",
        name: str = "",
        title: str = "",
        server: int = 0,
        action: int = 0,
        status: int = 0,
        uid: int = -1,
        gid: int = -1,
        link_id: str = "",
        link_option: str = "",
    ) -> None:
        """Stores a notice without forwarding it: ``send`` tells other programs.

        :param description: up to 2048 bytes; the library removes control characters
        :param service: up to 1024 bytes; empty: "System"
        :param user, address, client, message_code: up to 64 bytes each; ``address`` is an IPv4 or IPv6 address. Empty
            they become "System", "127.0.0.1", "localhost" and "0"
        :param variables: up to 2048 bytes
        :param name: up to 128 bytes
        :param title, link_id: up to 256 bytes each
        :param link_option: up to 1024 bytes
        :param facility, variable_count, server, action, status, uid, gid: numbers of 32 bits with the meaning that
            callers give them; any uid or gid below 0 is stored as -1

        Raises ValueError for what the library would cut, replace or refuse; OpenFailedError; InsertFailedError: then
        nothing is stored. Waits up to 20 s for a lock.
        """
        record = NoticeRecord(
            severity=_arguments.number("severity", severity, 0, 7),
            server=_arguments.number("server", server),
            action=_arguments.number("action", action),
            serviceName=_arguments.text("service", service, 1024),
            facility=_arguments.number("facility", facility),
            user=_arguments.text("user", user, 64),
            ip=_arguments.address("address", address),
            client=_arguments.text("client", client, 64),
            desc=_arguments.text("description", description, 2048),
            msgCode=_arguments.text("message_code", message_code, 64),
            varNum=_arguments.number("variable_count", variable_count),
            varContent=_arguments.text("variables", variables, 2048),
            name=_arguments.text("name", name, 128),
            status=_arguments.number("status", status),
            uid=_arguments.number("uid", uid),
            gid=_arguments.number("gid", gid),
            link_id=_arguments.text("link_id", link_id, 256),
            link_option=_arguments.text("link_option", link_option, 1024),
            title=_arguments.text("title", title, 256),
        )
        call("annal_notice_add", ctypes.byref(record))

    def send(
        self,
        message: str,
        *values: str,
        app_id: str,
        category_id: str,
        number: str,
        level: CatalogLevel = CatalogLevel.INFORMATION,
        type: int = 0,
        user: str | None = None,
        address: str | None = None,
        computer: str | None = None,
    ) -> None:
        """Passes a notice to the device's notification command, and waits for its end. Stores nothing.

        :param message: a template or a text
        :param values: the message's parameters, at most 42
        :param app_id, category_id, number: identify the message, such as "A011", "C001", "7"
        :param level: an error, a warning or information
        :param type: any number of 32 bits

        Without the command, runs the event log's tool instead, and drops notices of type 2 and 3. The command's result
        is unknown. Sets LC_ALL in the process's environment, which ``os.environ`` does not show: no other thread may
        use the environment meanwhile. Raises NotStartedError.
        """
        send(message, values, app_id, category_id, number, level, type, user, address, computer)

    def list(
        self,
        *,
        order: NoticeField = "id",
        descending: bool | None = None,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[NoticeFilters],
    ) -> Rows[Notice]:
        """An iterator over the notices that pass the filters, the newest first: as ``EventLog.list``."""
        return self._rows(filters, order, descending, limit, offset)

    def count(self, **filters: Unpack[NoticeFilters]) -> int:
        """The number of notices that pass the filters."""
        return self._count(filters)

    def group(
        self,
        *by: NoticeField,
        largest_first: bool = False,
        limit: int | None = None,
        offset: int = 0,
        **filters: Unpack[NoticeFilters],
    ) -> Rows[Group[Notice]]:
        """Counts notices by the fields that they share: as ``EventLog.group``."""
        return self._groups(by, filters, largest_first, limit, offset)

    def tail(
        self,
        *,
        lines: int = 10,
        follow: bool = False,
        interval: float = 1.0,
        stop: threading.Event | None = None,
        **filters: Unpack[NoticeFilters],
    ) -> Rows[Notice]:
        """The newest notices in the order in which they were stored, and then each new one: as ``EventLog.tail``."""
        return self._tail(filters, lines, Following(follow, interval, stop))

    def delete(
        self,
        *,
        id: int | None = None,
        severity: Severity | None = None,
        service: str | None = None,
        facility: int | None = None,
        when: datetime.datetime | None = None,
        end: datetime.datetime | None = None,
        user: str | None = None,
        address: str | None = None,
        description: str | None = None,
        message_code: str | None = None,
        variable_count: int | None = None,
        variables: str | None = None,
        name: str | None = None,
        title: str | None = None,
        server: int | None = None,
        action: int | None = None,
        status: int | None = None,
        uid: int | None = None,
        gid: int | None = None,
        link_id: str | None = None,
        link_option: str | None = None,
    ) -> None:
        """Deletes the notices whose column equals the one given argument: as ``EventLog.delete``.

        The library cannot delete by the client's host name.
        """
        arguments = dict(locals())
        del arguments["self"]
        self._delete(arguments)

    def delete_older_than(self, days: int) -> None:
        """Deletes the notices that are older than ``days`` days of 24 hours, 1 to 24855.

        Raises OpenFailedError, and ChangeFailedError, also for a locked log: this does not wait.
        """
        call("AnnalNoticeDellogByClientTime", _arguments.number("days", days, 1, 24855))

    def migrate(self, *, recreate: bool = False) -> None:
        """Brings a list from an earlier release up to date; does nothing if it has all columns.

        :param recreate: whether a list that lacks any column but ``title`` may be deleted with all its notices and
            recreated for 10000, which is all that the library can do. Otherwise raises ChangeFailedError, and changes
            nothing

        Raises OpenFailedError, ChangeFailedError, QueryFailedError. Stop other programs that use the list first: if
        one locks it at this moment, the library believes that columns are missing.
        """
        there = {column.lower() for column in self.columns()}
        if not there:
            raise ChangeFailedError("notices.migrate", f"{self.path} has no such table")
        missing = [column for column in _COLUMNS if column.lower() not in there]
        if missing == ["title"]:
            self.add_column("title", ColumnKind.TEXT, "")
        elif missing and not recreate:
            raise ChangeFailedError("notices.migrate", f"the list lacks {', '.join(missing)} and can only be recreated")
        elif missing:
            # Its result says nothing here: it reports a failure even if the new list is correct.
            library.AnnalNoticeModifyTbl()
            if not set(_COLUMNS) <= set(self.columns()):
                raise ChangeFailedError("AnnalNoticeModifyTbl")


_COLUMNS = (
    *("id", "severity", "server", "action", "serviceName", "facility", "time", "endtime", "user", "ip", "client"),
    *("desc", "msgCode", "varNum", "varContent", "name", "status", "uid", "gid", "link_id", "link_option", "title"),
)

notices = NoticeList()
"""The appliance's notice list."""
