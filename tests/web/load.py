#!/usr/bin/env python3
"""load.py PORT: measures annal-web at 100,000 events, on a private appliance that serve.sh has prepared.

How long pages take; and while fifty readers ask for pages at once, how long each of eight writers waits and whether
every entry is stored. Readers cost writers processor time whatever they read, so the measure is how much longer writers
wait than beside readers of another log. Fails beyond 0.2 s for a page, and beyond 0.1 s for a writer.
"""
import base64
import contextlib
import http.client
import multiprocessing
import re
import sqlite3
import ssl
import statistics
import sys
import threading
import time

import annal

PORT = int(sys.argv[1])
PAGE_AT_MOST = 0.2
MORE_AT_MOST = 0.1
WRITERS, READERS, ENTRIES, ROUNDS = 8, 50, 100, 2
# Together the writers add more than a hundred entries a second, as a busy appliance does.
PAUSE = 0.05
HEADERS = {"Authorization": "Basic " + base64.b64encode(b"admin:admin").decode()}


def connect() -> http.client.HTTPSConnection:
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return http.client.HTTPSConnection("127.0.0.1", PORT, context=context, timeout=60)


def get(connection: http.client.HTTPSConnection, path: str) -> tuple[int, str]:
    connection.request("GET", path, headers=HEADERS)
    answer = connection.getresponse()
    return answer.status, answer.read().decode("utf-8", "replace")


def next_page(page: str) -> str:
    link = re.search('href="([^"]*)" rel="next"', page)
    assert link is not None, page
    return "/annal/" + link[1].replace("&amp;", "&")


def measure_pages() -> bool:
    connection = connect()
    slow = 0
    for name, path in [("all logs", "/annal/"), ("events", "/annal/?log=event"), ("folded", "/annal/?log=event&fold=1"),
                       ("by user", "/annal/?log=event&sort=user"), ("a filter", "/annal/?log=event&text=disk&not-user=ann")]:
        for number in range(1, 5):
            took = []
            for _ in range(5):
                begun = time.perf_counter()
                status, page = get(connection, path)
                took.append(time.perf_counter() - begun)
                assert status == 200, (path, status)
            slow += min(took) > PAGE_AT_MOST
            print(f"  {name}, page {number}: best {min(took) * 1000:.0f} ms, middle {statistics.median(took) * 1000:.0f} ms")
            path = next_page(page)
    return slow == 0


def write(waits: "multiprocessing.SimpleQueue[float]") -> None:
    for number in range(ENTRIES):
        begun = time.perf_counter()
        annal.events.add(f"entry {number}")
        waits.put(time.perf_counter() - begun)
        time.sleep(PAUSE)


def run_writers() -> list[float]:
    waits: multiprocessing.SimpleQueue[float] = multiprocessing.SimpleQueue()
    writers = [multiprocessing.Process(target=write, args=(waits,)) for _ in range(WRITERS)]
    found = []
    for writer in writers:
        writer.start()
    for _ in range(WRITERS * ENTRIES):
        found.append(waits.get())
    for writer in writers:
        writer.join()
    found.sort()
    return found


def told(waits: list[float]) -> str:
    return f"middle {statistics.median(waits) * 1000:.1f} ms, 99 of 100 within {waits[int(len(waits) * 0.99)] * 1000:.0f} ms, longest {waits[-1] * 1000:.0f} ms"


# As many file operations as there are events.
def fill_other_log() -> None:
    with sqlite3.connect("/etc/logs/operations.db") as database:
        database.execute(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 84000) INSERT INTO "
            "PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, event_filepath) SELECT "
            "i % 3, date('now', -(i / 1000) || ' days'), time(i * 86, 'unixepoch'), 'user ' || i % 7, '192.0.2.' || i % 9, "
            "'desk', '/share/photos/picture-' || i FROM n")
    database.close()


def count() -> int:
    with contextlib.closing(sqlite3.connect("file:/etc/logs/event.log?mode=ro", uri=True)) as database:
        return int(database.execute("SELECT count(*) FROM ANNAL_EVENT").fetchone()[0])


def run_writers_among_readers(path: str) -> list[float]:
    stop = threading.Event()
    answers: list[tuple[int, float, bool]] = []

    def read() -> None:
        connection = connect()
        while not stop.is_set():
            begun = time.perf_counter()
            status, page = get(connection, path)
            answers.append((status, time.perf_counter() - begun, " entries so far: " in page))

    readers = [threading.Thread(target=read) for _ in range(READERS)]
    for reader in readers:
        reader.start()
    time.sleep(1)
    waits = run_writers()
    stop.set()
    for reader in readers:
        reader.join()
    took = sorted(time for _, time, _ in answers)
    failed = sum(status != 200 for status, _, _ in answers)
    partial = sum(part for _, _, part in answers)
    print(f"    {len(took)} pages, middle {statistics.median(took):.2f} s, longest {took[-1]:.2f} s, {failed} refused, "
          f"{partial} counted in part")
    return waits


def measure_writers() -> bool:
    fill_other_log()
    before = count()
    print(f"  writers alone: {told(run_writers())}")
    # In turns, because other work on the machine comes and goes.
    found: dict[str, list[float]] = {"another log": [], "the same log": []}
    for _ in range(ROUNDS):
        for which, path in [("another log", "/annal/?log=fileop"), ("the same log", "/annal/?log=event")]:
            waits = run_writers_among_readers(path)
            print(f"  writers among {READERS} readers of {which}: {told(waits)}")
            found[which] += waits
    stored, expected = count() - before, (1 + 2 * ROUNDS) * WRITERS * ENTRIES
    more = max(found["the same log"]) - max(found["another log"])
    print(f"  stored: {stored} of {expected}; the longest wait is {more * 1000:+.0f} ms beside readers of the same log")
    return stored == expected and more <= MORE_AT_MOST


def main() -> None:
    pages = measure_pages()
    writers = measure_writers()
    sys.exit(0 if pages and writers else 1)


if __name__ == "__main__":
    main()
