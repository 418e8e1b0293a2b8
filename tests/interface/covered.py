#!/usr/bin/env python3
"""covered.py ROOT: each exported function is called by the header for C++ and by the Python package, or their documents say
under a heading of its own why it is not, and name no other function there.

A name in backquotes counts; "*" in it stands for any part of a name.
"""
import fnmatch
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
# Whose callers read them as in C.
DATA = re.compile(r"A\d{3}_list$|notice_facility_list$|is_\w+_name_matching$")

# What calls the functions, what of it is no code, the document and the heading in it.
BINDINGS = (
    (("include/Corix_annal.hpp",), r"//[^\n]*|/\*.*?\*/", "docs/languages.md", "### What C++ calls as C does"),
    (("python/annal/_library.py",), r"#[^\n]*|\"\"\".*?\"\"\"", "docs/python.md", "## What is not wrapped"),
)


def exported():
    text = (ROOT / "include" / "Corix_annal.map").read_text(encoding="utf-8")
    return {name for name in re.findall(r"^ +(\w+);$", text, re.MULTILINE) if not DATA.search(name)}


def called(sources, comments):
    code = "".join((ROOT / source).read_text(encoding="utf-8") for source in sources)
    return set(re.findall(r"\w+", re.sub(comments, "", code, flags=re.DOTALL)))


def explained(document, heading):
    text = (ROOT / document).read_text(encoding="utf-8")
    begin = text.find(f"\n{heading}\n")
    if begin < 0:
        sys.exit(f"{document} has no '{heading}'")
    section = re.split(r"\n#+ ", text[begin + 1 + len(heading):])[0]
    return [name for name in re.findall(r"`([\w*]+)`", section) if re.search(r"annal|pavo2log|\*", name, re.I) or name in exported()]


failures = []
for sources, comments, document, heading in BINDINGS:
    uncalled = exported() - called(sources, comments)
    names = explained(document, heading)
    for function in sorted(uncalled):
        if not any(fnmatch.fnmatchcase(function, name) for name in names):
            failures.append(f"{sources[0]} does not call {function}, and {document} does not say why")
    for name in names:
        if not DATA.search(name) and not fnmatch.filter(uncalled, name):
            failures.append(f"{document}, '{heading}': {name} is called, or is no function")
for failure in failures:
    print(f"FAILED: {failure}")
sys.exit(1 if failures or len(exported()) < 80 else 0)
