#!/usr/bin/env python3
"""Prints each event when it is stored, beside whatever else an event loop has to do."""

import asyncio
import signal
import threading
from collections.abc import AsyncIterator

import annal


async def tail(stop: threading.Event) -> AsyncIterator[annal.Event]:
    """The library's calls block, so each step is made in a thread."""
    with annal.events.tail(follow=True, interval=0.5, stop=stop) as events:
        while (event := await asyncio.to_thread(lambda: next(events, None))) is not None:
            yield event


async def main() -> None:
    stop = threading.Event()
    asyncio.get_running_loop().add_signal_handler(signal.SIGTERM, stop.set)
    async for event in tail(stop):
        print(f"{event.when:%T}  {event.message}", flush=True)


asyncio.run(main())
