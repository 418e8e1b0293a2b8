#!/usr/bin/env python3
"""kills.py BIN NATS-SERVER [--kills N] [--seed N]: entries of four logs on their way to a database, while whatever is on the way is
killed.

Runs on a private appliance, with three NATS nodes and a PostgreSQL server in a folder and on ports of its own. Writers
add numbered entries to four logs, whose limits delete the oldest meanwhile; at random the exporter, the collector, a
node or the database is killed, connections are cut, or a log is created again. At the end everything runs until it has
caught up. Then each id of each generation is in the database once or in a gap, and each text is there once.
"""
import argparse
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import annal

APPLIANCE = "0123456789abcdef0123456789abcdef"
LOGS = {"event": "/etc/logs/event.log", "conn": "/etc/logs/conn.log", "notice": "/etc/logs/notice.log",
        "fileop": "/etc/logs/operations.db"}
TABLES = {"event": ("ANNAL_EVENT", "event_id"), "conn": ("ANNAL_CONN", "conn_id"), "notice": ("ANNAL_NOTICE", "id"),
          "fileop": ("PAVO2LOG_EVENT", "event_id")}
TEXTS = {"event": "event_desc", "conn": "conn_res", "notice": "\"desc\"", "fileop": "event_filepath"}
NODES = ("one", "two", "three")
LIMIT = 400


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def listens(port):
    with socket.socket() as probe:
        return probe.connect_ex(("127.0.0.1", port)) == 0


# How long anything may take to come back: it bounds how long a real failure takes, and a slow machine is none.
PATIENCE = 300


def wait_for(what, condition, seconds=PATIENCE):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(f"gave up waiting for {what}")
        time.sleep(0.1)


class Proxy(threading.Thread):
    """A port that leads to another one, until its connections are cut."""

    def __init__(self, target):
        super().__init__(daemon=True)
        self.target = target
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.open = []
        self.start()

    def run(self):
        while True:
            near, _ = self.listener.accept()
            try:
                far = socket.create_connection(("127.0.0.1", self.target))
            except OSError:
                near.close()
                continue
            self.open += [near, far]
            for source, sink in ((near, far), (far, near)):
                threading.Thread(target=self.copy, args=(source, sink), daemon=True).start()

    @staticmethod
    def copy(source, sink):
        try:
            while data := source.recv(65536):
                sink.sendall(data)
        except OSError:
            pass
        for end in (source, sink):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def cut(self):
        """In the middle of whatever is being sent."""
        connections, self.open = self.open, []
        for connection in connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            connection.close()


class Fleet:
    def __init__(self, binaries, nats, folder):
        self.bin = pathlib.Path(binaries)
        self.nats = nats
        self.folder = pathlib.Path(folder)
        self.processes = {}
        self.commands = {}
        self.pg_port = free_port()
        self.pg = next(path for path in sorted(pathlib.Path("/usr/lib/postgresql").glob("*/bin"), reverse=True))
        self.as_postgres = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"] if os.geteuid() == 0 else []

    def start(self, name):
        log = open(self.folder / f"{name}.out", "ab")
        self.processes[name] = subprocess.Popen(self.commands[name], stdout=log, stderr=log, stdin=subprocess.DEVNULL)
        log.close()

    def kill(self, name, how=signal.SIGKILL):
        self.processes[name].send_signal(how)
        self.processes[name].wait()

    def say_the_ends(self):
        """What a failure elsewhere is understood from: the end of each program's output."""
        for path in sorted(self.folder.glob("*.out")):
            lines = path.read_text(errors="replace").splitlines()[-40:]
            print(f"--- the end of {path.name}", *(line[:300] for line in lines), sep="\n", file=sys.stderr)

    def end(self):
        for process in self.processes.values():
            if process.poll() is None:
                process.kill()
                process.wait()

    def sql(self, statement):
        """Waits for a database that was killed and is recovering."""
        command = ["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", self.folder / "socket", "-p",
                   str(self.pg_port), "-U", "postgres", "annal", "-c", statement]
        end = time.monotonic() + PATIENCE
        while True:
            run = subprocess.run(command, check=False, capture_output=True, text=True)
            if run.returncode == 0:
                return run.stdout.splitlines()
            if time.monotonic() > end:
                raise RuntimeError(run.stderr)
            time.sleep(0.5)

    def prepare_database(self):
        data, sockets = self.folder / "data", self.folder / "socket"
        for path in (data, sockets):
            path.mkdir()
            if os.geteuid() == 0:
                shutil.chown(path, "postgres")
        run = lambda *words: subprocess.run(words, check=True, stdout=subprocess.DEVNULL)
        run(*self.as_postgres, self.pg / "initdb", "-D", data, "-U", "postgres", "--auth=trust")
        self.commands["database"] = [*self.as_postgres, self.pg / "postgres", "-D", data, "-k", sockets, "-p",
                                     str(self.pg_port), "-c", "listen_addresses=127.0.0.1", "-c", "fsync=on"]
        self.start("database")
        ready = lambda: subprocess.run(["psql", "-h", sockets, "-p", str(self.pg_port), "-U", "postgres", "-c", "SELECT 1",
                                        "postgres"], capture_output=True).returncode == 0
        wait_for("the database", ready)
        run("createdb", "-h", sockets, "-p", str(self.pg_port), "-U", "postgres", "annal")
        (self.folder / "owner.toml").write_text(f'host = "{sockets}"\nport = {self.pg_port}\nuser = "postgres"\n')
        run(self.bin / "annal-database", "--config", self.folder / "owner.toml", "apply")
        self.pg_proxy = Proxy(self.pg_port)

    def prepare_nodes(self):
        ports = {node: (free_port(), free_port()) for node in NODES}
        routes = ", ".join(f'"nats://127.0.0.1:{route}"' for _, route in ports.values())
        for node, (port, route) in ports.items():
            (self.folder / f"{node}.conf").write_text(
                f'server_name: {node}\nlisten: "127.0.0.1:{port}"\n'
                f'jetstream {{ store_dir: "{self.folder}/{node}", max_file_store: 4GB }}\n'
                f'cluster {{ name: fleet, listen: "127.0.0.1:{route}", routes: [ {routes} ] }}\n')
            self.commands[node] = [self.nats, "-c", self.folder / f"{node}.conf"]
            self.start(node)
        self.node_ports = {node: port for node, (port, _) in ports.items()}
        self.node_proxies = {node: Proxy(ports[node][0]) for node in NODES}
        for port, _ in ports.values():
            wait_for("a node", lambda port=port: listens(port))

    def prepare_programs(self):
        servers = ", ".join(f'"nats://127.0.0.1:{proxy.port}"' for proxy in self.node_proxies.values())
        state = self.folder / "state"
        state.mkdir()
        (self.folder / "machine-id").write_text(APPLIANCE + "\n")
        (self.folder / "export.toml").write_text(
            f'state = "{state}"\nmachine_id = "{self.folder}/machine-id"\n[logs]\nfileop = "{LOGS["fileop"]}"\n'
            f'[sink.fleet]\ntype = "jetstream"\nservers = [{servers}]\ntls = "off"\ntimeout = 5\n')
        (self.folder / "collect.toml").write_text(
            f'refused_file = "{self.folder}/refused.jsonl"\n[jetstream]\nservers = [{servers}]\ntls = "off"\n'
            'duplicate_seconds = 1\n'
            f'[database]\nhost = "127.0.0.1"\nport = {self.pg_proxy.port}\nuser = "postgres"\ntls = "off"\n')
        self.commands["exporter"] = [self.bin / "annal-export", "--config", self.folder / "export.toml"]
        self.commands["collector"] = [self.bin / "annal-collect", "--config", self.folder / "collect.toml"]
        self.start("collector")
        self.start("exporter")

    def positions(self):
        """The saved position of each log."""
        import json
        found = {}
        for log in LOGS:
            path = self.folder / "state" / f"fleet.{log}.state"
            found[log] = json.loads(path.read_text().splitlines()[0]) if path.exists() else {"position": 0, "generation": 1}
        return found


def waited_for_processor():
    """The seconds that this thread could have run and another one did."""
    return int(pathlib.Path(f"/proc/self/task/{threading.get_native_id()}/schedstat").read_text().split()[1]) / 1e9


class Writer(threading.Thread):
    """Adds numbered entries to a log, and keeps a list of those that the library says it stored."""

    def __init__(self, log, pace):
        super().__init__(daemon=True)
        self.log, self.pace = log, pace
        self.stored = []
        self.slowest = (0.0, 0.0)  # a call, and how much of it was waiting for a processor
        self.running = True
        self.lock = threading.Lock()
        self.number = 0
        self.failure = None
        self.create()
        self.start()

    def create(self):
        logs = {"event": annal.events, "conn": annal.connections, "notice": annal.notices}
        self.target = logs.get(self.log) or annal.FileOperationLog(LOGS["fileop"])
        self.target.create(limit=LIMIT, drop_at_once=20)

    def add(self):
        texts = []
        for _ in range(random.randint(1, 20)):
            self.number += 1
            texts.append(f"/{self.log}/{self.number}")
        if self.log == "conn":
            self.measure(annal.connections.add_many, [annal.NewConnection(resource=text) for text in texts])
            self.stored += texts
        else:
            for text in texts:
                if self.log == "fileop":
                    self.measure(self.target.add, text, action=1)
                else:
                    self.measure(self.target.add, text)
                self.stored.append(text)

    def measure(self, call, *values, **more):
        begun, waited = time.monotonic(), waited_for_processor()
        call(*values, **more)
        self.slowest = max(self.slowest, (time.monotonic() - begun, waited_for_processor() - waited))

    def run(self):
        try:
            while self.running:
                with self.lock:
                    self.add()
                time.sleep(random.random() * self.pace)
        except Exception as failure:  # pylint: disable=broad-except
            self.failure = failure


def create_again(fleet, writer):
    """Once all that the log has was sent: what nobody has seen could not be missed."""
    with writer.lock:
        def caught_up():
            state = fleet.positions()[writer.log]
            return highest(writer.log) == state["position"]
        wait_for("the exporter to catch up", caught_up)
        os.remove(LOGS[writer.log])
        writer.create()


def highest(log):
    import sqlite3
    with sqlite3.connect(LOGS[log]) as connection:
        row = connection.execute("SELECT max(seq) FROM sqlite_sequence WHERE name = ?", (TABLES[log][0],)).fetchone()
    connection.close()
    return row[0] or 0


def verify(fleet, writers, generations):
    lost = doubled = missing = rows = 0
    for writer in writers:
        log = writer.log
        ids = {}
        texts = {}
        for line in fleet.sql(f"SELECT generation, id, {TEXTS[log]} FROM annal.{log}"):
            generation, number, text = line.split("|", 2)
            rows += 1
            key = (int(generation), int(number))
            ids[key] = ids.get(key, 0) + 1
            texts[text] = texts.get(text, 0) + 1
        gaps = set()
        for line in fleet.sql(f"SELECT generation, first_id, entries FROM annal.gap WHERE log = '{log}'"):
            generation, first, entries = map(int, line.split("|"))
            gaps.update((generation, number) for number in range(first, first + entries))
        gaps -= set(ids)
        missing += len(gaps)
        doubled += sum(count - 1 for count in texts.values()) + sum(count - 1 for count in ids.values())
        unknown = set(texts) - set(writer.stored)
        absent = set(writer.stored) - set(texts)
        # What was deleted before it was sent has no text any more, and is counted by its ids.
        lost += max(len(absent) - len(gaps), 0) + len(unknown)
        for generation in range(1, generations[log] + 1):
            known = {number for made, number in set(ids) | gaps if made == generation}
            lost += max(known, default=0) - len(known)
        if highest(log) != max((number for made, number in set(ids) | gaps if made == generations[log]), default=0):
            lost += 1
    return rows, missing, lost, doubled


def misfortune(fleet, writers, generations, nodes_down, kills):
    kind = random.choice(["exporter", "exporter", "collector", "collector", "node", "database", "cut", "cut database", "again"])
    kills[kind] = kills.get(kind, 0) + 1
    if kind in ("exporter", "collector"):
        fleet.kill(kind)
        time.sleep(random.random())
        fleet.start(kind)
    elif kind == "database":
        # All its processes, as when the machine loses power.
        fleet.kill(kind, signal.SIGQUIT)
        time.sleep(random.random() * 2)
        fleet.start(kind)
    elif kind == "node":
        # One at a time: two of three are needed to go on.
        for node in nodes_down:
            fleet.start(node)
        if nodes_down:
            time.sleep(2)
        nodes_down[:] = [random.choice(NODES)]
        fleet.kill(nodes_down[0])
    elif kind == "cut":
        for proxy in fleet.node_proxies.values():
            proxy.cut()
    elif kind == "cut database":
        fleet.pg_proxy.cut()
    else:
        for node in nodes_down:
            fleet.start(node)
        nodes_down.clear()
        writer = random.choice(writers)
        create_again(fleet, writer)
        generations[writer.log] += 1
    return kind


def main():
    options = argparse.ArgumentParser()
    options.add_argument("bin")
    options.add_argument("nats", help="the server's program: an appliance has no /usr/sbin of the machine")
    options.add_argument("--kills", type=int, default=12)
    options.add_argument("--seed", type=int, default=20)
    options = options.parse_args()
    random.seed(options.seed)
    folder = tempfile.mkdtemp(prefix="annal-fleet.", dir="/tmp")
    os.chmod(folder, 0o755)
    fleet = Fleet(options.bin, options.nats, folder)
    done = False
    try:
        fleet.prepare_database()
        fleet.prepare_nodes()
        writers = [Writer(log, 0.2) for log in LOGS]
        fleet.prepare_programs()
        generations = {log: 1 for log in LOGS}
        nodes_down, kills = [], {}
        wait_for("the first entries", lambda: int(fleet.sql("SELECT count(*) FROM annal.event")[0]) > 0)
        for number in range(options.kills):
            time.sleep(random.random() * 3)
            kind = misfortune(fleet, writers, generations, nodes_down, kills)
            print(f"  {number + 1}: {kind}", flush=True)
        for node in nodes_down:
            fleet.start(node)
        # What follows is sent twice, and the second time when the servers do not know it any more.
        copies = {path: path.read_bytes() for path in (fleet.folder / "state").glob("*.state")}
        time.sleep(2)
        for writer in writers:
            writer.running = False
            writer.join()
            if writer.failure is not None:
                raise RuntimeError(f"the writer of {writer.log} has ended") from writer.failure
        wait_for("the exporter to catch up",
                 lambda: all(highest(log) == state["position"] for log, state in fleet.positions().items()))
        sent = sum(state["sent"] for state in fleet.positions().values())
        fleet.kill("exporter")
        for path, content in copies.items():
            path.write_bytes(content)
        repeated = sent - sum(state["sent"] for state in fleet.positions().values())
        time.sleep(2)
        fleet.start("exporter")
        wait_for("the exporter to catch up again",
                 lambda: all(highest(log) == state["position"] for log, state in fleet.positions().items()))
        counts = []

        def settled():
            counts.append(sum(int(fleet.sql(f"SELECT count(*) FROM annal.{log}")[0]) for log in LOGS))
            time.sleep(1)
            return len(counts) > 10 and len(set(counts[-8:])) == 1 and verify(fleet, writers, generations)[2] == 0
        try:
            wait_for("the collector to catch up", settled)
        except TimeoutError as failure:
            print(failure)
        rows, missing, lost, doubled = verify(fleet, writers, generations)
        stored = sum(len(writer.stored) for writer in writers)
        print(f"  {kills}")
        print(f"  {stored} entries stored by writers, {rows} in the database, {missing} deleted before they were sent, "
              f"{sum(generations.values())} generations")
        for writer in writers:
            print(f"  slowest call of the writer of {writer.log}: {writer.slowest[0]:.3f} s, of which {writer.slowest[1]:.3f} s "
                  "waiting for a processor")
        print(f"  {repeated} entries were sent again after the servers' time for telling so")
        refused = pathlib.Path(folder, "refused.jsonl")
        print(f"{lost} lost, {doubled} doubled")
        done = lost == 0 and doubled == 0 and rows > 0 and repeated > 0 and not refused.exists()
    finally:
        fleet.end()
        if done:
            shutil.rmtree(folder)
        else:
            fleet.say_the_ends()
            print(f"what the servers said is in {folder}", file=sys.stderr)
    return 0 if done else 1


if __name__ == "__main__":
    sys.exit(main())
