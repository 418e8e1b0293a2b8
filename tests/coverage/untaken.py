#!/usr/bin/env python3
"""untaken.py RESULTS ROOT: prints the lines and branches that no test takes, with their text, from gcovr's JSON."""
import json
import pathlib
import sys


def untaken(file, root):
    """Yields a text for each line of a file that was not run, or whose branches were not all taken."""
    source = (root / file["file"]).read_text().splitlines()
    for line in file["lines"]:
        if line["gcovr/noncode"]:
            continue
        branches = line["branches"]
        missed = sum(1 for branch in branches if branch["count"] == 0)
        if line["count"] == 0:
            what = "not run"
        elif missed:
            what = f"{missed} of {len(branches)} branches not taken"
        else:
            continue
        number = line["line_number"]
        yield f"{file['file']}:{number}: {what}: {source[number - 1].strip()}"


def main():
    results, root = map(pathlib.Path, sys.argv[1:])
    for file in json.loads(results.read_text())["files"]:
        for text in untaken(file, root):
            print(text)


main()
