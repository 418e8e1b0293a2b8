"""Rows' times, all aware and in the local time zone, in which the logs are written."""

from __future__ import annotations

import functools
from datetime import datetime, timedelta, timezone, tzinfo

# Since 1970 every zone has changed its offset only at a full quarter of an hour.
_QUARTER = 900
_CACHED = 1024

EPOCH = datetime(1970, 1, 1, tzinfo=timezone.utc)
"""The time of a row whose own time cannot be read."""

# Four digits of the year in every zone.
_FIRST = datetime(1000, 1, 2, tzinfo=timezone.utc)
_LAST = datetime(9999, 12, 30, tzinfo=timezone.utc)


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
    """Call this at the start of a listing: the process may have changed its zone (``time.tzset``)."""
    _zone_of_quarter.cache_clear()
    _zone_of_minute.cache_clear()


def of_stamp(stamp: int) -> datetime:
    """The time of a number of seconds since 1970."""
    try:
        return datetime.fromtimestamp(stamp, _zone_of_quarter(stamp // _QUARTER))
    except (ValueError, OverflowError, OSError):
        return EPOCH


def of_text(text: str) -> datetime:
    """The time of a text like "2026-11-22 05:57:01", in local time.

    In the hour that repeats when summer time ends, this is the first one.
    """
    try:
        return datetime.fromisoformat(text).replace(tzinfo=_zone_of_minute(text[:16]))
    except (ValueError, OverflowError, OSError):
        return EPOCH


def of_either(stamp: int, text: str | None) -> datetime:
    """The time of a stamp, or of the text in rows that are older than stamps."""
    return of_stamp(stamp) if text is None else of_text(text)


def whole_second(moment: datetime) -> datetime:
    """A time rounded up to a full second, because rows have no fractions.

    A bound outside the years that rows can have, such as ``datetime.max``, becomes the first or last of them: as a local
    time it would overflow, or be a text that does not sort.
    """
    moment = min(max(moment, _FIRST), _LAST)
    return moment if moment.microsecond == 0 else moment.replace(microsecond=0) + timedelta(seconds=1)


def local_text(moment: datetime) -> str:
    """A time as the logs write it."""
    return f"{moment.astimezone():%Y-%m-%d %H:%M:%S}"
