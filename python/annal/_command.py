"""The device's notification command."""

from __future__ import annotations

import ctypes
import os
from collections.abc import Sequence

from . import _arguments
from ._library import library
from ._records import CatalogEntry

# Limits beyond which the library silently drops arguments. Its vectors have room for 63 and 22, including its own.
_MOST_VALUES_TO_SEND = 42
_MOST_ARGUMENTS = 22
_ALWAYS_THERE = 8
_ROOM = 10240

_CLIENT_VARIABLES = {
    "client_id": "HTTP_CLIENT_ID",
    "client_app": "HTTP_CLIENT_APP",
    "client_agent": "HTTP_CLIENT_AGENT",
}


class NotStartedError(Exception):
    """The notification command could not be started: it does not exist, or no process could be created."""


def _optional(name: str, value: object) -> bytes | None:
    return None if value is None else _arguments.text(name, value)


def _texts(values: Sequence[object]) -> list[bytes]:
    return [_arguments.text("a value", value) for value in values]


def _variadic(values: Sequence[bytes]) -> list[ctypes.c_char_p]:
    return [*(ctypes.c_char_p(value) for value in values), ctypes.c_char_p(None)]


def send(
    message: str,
    values: Sequence[str],
    app_id: str,
    category_id: str,
    number: str,
    level: int,
    type: int,
    user: str | None,
    address: str | None,
    computer: str | None,
) -> None:
    """Calls annal_notice_send."""
    if len(values) > _MOST_VALUES_TO_SEND:
        raise ValueError(f"there are {len(values)} values: at most {_MOST_VALUES_TO_SEND} are passed on")
    first, *further = _variadic(_texts(values))
    result = library.annal_notice_send(
        _arguments.text("app_id", app_id),
        _arguments.number("level", level),
        _arguments.number("type", type),
        _arguments.text("category_id", category_id),
        _arguments.text("number", number),
        _optional("address", address),
        _optional("user", user),
        None if computer is None else _arguments.text("computer", computer, 1024),
        _arguments.text("message", message),
        first,
        *further,
    )
    if result != 0:
        raise NotStartedError("annal_notice_send: the notification command could not be run")


def notify(entry: CatalogEntry, values: Sequence[object], type: int, level: int, client: dict[str, str | None]) -> None:
    """Calls notify_send. The client's details are address, user, computer, client_id, client_app, client_agent."""
    details = {name: _optional(name, value) for name, value in client.items()}
    texts = _texts([str(value) for value in values])
    options = [value for value in details.values() if value is not None]
    options += [
        os.fsencode(os.environ[variable])
        for name, variable in _CLIENT_VARIABLES.items()
        if details[name] is None and variable in os.environ
    ]
    if _ALWAYS_THERE + len(options) + len(texts) > _MOST_ARGUMENTS:
        most = _MOST_ARGUMENTS - _ALWAYS_THERE - len(options)
        raise ValueError(f"there are {len(texts)} values: with these details, at most {most} are passed on")
    # Each option has a name of at most 15 characters, and each text a terminator.
    size = sum(len(text) + 16 for text in options) + sum(len(text) + 1 for text in texts) + 5 * 16
    if size > _ROOM:
        raise ValueError(f"values and details of {size} bytes are too long: there is room for {_ROOM}")
    result = library.notify_send(
        details["address"],
        details["user"],
        details["computer"],
        details["client_id"],
        details["client_app"],
        details["client_agent"],
        ctypes.byref(entry),
        _arguments.number("type", type),
        _arguments.number("level", level),
        *_variadic(texts),
    )
    if result != 0:
        raise NotStartedError("notify_send: no process could be created for the notification command")
