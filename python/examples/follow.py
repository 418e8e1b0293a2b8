#!/usr/bin/env python3
"""Prints each event when it is stored, until the program is told to end."""

import signal
import threading

import annal

stop = threading.Event()
for number in (signal.SIGINT, signal.SIGTERM):
    signal.signal(number, lambda *_: stop.set())
with annal.events.tail(follow=True, interval=0.5, stop=stop) as events:
    for event in events:
        print(f"{event.when:%T}  {event.level.name}  {event.message}", flush=True)
