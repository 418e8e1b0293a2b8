"""Loads the library, and declares the types of the functions that this package calls.

The package reads through Python's own ``sqlite3``, so that module and the library must use the same copy of SQLite in
this process. Two copies would drop each other's locks by closing files, and lose entries: in an interpreter with a copy
of its own, importing the package fails.
"""

from __future__ import annotations

import ctypes
import importlib
import os
import sqlite3
from ctypes import POINTER, c_char_p, c_int, c_int64, c_uint, c_void_p
from typing import Any

from ._errors import ERRORS, AnnalError
from ._records import CatalogEntry, ConnRecord, EventRecord, FileOpRecord, NoticeRecord

SONAME = "libCorix_annal.so.2"
OVERRIDE = "ANNAL_LIBRARY"

# The result's type and the arguments' of each function, as the header declares them.
FUNCTIONS: dict[str, tuple[type[Any], tuple[type[Any], ...]]] = {
    "annal_checkip": (c_int, (c_char_p,)),
    "annal_event_create_tbl": (c_int, (c_int, c_int)),
    "annal_event_remove_tbl": (c_int, ()),
    "annal_event_flush_tbl": (c_int, ()),
    "annal_event_add_trigger_logfull": (c_int, (c_int, c_int)),
    "annal_event_remove_trigger_logfull": (c_int, ()),
    "annal_event_del_logfull_over_size": (c_int, (c_int,)),
    "annal_event_del": (c_int, (c_uint, c_void_p)),
    "annal_event_table_add_column": (c_int, (c_char_p, c_int, c_char_p)),
    "annal_event_modify_tbl": (c_int, ()),
    "annal_event_add_msgid_ex3": (c_int, (POINTER(EventRecord),)),
    "annal_conn_create_tbl": (c_int, (c_int, c_int)),
    "annal_conn_remove_tbl": (c_int, ()),
    "annal_conn_flush_tbl": (c_int, ()),
    "annal_conn_add_trigger_logfull": (c_int, (c_int, c_int)),
    "annal_conn_remove_trigger_logfull": (c_int, ()),
    "annal_conn_del_full": (c_int, (c_int,)),
    "annal_conn_del": (c_int, (c_uint, c_void_p)),
    "annal_conn_table_add_column": (c_int, (c_char_p, c_int, c_char_p)),
    "annal_conn_modify_tbl": (c_int, ()),
    "annal_conn_add_entries2": (c_int, (POINTER(ConnRecord), c_int, POINTER(c_int))),
    "pavo2log_event_create_tbl": (c_int, (c_char_p, c_int, c_int)),
    "pavo2log_event_remove_tbl": (c_int, (c_char_p,)),
    "pavo2log_event_flush_tbl": (c_int, (c_char_p,)),
    "pavo2log_event_add_trigger_logfull": (c_int, (c_char_p, c_int, c_int)),
    "pavo2log_event_remove_trigger_logfull": (c_int, (c_char_p,)),
    "pavo2log_event_del": (c_int, (c_char_p, c_uint, c_void_p)),
    "pavo2log_checkip": (c_int, (c_char_p,)),
    "pavo2log_event_add": (c_int64, (c_char_p, POINTER(FileOpRecord))),
    "annal_notice_create_tbl": (c_int, (c_int, c_int)),
    "annal_notice_remove_tbl": (c_int, ()),
    "annal_notice_flush_tbl": (c_int, ()),
    "annal_notice_add_trigger_logfull": (c_int, (c_int, c_int)),
    "annal_notice_remove_trigger_logfull": (c_int, ()),
    "annal_notice_del": (c_int, (c_uint, c_void_p)),
    "AnnalNoticeDellogByClientTime": (c_int, (c_int,)),
    "annal_notice_table_add_column": (c_int, (c_char_p, c_int, c_char_p)),
    "AnnalNoticeModifyTbl": (c_int, ()),
    "annal_notice_add": (c_int, (POINTER(NoticeRecord),)),
    "annal_notice_send": (c_int, (c_char_p, c_int, c_int) + (c_char_p,) * 7),
    "notify_send": (c_int, (c_char_p,) * 6 + (POINTER(CatalogEntry), c_int, c_int)),
    "Get_Facility_String_By_Facility": (c_int, (c_int, c_char_p, c_int)),
}

# The arrays of the message catalog, each named after its application.
APPLICATIONS = tuple(
    f"A{number:03}"
    for number in (
        *(1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 13, 15, 17, 18, 19, 20, 21, 22, 23, 24, 26, 29, 30, 31, 32, 34, 35, 36),
        *(37, 38, 39, 40, 41, 43, 44, 45, 46, 47, 49, 53, 55, 57, 59, 201, 234, 255, 259, 267, 283),
    )
)


def _load() -> ctypes.CDLL:
    name = os.environ.get(OVERRIDE) or SONAME
    try:
        library = ctypes.CDLL(name)
    except OSError as error:
        raise ImportError(
            f"cannot load the log library: {error} (install it, or name its file in {OVERRIDE})"
        ) from error
    for function, (result, arguments) in FUNCTIONS.items():
        prototype = getattr(library, function, None)
        if prototype is None:
            raise ImportError(f"{name} has no function {function}: it is not the log library, or another release of it")
        prototype.restype = result
        prototype.argtypes = arguments
    return library


def _address_of_sqlite(library: ctypes.CDLL) -> int | None:
    function = getattr(library, "sqlite3_open_v2", None)
    return None if function is None else ctypes.cast(function, c_void_p).value


def require_one_sqlite(library: ctypes.CDLL) -> None:
    """Raises ImportError unless Python's ``sqlite3`` and the library call the same copy of SQLite."""
    # Without a file, the module is part of the interpreter.
    pythons = ctypes.CDLL(getattr(importlib.import_module("_sqlite3"), "__file__", None))
    ours = _address_of_sqlite(library)
    if ours is None or ours != _address_of_sqlite(pythons):
        raise ImportError(
            "this interpreter has its own copy of SQLite. A process with two copies loses entries, because each "
            "drops the other's locks: use an interpreter whose sqlite3 module is linked with the system's "
            "libsqlite3.so.0, as the distribution's python3 is"
        )
    if sqlite3.threadsafety != 3:
        raise ImportError("SQLite was built without protection for threads: entries would be lost")


library = _load()
require_one_sqlite(library)


def call(function: str, *arguments: object) -> int:
    """Calls a function, and returns its result if that is 0 or more. A result code raises its exception.

    Other Python threads run meanwhile. Signal handlers run after the call: ^C does not end a wait for a lock.
    """
    result: int = getattr(library, function)(*arguments)
    if result < 0:
        error = ERRORS.get(result)
        if error is None:
            raise RuntimeError(f"{function}: answered {result}, which is not a result code")
        raise error(function)
    return result


__all__ = ["APPLICATIONS", "FUNCTIONS", "AnnalError", "call", "library", "require_one_sqlite"]
