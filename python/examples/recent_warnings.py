#!/usr/bin/env python3
"""Prints the warnings of the last day, the newest first."""

from datetime import datetime, timedelta

import annal

yesterday = datetime.now().astimezone() - timedelta(days=1)
for event in annal.events.list(level=annal.Level.WARNING, since=yesterday):
    print(f"{event.when:%F %T}  {event.app}: {event.message}")
