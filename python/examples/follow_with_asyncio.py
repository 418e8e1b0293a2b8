#!/usr/bin/env python3
"""Prints each event when it is stored, beside whatever else an event loop has to do."""

import asyncio
import signal
import threading
from collections.abc import AsyncIterator

import annal


async def tail(stop: threading.Event) -> AsyncIterator[annal.Event]:
    """The library's calls block, so each step is made in a thread."""
    events = annal.events.tail(follow=True, interval=0.5, stop=stop)
    try:
        while (event := await asyncio.to_thread(lambda: next(events, None))) is not None:
            yield event
    finally:
        # A cancelled task leaves its thread waiting for the next event, and the loop waits for the thread.
        stop.set()


async def main() -> None:
    stop = threading.Event()
    for number in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(number, stop.set)
    async for event in tail(stop):
        print(f"{event.when:%T}  {event.message}", flush=True)


asyncio.run(main())
