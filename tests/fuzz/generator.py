#!/usr/bin/env python3
"""Feeds damaged catalogs to catalog/generate.py.

    generator.py SECONDS [SEED]   runs for SECONDS; SEED is a number, by default the time
    generator.py --repeat SEED:N  repeats the catalog of one finding and prints where it is kept

The generator must either refuse a catalog, naming a file and a line in each complaint, or write arrays that match the
files. An exception, a run of several seconds and output that reads back differently are failures.
"""

import contextlib
import importlib.util
import io
import pathlib
import random
import re
import shutil
import signal
import sys
import tempfile
import time

CATALOG = pathlib.Path(__file__).resolve().parents[2] / "catalog"
APPLICATIONS = ("A013", "A017", "A019", "A045", "A011", "A038")
LONGEST = 10  # seconds

TOKENS = tuple(token.encode() for token in (
    "\t", "\n", "\r", "\0", " ", "  ", "#", "# C001 x", "℃", "é", "{0}", "{1}", "{20}", "{21}", "{", "}", "%V001%", "%V0", "%",
    "[reserved]", "[", "]", ".", "\\", '"', "??/", "??=", "\\n", "\\x41", "0", "1", "2", "4", "-", ",", "1-9", "9" * 5000,
    "{" + "9" * 5000 + "}", "99999999", "-1", "C001", "C999", "A013", "mixed", "ascending", "please", "!",
)) + (b"\xff", b"\xef\xbb\xbf", b"\xe2\x84", b"\xc2\x85", b"\xe2\x80\xa8")


def load_generator():
    origin = importlib.util.spec_from_file_location("generate", CATALOG / "generate.py")
    module = importlib.util.module_from_spec(origin)
    sys.modules["generate"] = module
    origin.loader.exec_module(module)
    return module


# ---- damaging ----

def mutate_bytes(content, chance):
    place = chance.randrange(len(content) + 1)
    end = min(len(content), place + chance.choice((0, 0, 1, 1, 2, 8, 64)))
    new = chance.choice((b"", bytes([chance.randrange(256)]), bytes([chance.randrange(97, 123)]), chance.choice(TOKENS)))
    return content[:place] + new + content[end:]


def mutate_fields(content, chance):
    rows = [row.split(b"\t") for row in content.split(b"\n")]
    row, other = chance.choice(rows), chance.choice(rows)
    place, source = chance.randrange(len(row)), chance.randrange(len(other))
    kind = chance.randrange(4)
    if kind == 0:
        row[place] = other[source]
    elif kind == 1:
        row.insert(place, other[source])
    elif kind == 2:
        del row[place]
    else:
        row[place] = chance.choice(TOKENS)
    return b"\n".join(b"\t".join(row) for row in rows)


def mutate_rows(content, chance):
    rows = content.split(b"\n")
    first, second = chance.randrange(len(rows)), chance.randrange(len(rows))
    kind = chance.randrange(3)
    if kind == 0:
        rows[first], rows[second] = rows[second], rows[first]
    elif kind == 1:
        rows.insert(first, rows[second])
    else:
        del rows[first]
    return b"\n".join(rows)


def make_catalog(folder, chance):
    data = folder / "data"
    data.mkdir()
    files = {data / f"{name}.tsv": (CATALOG / "data" / f"{name}.tsv").read_bytes() for name in APPLICATIONS}
    applications = folder / "applications.tsv"
    lines = (CATALOG / "applications.tsv").read_bytes().split(b"\n")
    files[applications] = b"\n".join(line for line in lines if line[:4].decode() in APPLICATIONS or not line[:1].isalpha())
    for _ in range(chance.choice((1, 1, 1, 2, 3))):
        file = applications if chance.randrange(6) == 0 else chance.choice(sorted(files))
        files[file] = chance.choice((mutate_bytes, mutate_bytes, mutate_fields, mutate_rows))(files[file], chance)
    if chance.randrange(40) == 0:
        del files[data / f"{chance.choice(APPLICATIONS)}.tsv"]
    if chance.randrange(40) == 0:
        files[data / chance.choice(("A999.tsv", "A013.txt", "notes", "A013", "ü.tsv"))] = b"x\n"
    for file, content in files.items():
        file.write_bytes(content)
    if chance.randrange(60) == 0:
        (data / "A267.tsv").mkdir()
    return data, applications


# ---- reading what was written ----

LITERAL = re.compile(r'"((?:[^"\\?]|\\[0-7]{3})*)"')


def text_of(literal):
    match = LITERAL.fullmatch(literal)
    assert match, f"no plain literal: {literal}"
    raw = re.sub(r"\\([0-7]{3})", lambda octal: chr(int(octal.group(1), 8)), match.group(1))
    return raw.encode("latin-1").decode("utf-8")


def arrays_in(text):
    """Returns the rows of each array and its declared length."""
    arrays, current = {}, None
    for line in text.split("\n"):
        head = re.fullmatch(r"const CatalogEntry (A[0-9]{3})_list\[([0-9]+)\] = \{", line)
        if head:
            current = []
            arrays[head.group(1)] = int(head.group(2)), current
        elif line == "};":
            current = None
        elif current is not None:
            current.append(line)
    return arrays


def check_output(text, data):
    assert text.isascii(), "output beyond ASCII"
    arrays = arrays_in(text)
    assert sorted(arrays) == sorted(file.stem for file in data.iterdir()), "other arrays than files"
    for name, (length, lines) in arrays.items():
        assert length == len(lines) >= 2, f"{name} has {len(lines)} entries, and is declared with {length}"
        assert lines[0] == '    {"", 0, "", "", ""},' and lines[-1] == "    {nullptr, 0, nullptr, nullptr, nullptr},"
        wanted = [row.split("\t") for row in (data / f"{name}.tsv").read_bytes().decode("utf-8").split("\n")
                  if row and not row.startswith("#")]
        found = []
        for line in lines[1:-1]:
            match = re.fullmatch(r'    \{(".*?"), ([0-9]), (".*?"), (".*?"), (".*")\},', line)
            assert match, f"no entry: {line}"
            application, level, category, number, template = match.groups()
            found.append([text_of(application), level, text_of(category), text_of(number), text_of(template)])
        assert found == wanted, f"{name} reads back differently"
        for application, level, category, number, template in found:
            check_entry(name, application, level, category, number, template)
        assert len({row[3] for row in found}) == len(found), f"{name} has a number twice"


def check_entry(name, application, level, category, number, template):
    assert application == name
    phrase = re.fullmatch(r"%V[0-9]{3}%", number)
    assert level in (("0",) if phrase else ("1", "2", "4")), f"level {level}"
    assert category == "[reserved]" or re.fullmatch(r"C[0-9]{3}", category) and not phrase, f"category {category}"
    assert phrase or re.fullmatch(r"[1-9][0-9]*", number), f"number {number}"
    assert template and len(template) <= 400, "a template's length"
    assert all(" " <= c <= "~" or c == "℃" for c in template), "a character that must not be there"
    assert all(int(n) <= 20 for n in re.findall(r"\{([0-9]+)\}", template)), "a placeholder"
    assert not re.search(r"[{}]", re.sub(r"\{[0-9]{1,2}\}", "", template)), "a brace"
    assert phrase or template.endswith("."), "no full stop"


# ---- running ----

def run_generator(generate, arguments):
    """Returns its exit status and its complaints."""
    complaints = io.StringIO()
    before = sys.argv
    sys.argv = ["generate.py", *map(str, arguments)]
    try:
        with contextlib.redirect_stderr(complaints):
            return generate.main(), complaints.getvalue()
    finally:
        sys.argv = before


def try_catalog(generate, folder, chance):
    """Returns whether the catalog was accepted."""
    data, applications = make_catalog(folder, chance)
    output = folder / "catalog.cc"
    status, complaints = run_generator(generate, ("--applications", applications, "--data", data, "--output", output))
    if status == 0:
        assert not complaints, "an accepted catalog with complaints"
        check_output(output.read_text(encoding="ascii"), data)
        return True
    assert status == 1 and not output.exists(), "a refused catalog with output"
    assert complaints, "a refusal without a complaint"
    for line in complaints.rstrip("\n").split("\n"):
        assert re.match(re.escape(str(folder)) + r"/[^:]+:[1-9][0-9]*: .", line), f"a complaint without its place: {line!a}"
    return False


def give_up(*_):
    raise TimeoutError(f"more than {LONGEST} s")


def main():
    generate = load_generator()
    signal.signal(signal.SIGALRM, give_up)
    if sys.argv[1:2] == ["--repeat"]:
        seed, first = sys.argv[2].split(":")
        cases, until = range(int(first), int(first) + 1), None
    else:
        until = time.monotonic() + float(sys.argv[1])
        seed = sys.argv[2] if len(sys.argv) > 2 else str(int(time.time()))
        cases = range(sys.maxsize)
    runs = accepted = 0
    for case in cases:
        if until is not None and time.monotonic() >= until:
            break
        folder = pathlib.Path(tempfile.mkdtemp(prefix="catalog-"))
        signal.alarm(LONGEST)
        try:
            accepted += try_catalog(generate, folder, random.Random(f"{seed}:{case}"))
        except BaseException as failure:  # pylint: disable=broad-except
            signal.alarm(0)
            print(f"generator: {type(failure).__name__}: {failure}; kept in {folder}; again: {sys.argv[0]} --repeat {seed}:{case}")
            if until is None:
                raise
            return 1
        signal.alarm(0)
        shutil.rmtree(folder)
        runs += 1
    print(f"generator: {runs} runs, {accepted} accepted, seed {seed}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
