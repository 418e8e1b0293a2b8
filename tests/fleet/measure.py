#!/usr/bin/env python3
"""measure.py BIN NATS-SERVER [--entries N]: what an exporter costs, on a private appliance.

Drains a backlog to standard output and to three NATS nodes while a writer adds events, and then idles. Prints the rate,
the most memory, the slowest call of the writer, and the processor time of an idle minute.
"""
import argparse
import os
import pathlib
import shutil
import sqlite3
import subprocess
import tempfile
import threading
import time

import annal

from kills import Fleet, LOGS


def fill(entries):
    annal.events.create(limit=entries * 2, drop_at_once=1000)
    with sqlite3.connect(LOGS["event"]) as log:
        # The trigger of the limit looks at the log for each entry that is added, which would take an hour here.
        triggers = log.execute("SELECT name, sql FROM sqlite_master WHERE type = 'trigger'").fetchall()
        for name, _ in triggers:
            log.execute(f"DROP TRIGGER {name}")
        log.execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
                    "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
                    "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
                    "event_client_id, event_client_app, event_client_agent) SELECT i % 3, '2026-11-21', '10:00:00', 'admin', "
                    "'192.0.2.17', 'host', 'Volume ' || i || ' is nearly full: 95 % of 12 TB are in use.', '---', 1795255200, "
                    "'A001', 'Storage', 'C001', 'Volumes', '---', '---', '---' FROM n", (entries,))
        for _, sql in triggers:
            log.execute(sql)
    log.close()


class Writer(threading.Thread):
    """Adds an event every hundredth of a second, and notes the slowest calls."""

    def __init__(self):
        super().__init__(daemon=True)
        self.calls = []
        self.running = True
        self.start()

    def run(self):
        while self.running:
            begun = time.monotonic()
            annal.events.add("written meanwhile")
            self.calls.append(time.monotonic() - begun)
            time.sleep(0.01)

    def end(self):
        self.running = False
        self.join()
        self.calls.sort()
        return f"{len(self.calls)} calls of a writer: median {self.calls[len(self.calls) // 2] * 1000:.1f} ms, " \
               f"slowest {self.calls[-1] * 1000:.0f} ms"


def most_memory(process):
    """In MiB, of a process that has not been waited for."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(status.split("VmHWM:")[1].split()[0]) / 1024


def drain(fleet, sink, entries, out):
    state = fleet.folder / "state"
    shutil.rmtree(state, ignore_errors=True)
    state.mkdir()
    config = fleet.folder / "measure.toml"
    config.write_text(f'state = "{state}"\nmachine_id = "{fleet.folder}/machine-id"\n[sink.fleet]\n{sink}')
    writer = Writer()
    begun = time.monotonic()
    process = subprocess.Popen([fleet.bin / "annal-export", "--config", config, "--once"], stdout=out)
    memory = 0.0
    while process.poll() is None:
        try:
            memory = max(memory, most_memory(process))
        except (OSError, IndexError):
            pass
        time.sleep(0.05)
    seconds = time.monotonic() - begun
    print(f"  {entries / seconds:,.0f} entries a second, {memory:.1f} MiB, exit status {process.returncode}; {writer.end()}",
          flush=True)
    return config


def idle(fleet, config, seconds):
    process = subprocess.Popen([fleet.bin / "annal-export", "--config", config], stdout=subprocess.DEVNULL)
    time.sleep(3)

    def used():
        return sum(int(task.read_text().split()[0]) for task in pathlib.Path(f"/proc/{process.pid}/task").glob("*/schedstat")) / 1e9
    before = used()
    time.sleep(seconds)
    print(f"  idle: {(used() - before) / seconds * 100:.3f} % of a core, {most_memory(process):.1f} MiB")
    process.terminate()
    process.wait()


def main():
    options = argparse.ArgumentParser()
    options.add_argument("bin")
    options.add_argument("nats")
    options.add_argument("--entries", type=int, default=1_000_000)
    options.add_argument("--idle", type=int, default=60)
    options = options.parse_args()
    fleet = Fleet(options.bin, options.nats, tempfile.mkdtemp(prefix="annal-fleet.", dir="/tmp"))
    (fleet.folder / "machine-id").write_text("0123456789abcdef0123456789abcdef\n")
    try:
        fill(options.entries)
        print("a writer alone:", flush=True)
        writer = Writer()
        time.sleep(10)
        print("  " + writer.end(), flush=True)
        print(f"standard output, {options.entries:,} entries:", flush=True)
        with open(os.devnull, "wb") as nowhere:
            drain(fleet, 'type = "stdout"\n', options.entries, nowhere)
        fleet.prepare_nodes()
        servers = ", ".join(f'"nats://127.0.0.1:{port}"' for port in fleet.node_ports.values())
        (fleet.folder / "collect.toml").write_text(
            f'refused_file = "{fleet.folder}/r"\n[jetstream]\nservers = [{servers}]\ntls = "off"\n[database]\nhost = "/nowhere"\n')
        fleet.commands["collector"] = [fleet.bin / "annal-collect", "--config", fleet.folder / "collect.toml"]
        fleet.start("collector")
        time.sleep(8)
        print(f"three NATS nodes, {options.entries:,} entries:", flush=True)
        config = drain(fleet, f'type = "jetstream"\nservers = [{servers}]\ntls = "off"\n', options.entries, None)
        idle(fleet, config, options.idle)
    finally:
        fleet.end()
        shutil.rmtree(fleet.folder)


if __name__ == "__main__":
    main()
