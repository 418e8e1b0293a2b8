"""The appliance's logs for Python.

    import annal

    annal.events.add("Volume 1 is nearly full.", level=annal.Level.WARNING, app="Storage")
    for event in annal.events.list(user="admin", level=annal.Level.WARNING):
        print(event.when, event.message)

``annal.events``, ``annal.connections`` and ``annal.notices`` are the appliance's logs,
``annal.FileOperationLog(path)`` is a file-operation log, and ``annal.catalog["A011"][7].fill(60)`` a message of the
catalog.

**Texts** are str. Bytes that are not UTF-8 are read with ``surrogateescape`` and written back as the same bytes. A text
that the library would cut or replace raises a ValueError that names the bound; bounds are in bytes of UTF-8.

**Times** are aware datetimes, in local time when read; naive ones are refused.

**Failures** are exceptions derived from AnnalError, one for each of the library's result codes; invalid arguments raise
a TypeError or ValueError.

**Locks.** Your code never runs with a log locked. Writing waits up to 20 seconds for a lock unless the function says
otherwise, and other threads run meanwhile.

**Threads.** The logs have no state: any number of threads may use them at once, with the global lock or without one. An
iterator or a Batch is for one thread at a time. After a fork, start a new listing.
"""

from ._catalog import Application, Catalog, Message, catalog
from ._codes import ActionResult, CatalogLevel, ColumnKind, Level, ResultCode, Severity
from ._command import NotStartedError
from ._connections import (
    Batch,
    Connection,
    ConnectionField,
    ConnectionFilters,
    ConnectionLog,
    NewConnection,
    connections,
)
from ._errors import (
    AnnalError,
    BadArgumentError,
    BatchFailedError,
    ChangeFailedError,
    EmptyFailedError,
    InsertFailedError,
    NoMemoryError,
    OpenFailedError,
    QueryFailedError,
    RemoveTriggerFailedError,
    TableFailedError,
    TooLongError,
    TriggerFailedError,
)
from ._events import Event, EventField, EventFilters, EventLog, events
from ._file_operations import FileOperation, FileOperationField, FileOperationFilters, FileOperationLog
from ._notices import Notice, NoticeField, NoticeFilters, NoticeList, facilities, notices
from ._query import Contains, Text
from ._rows import Group, Rows

__version__ = "2.0.0"

__all__ = [
    "ActionResult",
    "AnnalError",
    "Application",
    "BadArgumentError",
    "Batch",
    "BatchFailedError",
    "Catalog",
    "CatalogLevel",
    "ChangeFailedError",
    "ColumnKind",
    "Connection",
    "ConnectionField",
    "ConnectionFilters",
    "ConnectionLog",
    "Contains",
    "EmptyFailedError",
    "Event",
    "EventField",
    "EventFilters",
    "EventLog",
    "FileOperation",
    "FileOperationField",
    "FileOperationFilters",
    "FileOperationLog",
    "Group",
    "InsertFailedError",
    "Level",
    "Message",
    "NewConnection",
    "NoMemoryError",
    "NotStartedError",
    "Notice",
    "NoticeField",
    "NoticeFilters",
    "NoticeList",
    "OpenFailedError",
    "QueryFailedError",
    "RemoveTriggerFailedError",
    "ResultCode",
    "Rows",
    "Severity",
    "TableFailedError",
    "Text",
    "TooLongError",
    "TriggerFailedError",
    "catalog",
    "connections",
    "events",
    "facilities",
    "notices",
]
