#!/usr/bin/env python3
"""Stores the lines of a table on standard input, "user,address,failed", as connections."""

import csv
import sys

import annal

lines = csv.DictReader(sys.stdin)
with annal.connections.batch() as batch:
    for line in lines:
        result = annal.ActionResult.FAILED if line["failed"] == "yes" else annal.ActionResult.SUCCEEDED
        try:
            connection = annal.NewConnection(user=line["user"], address=line["address"], result=result)
        except ValueError as error:
            print(f"line {lines.line_num}: {error}")
        else:
            batch.add(connection)
print(f"{batch.stored} stored")
