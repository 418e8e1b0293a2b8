#!/usr/bin/env python3
"""includes.py FOLDER: lists which room of the tree includes which, from the top down.

Fails if an include goes up or sideways, if files include one another in a circle, or if two headers define a type of
the same name in the same namespace: the linker takes such types for one. A room is a folder; a header and the source
file of the same name count as one file.
"""
import graphlib
import pathlib
import re
import sys

# From the top down. A room may include the rooms of the rows below it, and no other.
ROOMS = [
    ["tests", "tests/*", "bench", "examples/*", "tools/demo"],
    ["tools/annalctl", "tools/web", "tools/export/sinks", "tools/export/collect"],
    ["tools/export/database", "tools/export/jetstream"],
    ["tools/export"],
    ["tools/annalctl/event", "tools/annalctl/conn", "tools/annalctl/fileop", "tools/annalctl/notice"],
    ["tools/annalctl/commands"],
    ["tools/annalctl/catalog"],
    ["tools/annalctl/proof"],
    ["tools/annalctl/maintenance"],
    ["tools/annalctl/rescue", "tools/annalctl/query", "tools/annalctl/import"],
    ["tools/annalctl/log"],
    ["tools/annalctl/output"],
    ["tools/annalctl/arguments"],
    ["tools/annalctl/files"],
    ["tools/annalctl/base"],
    ["appliance"],
    ["event", "conn", "fileop", "notice", "catalog"],
    ["common"],
    ["include", "platform"],
]
# There must be one table of severities only.
ALLOWED = {("event/forwarding", "notice/severity")}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)

NAMESPACE = re.compile(r"^namespace ([\w:]+) \{", re.MULTILINE)
TYPE = re.compile(r"^(?:class|struct|enum|enum class|union) (\w+)(?: final)?(?: :[^;{]*)? ?\{", re.MULTILINE)


def level_of(room):
    for level, rooms in enumerate(ROOMS):
        if any(room == name or (name.endswith("/*") and room.startswith(name[:-1])) for name in rooms):
            return level
    return None


def module(path):
    return path.with_suffix("").as_posix()


def read(root):
    """What each module includes."""
    modules = {}
    for path in sorted(root.rglob("*")):
        relative = path.relative_to(root)
        if path.suffix not in (".h", ".cc", ".c") or relative.parts[0] == "build":
            continue
        included = modules.setdefault(module(relative), set())
        for name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            target = next((base for base in ("", "include") if (root / base / name).is_file()), None)
            if target is not None:
                included.add(module(pathlib.PurePath(target, name)))
    return {name: included - {name} for name, included in modules.items()}


def complaints(modules):
    for name, included in modules.items():
        room = pathlib.PurePath(name).parent.as_posix()
        level = level_of(room)
        if level is None:
            yield f"{name}: the room {room} is not in the list"
            continue
        for target in sorted(included):
            to = pathlib.PurePath(target).parent.as_posix()
            to_level = level_of(to)
            if to == room or (name, target) in ALLOWED or to_level is None:
                continue
            if to_level < level or (to_level == level and level > 0):
                yield f"{name} includes {target}, which is not below it"
    try:
        graphlib.TopologicalSorter(modules).prepare()
    except graphlib.CycleError as error:
        yield "a circle: " + " -> ".join(error.args[1])


def defined_twice(root):
    definitions = {}
    for path in sorted(root.rglob("*.h")):
        relative = path.relative_to(root)
        if relative.parts[0] == "build":
            continue
        text = path.read_text(encoding="utf-8")
        spaces = [(space.start(), space[1]) for space in NAMESPACE.finditer(text)]
        for kind in TYPE.finditer(text):
            around = [name for start, name in spaces if start < kind.start()]
            if around:
                definitions.setdefault(f"{around[-1]}::{kind[1]}", []).append(relative.as_posix())
    for name, headers in definitions.items():
        # Tests are programs of their own.
        if len([header for header in headers if not header.startswith("tests/")]) > 1:
            yield f"{name} is defined in {' and '.join(headers)}"


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    modules = read(pathlib.Path(sys.argv[1]))
    rooms = {}
    for name, included in modules.items():
        room = pathlib.PurePath(name).parent.as_posix()
        rooms.setdefault(room, set()).update(pathlib.PurePath(target).parent.as_posix() for target in included)
    for room in sorted(rooms, key=lambda room: (level_of(room) is None, level_of(room), room)):
        print(f"{room:28} {' '.join(sorted(rooms[room] - {room}))}")
    found = [*complaints(modules), *defined_twice(pathlib.Path(sys.argv[1]))]
    for complaint in found:
        print(f"includes.py: {complaint}", file=sys.stderr)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
