#!/usr/bin/env python3
"""Prints the ten addresses from which most log-ins failed in the last week."""

from datetime import datetime, timedelta

import annal

last_week = datetime.now().astimezone() - timedelta(weeks=1)
groups = annal.connections.group(
    "address", result=annal.ActionResult.FAILED, since=last_week, largest_first=True, limit=10
)
for group in groups:
    print(f"{group.count:5}  {group.newest.address}")
