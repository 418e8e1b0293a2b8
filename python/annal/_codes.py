"""The numbers of the library's header, under names. Each value is compared with the header by a test."""

from __future__ import annotations

import enum


class _Code(enum.IntEnum):
    """An enumeration that stays readable when a log holds a number that this release gives no name to."""

    @classmethod
    def _missing_(cls, value: object) -> _Code | None:
        if not isinstance(value, int):
            return None
        unknown = int.__new__(cls, value)
        unknown._name_ = f"UNKNOWN_{value}"
        unknown._value_ = value
        return unknown


class Level(_Code):
    """How grave an event, a connection or a file operation is.

    A row of another program may hold any number; it is read as ``Level.UNKNOWN_7`` and the like.
    """

    INFORMATION = 0
    WARNING = 1
    ERROR = 2


class Severity(_Code):
    """How grave a notice is, as syslog numbers it: 0 is the gravest."""

    EMERGENCY = 0
    ALERT = 1
    CRITICAL = 2
    ERROR = 3
    WARNING = 4
    NOTICE = 5
    INFORMATIONAL = 6
    DEBUG = 7


class ActionResult(_Code):
    """What became of a connection's action. The library stores these two only."""

    SUCCEEDED = 0
    FAILED = 13


class CatalogLevel(_Code):
    """How grave a message of the catalog is, on the catalog's own scale."""

    PHRASE = 0
    ERROR = 1
    WARNING = 2
    INFORMATION = 4


class ResultCode(enum.IntEnum):
    """What a function of the library answers. Every code but ``OK`` has an exception of its own."""

    OK = 0
    TOO_LONG = -10
    BAD_ARGUMENT = -11
    NO_MEMORY = -12
    OPEN_FAILED = -20
    TABLE_FAILED = -21
    EMPTY_FAILED = -22
    INSERT_FAILED = -23
    QUERY_FAILED = -24
    TRIGGER_FAILED = -25
    REMOVE_TRIGGER_FAILED = -26
    CHANGE_FAILED = -27
    BATCH_FAILED = -29


class ColumnKind(enum.IntEnum):
    """The type of a column to add."""

    TEXT = 0
    INTEGER = 1


class EventSelector(enum.IntEnum):
    """Columns by which annal_event_del deletes."""

    ID = 0
    TYPE = 1
    DATE = 2
    TIME = 3
    USER = 4
    IP = 5
    COMP = 6
    DESC = 7
    MSGID = 8
    TIMET = 9


class ConnSelector(enum.IntEnum):
    """Columns by which annal_conn_del deletes."""

    ID = 0
    TYPE = 1
    DATE = 2
    TIME = 3
    USER = 4
    IP = 5
    COMP = 6
    RES = 7
    SERV = 8
    ACTION = 9
    APP = 10
    ACTION_RESULT = 11


class FileOpSelector(enum.IntEnum):
    """Columns by which pavo2log_event_del deletes."""

    ID = 0
    TYPE = 1
    DATE = 2
    TIME = 3
    USER = 4
    IP = 5
    ISFOLDER = 6
    ACTION = 7
    FILESIZE = 8
    COMP = 9
    DUID = 10
    DESC = 11
    FILEPATH = 12


class NoticeSelector(enum.IntEnum):
    """Columns by which annal_notice_del deletes."""

    ID = 0
    SEVERITY = 1
    SERVER = 2
    ACTION = 3
    SERVICENAME = 4
    FACILITY = 5
    TIME = 6
    ENDTIME = 7
    USER = 8
    IP = 9
    DESC = 11
    MSGCODE = 12
    VARNUM = 13
    VARCONTENT = 14
    NAME = 15
    STATUS = 16
    UID = 17
    GID = 18
    LINK_ID = 19
    LINK_OPTION = 20
    TITLE = 21
