#!/usr/bin/env python3
"""Has a program's own warnings and errors stored in the event log, by way of the logging module."""

import logging

import annal

_LONGEST_MESSAGE = 2048


class EventHandler(logging.Handler):
    """Stores what is logged as events. What cannot be stored is reported as logging reports any such failure."""

    def emit(self, record: logging.LogRecord) -> None:
        try:
            if record.levelno >= logging.ERROR:
                level = annal.Level.ERROR
            elif record.levelno >= logging.WARNING:
                level = annal.Level.WARNING
            else:
                level = annal.Level.INFORMATION
            # Cut here, where it is known that an end may be missing.
            message = self.format(record).encode()[:_LONGEST_MESSAGE].decode(errors="ignore")
            annal.events.add(message, level=level, app=record.name)
        except Exception:
            self.handleError(record)


if __name__ == "__main__":
    annal.events.create(exist_ok=True)
    logger = logging.getLogger("backup")
    logger.addHandler(EventHandler())
    logger.warning("Job %d is late.", 7)
    logger.error("Job %d failed.", 7)
