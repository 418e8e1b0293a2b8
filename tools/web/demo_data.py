#!/usr/bin/env python3
"""demo_data.py DAYS [ENTRIES]: fills the logs of a private appliance with made-up entries of some days up to now.

The logs have to exist. Entries go into the files directly, because the library stamps each with the present time.
"""
import os
import random
import sqlite3
import sys
import time

USERS = ["admin", "ann", "bob", "carol", "backup", "---"]
ADDRESSES = ["192.0.2.10", "192.0.2.11", "192.0.2.27", "198.51.100.4", "2001:db8::17", "127.0.0.1"]
INTRUDERS = ["203.0.113.7", "203.0.113.99"]
EVENTS = [
    (0, "Storage", "Volume {n} has been checked: no errors were found."),
    (0, "Backup", "Backup job {n} has finished: {m} files, {n} of them new."),
    (0, "Update", "The package list is up to date."),
    (0, "System", "The time was set by pool.ntp.example: {n} ms."),
    (0, "Network", "Adapter {n} has a link at 10 Gbit/s."),
    (1, "Storage", "Volume {n} is nearly full: {m} MiB are left."),
    (1, "Hardware", "Disk {n} is warm: {d} °C."),
    (1, "Access", "Failed to log in as {u}: wrong password, attempt {n}."),
    (2, "Storage", "Disk {n} has failed. The volume is degraded."),
    (2, "Hardware", "Fan {n} has stopped."),
    (2, "Backup", "Backup job {n} has failed: the target cannot be reached."),
]
WEIGHTS = [8, 12, 6, 10, 4, 3, 3, 5, 0.4, 0.4, 0.6]


def main():
    if not os.environ.get("CORIX_PRIVATE_APPLIANCE"):
        sys.exit("This fills /etc/logs. Start it on a private appliance: see ./dev web.")
    days, entries = int(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 6000
    chance = random.Random(11)
    now = int(time.time())

    def moments(count):
        # More by day than by night.
        found = []
        while len(found) < count:
            moment = now - chance.randrange(days * 86400)
            if chance.random() < (1 if 7 <= time.localtime(moment).tm_hour < 19 else 0.25):
                found.append(moment)
        return sorted(found)

    def text(moment, form):
        return time.strftime(form, time.localtime(moment))

    def events():
        attack = now - 86400 * days // 3
        for moment in sorted(moments(entries) + [attack + i * 7 for i in range(entries // 10)]):
            if attack <= moment < attack + entries // 10 * 7 and (moment - attack) % 7 == 0:
                level, app, message = EVENTS[7]
                user, address = chance.choice(["root", "admin", "test"]), chance.choice(INTRUDERS)
            else:
                level, app, message = chance.choices(EVENTS, WEIGHTS)[0]
                user, address = chance.choice(USERS), chance.choice(ADDRESSES)
            message = message.format(n=chance.randint(1, 9), m=chance.randint(10, 9000), d=chance.randint(50, 61), u=user)
            yield (level, text(moment, "%Y-%m-%d"), text(moment, "%H:%M:%S"), user, address, "nas-1", message, moment, app)

    def connections():
        for moment in moments(entries // 3):
            failed = chance.random() < 0.1
            yield (1 if failed else 0, text(moment, "%Y-%m-%d"), text(moment, "%H:%M:%S"), chance.choice(USERS[:5]),
                   chance.choice(ADDRESSES), "desk-" + str(chance.randint(1, 9)), "/share/photos", 1, 9,
                   chance.choice(["SMB", "SSH", "HTTPS", "FTP"]), 13 if failed else 0)

    def notices():
        for moment in moments(entries // 20):
            severity = chance.choices([2, 3, 4, 5, 6], [1, 3, 8, 10, 30])[0]
            yield (severity, chance.choice(["Storage", "Backup", "Update"]), moment, moment, "admin", "127.0.0.1",
                   "nas-1", "Notice {} was sent to the administrators.".format(chance.randint(100, 199)))

    def operations():
        for moment in moments(entries // 6):
            name = "/share/photos/2026/picture-{}.jpg".format(chance.randint(1, 4000))
            moved = chance.random() < 0.1
            yield (0, text(moment, "%Y-%m-%d"), text(moment, "%H:%M:%S"), chance.choice(USERS[:5]),
                   chance.choice(ADDRESSES), "desk-2", name if moved else "", name.replace("2026", "kept") if moved else name)

    for file, statement, rows in [
        ("event.log", "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, "
         "event_desc, event_timet, event_app_name) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)", events()),
        ("conn.log", "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, "
         "conn_serv, conn_action, conn_app, conn_action_result) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)", connections()),
        ("notice.log", "INSERT INTO ANNAL_NOTICE (severity, serviceName, time, endtime, user, ip, client, \"desc\", "
         "title) VALUES (?, ?, ?, ?, ?, ?, ?, ?, '')", notices()),
        ("operations.db", "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_ip, "
         "event_comp, event_oldfilepath, event_filepath) VALUES (?, ?, ?, ?, ?, ?, ?, ?)", operations()),
    ]:
        database = sqlite3.connect("/etc/logs/" + file)
        with database:
            database.executemany(statement, rows)
        database.close()


if __name__ == "__main__":
    main()
