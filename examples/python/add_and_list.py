"""Adds an event and lists the log. Failures raise."""

import annal

annal.events.create(exist_ok=True)
annal.events.add("Volume 1 is nearly full.", level=annal.Level.WARNING, user="o'neil")
for event in annal.events.list(order="id", descending=False):
    print(event.id, event.level.name.lower(), event.user, event.message)
