#!/usr/bin/env python3
"""simulation.py PORTS PROCESSES APPLIANCES SECONDS FOLDER: appliances that publish to three nodes.

Each has a connection, a clock (some are wrong by a day, a few by decades), and entries at random times. Then all of them
write at once, and then a node is killed, whose appliances come back to the others after a random wait. Every entry is
kept until the stream has acknowledged it, and is sent again if that takes too long, as annal-export does.

PORTS and PROCESSES are lists with commas. When the node is to be killed, FOLDER/kill appears, and the script's caller
kills the first node. The last line of the output is "acknowledged N".
"""
import asyncio
import datetime
import hashlib
import json
import pathlib
import random
import resource
import sys
import time

ENTRIES_A_DAY = 1000
PATIENCE = 10.0  # seconds until an unanswered entry is sent again


class Fleet:
    def __init__(self, ports, count):
        self.ports = ports
        self.latencies = []
        self.published = 0
        self.repeated = 0
        self.known = 0  # what the stream had already
        self.acknowledged = 0
        self.connected = 0
        self.appliances = [Appliance(self, number) for number in range(count)]

    def waiting(self):
        return sum(len(one.pending) for one in self.appliances)


class Appliance:
    def __init__(self, fleet, number):
        self.fleet = fleet
        self.name = hashlib.md5(str(number).encode()).hexdigest()
        self.next_id = 1
        self.pending = {}  # id: [message, first sent, last sent]
        self.writer = None
        chance = random.random()
        self.clock = (random.uniform(-2, 2) if chance < 0.9 else
                      random.uniform(-86400, 86400) if chance < 0.99 else
                      random.choice([-1, 1]) * random.uniform(20, 50) * 365 * 86400)

    def entry(self):
        number, self.next_id = self.next_id, self.next_id + 1
        seconds = max(0, int(time.time() + self.clock))
        moment = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
        date, clock = moment.strftime("%Y-%m-%d"), moment.strftime("%H:%M:%S")
        text = f"Volume {number} is nearly full."
        body = json.dumps({
            "appliance": self.name, "log": "event", "generation": 1, "kind": "entry", "id": number, "date": date,
            "time": clock, "timestamp": seconds, "level": "warning", "severity": 4, "message": text,
            "fields": {"event_id": number, "event_type": 1, "event_date": date, "event_time": clock, "event_user": "admin",
                       "event_ip": "192.0.2.1", "event_comp": "desk", "event_desc": text, "event_msgid": "0",
                       "event_timet": seconds, "event_app_id": "A1", "event_app_name": "Storage", "event_category_id": "C1",
                       "event_category": "Volumes", "event_client_id": "---", "event_client_app": "---",
                       "event_client_agent": "---"}}, separators=(",", ":")).encode()
        header = f"NATS/1.0\r\nNats-Msg-Id: {self.name}/event/1/{number}\r\n\r\n".encode()
        message = (f"HPUB annal.{self.name}.event _INBOX.{self.name}.{number} {len(header)} {len(header) + len(body)}\r\n"
                   .encode() + header + body + b"\r\n")
        self.pending[number] = [message, time.monotonic(), 0.0]
        self.fleet.published += 1
        self.send(number)

    def send(self, number):
        if self.writer is None:
            return
        message = self.pending[number]
        if message[2]:
            self.fleet.repeated += 1
        message[2] = time.monotonic()
        self.writer.write(message[0])

    def acknowledge(self, subject, payload):
        number = int(subject.rsplit(".", 1)[1])
        answer = json.loads(payload) if payload else {"error": "nobody has the stream"}
        if "error" in answer or number not in self.pending:
            return
        self.fleet.latencies.append(time.monotonic() - self.pending.pop(number)[1])
        self.fleet.acknowledged += 1
        self.fleet.known += bool(answer.get("duplicate"))

    async def serve(self, reader):
        while True:
            line = await reader.readline()
            if not line:
                raise ConnectionError
            words = line.split()
            if words[0] in (b"MSG", b"HMSG"):
                data = await reader.readexactly(int(words[-1]) + 2)
                self.acknowledge(words[1].decode(), data[int(words[-2]):-2] if words[0] == b"HMSG" else data[:-2])
            elif words[0] == b"PING":
                self.writer.write(b"PONG\r\n")

    async def connect(self):
        ports = random.sample(self.fleet.ports, len(self.fleet.ports))
        for port in ports[:-1]:
            try:
                return await asyncio.open_connection("127.0.0.1", port)
            except OSError:
                pass
        return await asyncio.open_connection("127.0.0.1", ports[-1])

    async def live(self):
        await asyncio.sleep(random.uniform(0, 10))
        while True:
            try:
                reader, writer = await self.connect()
                await reader.readline()
                writer.write(b'CONNECT {"verbose":false,"headers":true,"no_responders":true}\r\n' +
                             f"SUB _INBOX.{self.name}.* 1\r\n".encode())
                self.writer = writer
                self.fleet.connected += 1
                for number in list(self.pending):
                    self.send(number)
                try:
                    await self.serve(reader)
                finally:
                    self.writer = None
                    self.fleet.connected -= 1
                    writer.close()
            except (OSError, EOFError, ConnectionError):
                await asyncio.sleep(random.uniform(0, 5))  # not all together again

    async def write(self):
        while True:
            await asyncio.sleep(random.expovariate(ENTRIES_A_DAY / 86400))
            self.entry()


async def repeat(fleet):
    while True:
        await asyncio.sleep(1)
        late = time.monotonic() - PATIENCE
        for one in fleet.appliances:
            for number, message in one.pending.items():
                if message[2] < late:
                    one.send(number)


def memory(processes):
    sizes = []
    for process in processes:
        try:
            status = pathlib.Path(f"/proc/{process}/status").read_text(encoding="ascii")
            sizes.append(int(status.split("VmRSS:")[1].split()[0]) // 1024)
        except OSError:
            sizes.append(0)
    return sizes


def seconds_of_processor(processes):
    total = 0
    for process in processes:
        try:
            fields = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()
            total += (int(fields[11]) + int(fields[12])) / 100
        except OSError:
            pass
    return total


def tell(fleet, what, since):
    times = sorted(fleet.latencies)
    fleet.latencies = []
    spread = ", ".join(f"{name} {times[min(len(times) - 1, int(len(times) * part))] * 1000:.0f} ms"
                       for name, part in (("half within", 0.5), ("99 % within", 0.99), ("all within", 1))) if times else ""
    print(f"  {what}: {time.monotonic() - since:.1f} s; {len(times)} acknowledged; {spread}", flush=True)


async def until(condition, limit):
    begin = time.monotonic()
    while not condition() and time.monotonic() - begin < limit:
        await asyncio.sleep(0.1)
    return condition()


async def main():
    ports, processes = ([int(word) for word in text.split(",")] for text in sys.argv[1:3])
    count, seconds, folder = int(sys.argv[3]), float(sys.argv[4]), pathlib.Path(sys.argv[5])
    fleet = Fleet(ports, count)
    since = time.monotonic()
    tasks = [asyncio.create_task(one.live()) for one in fleet.appliances]
    await until(lambda: fleet.connected == count, 120)
    print(f"  {fleet.connected} connected after {time.monotonic() - since:.1f} s; a node has {memory(processes)} MiB")

    tasks.append(asyncio.create_task(repeat(fleet)))
    writers = [asyncio.create_task(one.write()) for one in fleet.appliances]
    since, spent = time.monotonic(), seconds_of_processor(processes)
    await asyncio.sleep(seconds)
    tell(fleet, "an ordinary time", since)
    print(f"  of which the nodes took {seconds_of_processor(processes) - spent:.1f} s of processor")

    since = time.monotonic()
    for one in fleet.appliances:
        for _ in range(3):
            one.entry()
    await until(lambda: fleet.waiting() < count / 100, 300)
    tell(fleet, "three entries of each at once", since)

    since = time.monotonic()
    (folder / "kill").touch()
    await until(lambda: fleet.connected < count, 30)
    await until(lambda: fleet.connected == count, 120)
    print(f"  a node killed: all are connected again after {time.monotonic() - since:.1f} s")
    await until(lambda: fleet.waiting() < count / 100, 120)
    tell(fleet, "and nearly all is acknowledged", since)

    for writer in writers:
        writer.cancel()
    settled = await until(lambda: fleet.waiting() == 0, 120)
    for task in tasks:
        task.cancel()
    print(f"  {fleet.published} entries, {fleet.repeated} sent again, {fleet.known} of them known to the stream, "
          f"nodes with {memory(processes)} MiB")
    print(f"acknowledged {fleet.acknowledged}" + ("" if settled else f", {fleet.waiting()} never"))


soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
asyncio.run(main())
