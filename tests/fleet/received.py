#!/usr/bin/env python3
"""received.py otlp|relp FILE heads|redactions: what a receiver has of them, from the bodies of requests or the messages
of syslog, one a line.

Heads are printed as they came, and redactions as "key message user", with None for what there is not.
"""
import json
import re
import sys


def otlp_records(line):
    for resource in json.loads(line)["resourceLogs"]:
        for scope in resource["scopeLogs"]:
            for record in scope["logRecords"]:
                values = {one["key"]: next(iter(one["value"].values())) for one in record["attributes"]}
                yield {"kind": values["annal.kind"], "key": values["log.record.uid"], "head": values.get("annal.head"),
                       "message": record["body"]["stringValue"], "user": values.get("annal.event.event_user")}


def relp_records(line):
    found = re.search(r' record="((?:[^"\\\]]|\\.)*)"\]', line)
    record = json.loads(re.sub(r'\\(["\\\]])', r"\1", found.group(1)))
    yield {"kind": record["kind"], "key": f'{record["appliance"]}/{record["log"]}/{record["generation"]}/redaction/{record["id"]}',
           "head": json.dumps(record.get("head")), "message": record.get("message"),
           "user": record.get("fields", {}).get("event_user")}


def main():
    form, path, wanted = sys.argv[1:]
    records = {"otlp": otlp_records, "relp": relp_records}[form]
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            for record in records(line):
                if wanted == "heads" and record["kind"] == "head":
                    print(record["head"])
                elif wanted == "redactions" and record["kind"] == "redaction":
                    print(record["key"], record["message"], record["user"])


main()
