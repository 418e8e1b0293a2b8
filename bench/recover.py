#!/usr/bin/env python3
"""recover.py BIN SHELL [DAMAGES [SEED]]: what annalctl's salvage and the .recover of SQLite's shell save of the same
damaged logs. BIN is the build's folder of programs; SHELL has the table sqlite_dbpage. Run it on an empty private
appliance: it fills /etc/logs."""
import collections
import os
import random
import shutil
import sqlite3
import subprocess
import sys

LOGS = "/etc/logs"
RECOVERED = "/etc/logs/recovered"
PAGE = 2048
HEADER = 100
ROWS = 194
DELETED = range(150, 156)
LIMIT = 60  # seconds; a reader that loops must not end the comparison

Subject = collections.namedtuple("Subject", "arguments path table encoding")
SUBJECTS = (
    Subject(["event"], f"{LOGS}/event.log", "ANNAL_EVENT", "UTF-8"),
    Subject(["conn"], f"{LOGS}/conn.log", "ANNAL_CONN", "UTF-8"),
    Subject(["event"], f"{LOGS}/event.log", "ANNAL_EVENT", "UTF-16le"),
    Subject(["fileop", "--db", f"{LOGS}/files.db"], f"{LOGS}/files.db", "PAVO2LOG_EVENT", "UTF-16be"),
)
ENCODINGS = {"UTF-8": 1, "UTF-16le": 2, "UTF-16be": 3}


def opened(path):
    connection = sqlite3.connect(path, isolation_level=None)
    # Damaged texts need not be UTF-8, and a text must not equal a BLOB of the same bytes.
    connection.text_factory = lambda text: ("text", text)
    return connection


def empty_logs():
    shutil.rmtree(LOGS)
    os.mkdir(LOGS)


def value(name, kind, row):
    if kind == "INTEGER":
        return 1790000000 + row * 60 if name.endswith("timet") else row * 7 % 9
    # Some rows continue on overflow pages.
    return f"{name} {row * 37 % 101}" + ("0" * 1800 if row % 25 == 0 and name.endswith(("desc", "res")) else "")


def make_log(annalctl, subject):
    """Creates and fills a log; returns the file's bytes."""
    empty_logs()
    subprocess.run([annalctl, *subject.arguments, "create", "--limit", "5000"], check=True, stdout=subprocess.DEVNULL)
    log = sqlite3.connect(subject.path, isolation_level=None)
    statements = [row[0] for row in log.execute("SELECT sql FROM sqlite_master WHERE sql NOT NULL AND name NOT LIKE "
                                                "'sqlite_%'")]
    log.close()
    # The library makes logs in UTF-8, and opens those of the other encodings.
    os.remove(subject.path)
    log = sqlite3.connect(subject.path, isolation_level=None)
    log.execute(f"PRAGMA encoding = '{subject.encoding}'")
    log.execute(f"PRAGMA page_size = {PAGE}")
    for statement in statements:
        log.execute(statement)
    columns = [(row[1], row[2]) for row in log.execute(f"PRAGMA table_info({subject.table})")][1:]
    log.execute("BEGIN")
    for row in range(1, ROWS + len(DELETED) + 1):
        log.execute(f"INSERT INTO {subject.table} ({', '.join(name for name, _ in columns)}) "
                    f"VALUES ({', '.join('?' * len(columns))})", [value(*column, row) for column in columns])
    log.execute(f"DELETE FROM {subject.table} WHERE rowid BETWEEN {DELETED.start} AND {DELETED.stop - 1}")
    log.execute("COMMIT")
    log.close()
    with open(subject.path, "rb") as file:
        return file.read()


def rows_of(path, table, columns=None):
    """The rows by their ids, in the named columns."""
    log = opened(path)
    try:
        names = columns or [row[1][1].decode() for row in log.execute(f"PRAGMA table_info({table})")]
        return names, {row[0]: row[1:] for row in log.execute(f"SELECT rowid, {', '.join(names[1:])} FROM {table}")}
    except sqlite3.Error:
        return columns, {}
    finally:
        log.close()


def orphans_of(path, count):
    """What .recover could not assign to a table, as ids and values; a short record lacks its last columns."""
    log = opened(path)
    try:
        for row in log.execute("SELECT * FROM lost_and_found"):
            # Root page, page, number of fields, id, and the fields, of which the first is the id's empty place.
            yield row[3], (row[5:] + (None,) * count)[:count]
    except sqlite3.Error:
        return
    finally:
        log.close()


# --- damages: each changes the bytes of a log ---


def any_page(file, draw):
    return draw.randrange(len(file) // PAGE) * PAGE


def overwrite_page(file, draw, _):
    page = any_page(file, draw)
    file[page:page + PAGE] = draw.randbytes(PAGE)


def zero_page(file, draw, _):
    page = any_page(file, draw)
    file[page:page + PAGE] = bytes(PAGE)


def swap_pages(file, draw, _):
    one, other = (number * PAGE for number in draw.sample(range(len(file) // PAGE), 2))
    file[one:one + PAGE], file[other:other + PAGE] = file[other:other + PAGE], file[one:one + PAGE]


def overwrite_quarter(file, draw, _):
    pages = len(file) // PAGE
    for number in draw.sample(range(pages), pages // 4):
        file[number * PAGE:(number + 1) * PAGE] = draw.randbytes(PAGE)


def truncate(file, draw, _):
    del file[draw.randrange(PAGE, len(file)):]


def zero_part(file, draw, _):
    length = draw.randint(4, 200)
    place = any_page(file, draw) + draw.randrange(PAGE - length)
    file[place:place + length] = bytes(length)


def change_bytes(file, draw, _):
    for _ in range(draw.randint(1, 15)):
        file[draw.randrange(len(file))] = draw.randrange(256)


def flip_bits(file, draw, _):
    for _ in range(draw.randint(1, 3)):
        file[draw.randrange(len(file))] ^= 1 << draw.randrange(8)


def change_schema(file, draw, subject):
    start = file.find(subject.table.encode(subject.encoding))
    places = [place for place in range(start, start + 300) if chr(file[place]).isalpha()]
    file[draw.choice(places)] = draw.choice(b"abcdefghijklmnopqrstuvwxyz")


def lose_header(file, draw, _):
    file[:HEADER] = draw.randbytes(HEADER) if draw.randrange(2) else bytes(HEADER)


def wrong_encoding(file, draw, subject):
    file[59] = draw.choice([code for name, code in ENCODINGS.items() if name != subject.encoding])


def wrong_reserved(file, draw, _):
    file[20] = draw.randrange(1, 256)


def wrong_page_size(file, draw, _):
    size = draw.choice([size for size in (512, 1024, 4096, 8192, 16384, 32768) if size != PAGE])
    file[16:18] = size.to_bytes(2, "big")


DAMAGES = {
    "a page overwritten": overwrite_page,
    "a page zeroed": zero_page,
    "two pages swapped": swap_pages,
    "a quarter of the pages overwritten": overwrite_quarter,
    "truncated": truncate,
    "zeros inside a page": zero_part,
    "one to fifteen bytes": change_bytes,
    "one to three bits": flip_bits,
    "a letter of the schema": change_schema,
    "lost header": lose_header,
    "wrong encoding": wrong_encoding,
    "wrong reserved bytes": wrong_reserved,
    "wrong page size": wrong_page_size,
}


# --- the two readers ---


def finished(process):
    """Waits for it, and returns its processor time, which does not depend on what else the machine does."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode in (125, 126, 127):  # of timeout(1); to count it as a loss would be wrong
        sys.exit(f"recover.py: cannot start {process.args[2]}; was it built again meanwhile?")
    return usage.ru_utime + usage.ru_stime


def limited(command):
    return ["timeout", str(LIMIT), *command]


def salvage(annalctl, subject):
    process = subprocess.Popen(limited([annalctl, *subject.arguments, "salvage", "--yes", "--force"]),
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    seconds = finished(process)
    return seconds, process.returncode


def recover(shell, subject):
    reader = subprocess.Popen(limited([shell, subject.path, ".recover"]), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    writer = subprocess.Popen(limited([shell, RECOVERED]), stdin=reader.stdout, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    reader.stdout.close()
    seconds = finished(reader) + finished(writer)
    return seconds, reader.returncode


class Tally:
    """What one reader saved."""

    def __init__(self):
        self.saved = collections.Counter()
        self.of = collections.Counter()
        self.orphans = collections.Counter()
        self.damages = self.wrong = self.ended = 0
        self.seconds = 0.0

    def add(self, kind, good, rows, orphans, seconds, status):
        right = {row for row, values in rows.items() if good.get(row) == values}
        found = {row for row, values in orphans if row in good and good[row] == values} - right
        self.damages += 1
        self.saved[kind] += len(right)
        self.orphans[kind] += len(found)
        self.of[kind] += len(good)
        self.wrong += len(rows) - len(right)
        self.seconds += seconds
        self.ended += status == 124  # by timeout(1)

    def share(self, kind=None, orphans=False):
        kinds = [kind] if kind else list(self.of)
        of = sum(self.of[kind] for kind in kinds)
        saved = sum(self.saved[kind] + (self.orphans[kind] if orphans else 0) for kind in kinds)
        return f"{100 * saved / of:.1f} %" if of else "-"


def compare(annalctl, shell, damages, seed, tallies):
    goods = []
    for subject in SUBJECTS:
        file = make_log(annalctl, subject)
        goods.append((file, *rows_of(subject.path, subject.table)))
        if len(goods[-1][2]) != ROWS:
            sys.exit(f"recover.py: {subject.path} has {len(goods[-1][2])} rows instead of {ROWS}")
    kinds = list(DAMAGES)
    for number in range(damages):
        # Each damage has a seed of its own, so that a longer run begins with a shorter one's.
        draw = random.Random(seed * 1000000 + number)
        kind = kinds[number % len(kinds)]
        which = number // len(kinds) % len(SUBJECTS)
        subject, (good, names, rows) = SUBJECTS[which], goods[which]
        damaged = bytearray(good)
        DAMAGES[kind](damaged, draw, subject)
        for name, tally in tallies.items():
            empty_logs()
            with open(subject.path, "wb") as file:
                file.write(damaged)
            if name == "salvage":
                seconds, status = salvage(annalctl, subject)
                # A log that it refuses stays as it is: nothing is saved.
                saved = rows_of(subject.path, subject.table, names)[1] if status == 0 else {}
                orphans = []
            else:
                seconds, status = recover(shell, subject)
                saved = rows_of(RECOVERED, subject.table, names)[1]
                orphans = orphans_of(RECOVERED, len(names) - 1)
            tally.add(kind, rows, saved, orphans, seconds, status)


def report(ours, other):
    print("| damage | salvage | .recover | and in lost_and_found |\n|---|---|---|---|")
    for kind in (*DAMAGES, None):
        print(f"| {kind or 'all'} | {ours.share(kind)} | {other.share(kind)} | {other.share(kind, orphans=True)} |")
    for name, tally in (("salvage", ours), (".recover", other)):
        print(f"{name}: {tally.damages} damages, {tally.saved.total()} of {tally.of.total()} rows in their table, "
              f"{tally.orphans.total()} in lost_and_found, {tally.wrong} rows with wrong values, "
              f"{1000 * tally.seconds / tally.damages:.0f} ms of processor time a log, {tally.ended} ended after "
              f"{LIMIT} s")


def main():
    if not 3 <= len(sys.argv) <= 5:
        sys.exit(__doc__)
    damages = int(sys.argv[3]) if len(sys.argv) > 3 else 2000
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else 1
    tallies = {"salvage": Tally(), ".recover": Tally()}
    try:
        compare(os.path.join(sys.argv[1], "annalctl"), sys.argv[2], damages, seed, tallies)
    except KeyboardInterrupt:
        pass  # what was measured until then counts
    report(*tallies.values())


if __name__ == "__main__":
    main()
