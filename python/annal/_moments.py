"""Times of rows, all of them aware, in the machine's local zone as the logs themselves are written."""

from __future__ import annotations

import functools
from datetime import datetime, timedelta, timezone, tzinfo

# No zone has changed its offset but at a full quarter of an hour since 1970.
_QUARTER = 900
_CACHED = 1024

EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
"""What a row has whose own time cannot be read."""


@functools.lru_cache(maxsize=_CACHED)
def _zone_of_quarter(quarter: int) -> tzinfo:
    zone = datetime.fromtimestamp(quarter * _QUARTER, timezone.utc).astimezone().tzinfo
    assert zone is not None
    return zone


@functools.lru_cache(maxsize=_CACHED)
def _zone_of_minute(minute: str) -> tzinfo:
    zone = datetime.fromisoformat(minute).astimezone().tzinfo
    assert zone is not None
    return zone


def forget_zones() -> None:
    """At the beginning of a listing, in case the zone of the process has been set since (``time.tzset``)."""
    _zone_of_quarter.cache_clear()
    _zone_of_minute.cache_clear()


def of_stamp(stamp: int) -> datetime:
    """The time of so many seconds since 1970."""
    try:
        return datetime.fromtimestamp(stamp, _zone_of_quarter(stamp // _QUARTER))
    except (ValueError, OverflowError, OSError):
        return EPOCH


def of_text(text: str) -> datetime:
    """The time of a text as "2026-11-22 05:57:01", which is local time.

    In the hour that is there twice when summer time ends, it is the first one.
    """
    try:
        return datetime.fromisoformat(text).replace(tzinfo=_zone_of_minute(text[:16]))
    except (ValueError, OverflowError, OSError):
        return EPOCH


def of_either(stamp: int, text: str | None) -> datetime:
    """The time of a stamp, or of a text in rows that are older than stamps."""
    return of_stamp(stamp) if text is None else of_text(text)


def whole_second(moment: datetime) -> datetime:
    """The first full second that is not before a time. Rows have no fractions of one."""
    return moment if moment.microsecond == 0 else moment.replace(microsecond=0) + timedelta(seconds=1)


def local_text(moment: datetime) -> str:
    """A time as the logs write it."""
    return f"{moment.astimezone():%Y-%m-%d %H:%M:%S}"
