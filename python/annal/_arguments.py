"""Checks arguments before they reach the library, so that it never cuts or replaces them, or runs them as SQL."""

from __future__ import annotations

import ctypes
import datetime
import operator
import os
import re
from typing import SupportsIndex

from ._library import library

INT32 = (-(2**31), 2**31 - 1)
_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")


def text(name: str, value: object, bound: int | None = None) -> bytes:
    """A text's bytes, at most ``bound`` of them; what ``surrogateescape`` read becomes the same bytes again."""
    if not isinstance(value, str):
        raise TypeError(f"{name} must be str, not {type(value).__name__}")
    try:
        encoded = value.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError as error:
        raise ValueError(f"{name} holds a surrogate that encodes no byte: {error.reason}") from error
    if b"\0" in encoded:
        raise ValueError(f"{name} holds a zero character, which would end it")
    if bound is not None and len(encoded) > bound:
        raise ValueError(f"{name} is {len(encoded)} bytes long: at most {bound} are stored")
    return encoded


def quoted(name: str, value: object, bound: int | None = None) -> bytes:
    """A text for between single quotes in a statement, with its own quotes doubled."""
    encoded = text(name, value).replace(b"'", b"''")
    if bound is not None and len(encoded) > bound:
        raise ValueError(
            f"{name} is {len(encoded)} bytes long, counting each single quote twice: at most {bound} are stored"
        )
    return encoded


def address(name: str, value: object, check: str = "annal_checkip") -> bytes:
    """An IPv4 or IPv6 address that the library accepts, or an empty text."""
    encoded = text(name, value, 64)
    if b"'" in encoded:
        raise ValueError(f"{name} is not an address: {value!r}")
    if encoded:
        buffer = ctypes.create_string_buffer(encoded)
        if getattr(library, check)(buffer) != 0:
            raise ValueError(f"{name} is not an IPv4 or IPv6 address: {value!r}")
    return encoded


def number(name: str, value: object, lowest: int = INT32[0], highest: int = INT32[1]) -> int:
    """A whole number in its range."""
    if not isinstance(value, SupportsIndex):
        raise TypeError(f"{name} must be int, not {type(value).__name__}")
    result = operator.index(value)
    if not lowest <= result <= highest:
        raise ValueError(f"{name} is {result}: it must be from {lowest} to {highest}")
    return int(result)


def moment(name: str, value: object) -> datetime.datetime:
    """An aware time."""
    if not isinstance(value, datetime.datetime):
        raise TypeError(f"{name} must be datetime.datetime, not {type(value).__name__}")
    if value.utcoffset() is None:
        raise ValueError(f"{name} has no time zone: use {name}.astimezone() for local time")
    return value


def stamp(name: str, value: object) -> int:
    """Seconds since 1970 as the logs store them, in 32 bits. Not 0, which means now to the library."""
    return number(f"{name}, in seconds since 1970,", int(moment(name, value).timestamp()), 1)


def column(name: str, value: object) -> bytes:
    """A column's name, which goes unescaped into a statement."""
    encoded = text(name, value)
    if not _NAME.match(encoded.decode("utf-8", "surrogateescape")):
        raise ValueError(f"{name} must be letters, digits and underscores, and not begin with a digit: {value!r}")
    return encoded


def path(name: str, value: object) -> bytes:
    """A path's bytes."""
    if not isinstance(value, (str, bytes, os.PathLike)):
        raise TypeError(f"{name} must be str, bytes or os.PathLike, not {type(value).__name__}")
    encoded = os.fsencode(value)
    if b"\0" in encoded:
        raise ValueError(f"{name} holds a zero character, which would end it")
    return encoded


def only_one(arguments: dict[str, object]) -> tuple[str, object]:
    """The one argument that was given."""
    given = [(name, value) for name, value in arguments.items() if value is not None]
    if len(given) != 1:
        names = ", ".join(arguments)
        raise TypeError(f"exactly one of {names} must be given, not {len(given)}")
    return given[0]
